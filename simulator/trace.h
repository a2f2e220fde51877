// The record of what goes to and from the card.
#ifndef KV500_SIMULATOR_TRACE_H
#define KV500_SIMULATOR_TRACE_H

#include <optional>
#include <string>

#include "platform/simulated/readers.h"

namespace simulator {

/// The two lines of one exchange: "> " and the command, then "< " and the response or "fail". Each
/// byte is two upper-case hexadecimal digits, with blanks between the bytes.
std::string traceLines(const simulated::Bytes& command,
                       const std::optional<simulated::Bytes>& response);

/// Appends each exchange to a file, which it opens at once. None if the file can't be opened.
std::optional<simulated::Readers::Trace> traceToFile(const std::string& path);

}  // namespace simulator

#endif
