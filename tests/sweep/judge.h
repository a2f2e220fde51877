// Whether a run was as it must be.
#ifndef KV500_TESTS_SWEEP_JUDGE_H
#define KV500_TESTS_SWEEP_JUDGE_H

#include <string>

#include "tests/sweep/run.h"

namespace sweep {

/// What a run has left behind.
struct Seen {
  Report report;
  int exitStatus;  ///< -1: ended by a signal.
  std::string log;
  std::string told;  ///< On standard error.
};

/// Whether the service did all of its work and ended by the stop.
bool hasGoneOn(const Seen& seen);

/// What is wrong with a run, compared with the usual one, in which nothing fails. Empty: nothing.
std::string judge(const Fault& fault, const Seen& seen, const Report& usual);

}  // namespace sweep

#endif
