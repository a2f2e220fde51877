// The record of what goes to and from the card.
#ifndef KV500_SIMULATOR_TRACE_H
#define KV500_SIMULATOR_TRACE_H

#include <optional>
#include <string>

#include "platform/simulated/readers.h"

namespace simulator {

/// The two lines of one exchange: "> " and the command, "< " and the response or "fail", bytes as
/// two upper-case hexadecimal digits with blanks between them.
std::string traceLines(const simulated::Bytes& command,
                       const std::optional<simulated::Bytes>& response);

/// Appends each exchange to a file, which is opened at once. None if it can't be opened.
std::optional<simulated::Readers::Trace> traceToFile(const std::string& path);

}  // namespace simulator

#endif
