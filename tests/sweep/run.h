// One run of the service from its start to its stop, in a process of its own and in virtual time,
// so that a run can be repeated exactly.
#ifndef KV500_TESTS_SWEEP_RUN_H
#define KV500_TESTS_SWEEP_RUN_H

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <string_view>

#include "platform/simulated/card.h"

namespace sweep {

constexpr const char* memory = "memory";  ///< Stands for an operation: each allocation is a call.

/// Calls are told apart by their operation, the thread that makes them, and a detail.
struct Call {
  char operation[32] = "";
  char thread[12] = "";
  std::uint32_t detail = 0;
};

inline bool isOfMemory(const Call& call) {
  return call.operation == std::string_view(memory);
}

/// The call that fails first; with `lasting` all calls of the operation, by any thread, fail for 2
/// seconds from then on, and all allocations for 200 ms.
struct Fault {
  Call call;
  unsigned number = 0;  ///< Of these calls, from 1; 0: none fails.
  std::uint32_t code = 0;
  bool lasting = false;
};

/// What the service has to do again after a fault, or after what a person does.
enum Recovery { Reader, CardIn, SmartcardService, AfterFault, recoveries };

/// What a run has seen. It lies in memory that the processes share, so it is there after any end.
struct Report {
  bool isComplete = false;  ///< The scenario was gone through to the stop.
  bool hasFailed = false;
  char thread[12] = "";                              ///< That of the first failing call.
  std::int64_t took[recoveries] = {-1, -1, -1, -1};  ///< Milliseconds; -1: not in this run.
  char complaint[512] = "";                          ///< What was wrong; empty: nothing.
  char held[2048] = "";                              ///< What the service held before its stop.
  char rightAnswer[8192] = "";                       ///< To `read`.
  unsigned groups = 0;
  struct Group {
    Call call;
    unsigned calls = 0;
  } group[200];
};

/// Runs the service with the fault in this process, with its files in `folder`. A right answer in
/// the report is what `read` must give; if there is none, the first answer is put there.
[[noreturn]] void run(const Fault& fault, const simulated::Card& card,
                      const std::filesystem::path& folder, Report& report);

}  // namespace sweep

#endif
