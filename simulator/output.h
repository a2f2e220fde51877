// The simulator's standard output: answers and events, line by line.
#ifndef KV500_SIMULATOR_OUTPUT_H
#define KV500_SIMULATOR_OUTPUT_H

#include <string>

#include "platform/simulated/sessions.h"

namespace simulator {

/// Writes one line and flushes it. Any thread; lines never mix.
void printLine(const std::string& line);

/// The event line of a message box. A line feed in the text becomes "\n"; the other bytes are those
/// that the service passed.
std::string noticeLine(const simulated::Notice& notice);

}  // namespace simulator

#endif
