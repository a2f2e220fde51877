// The last lines of log.txt.
#ifndef KV500_CHECK_LOG_LINES_H
#define KV500_CHECK_LOG_LINES_H

#include <cstdint>
#include <string>
#include <vector>

#include "check/looks.h"

namespace check {

struct LogLine {
  std::int64_t time = 0;  ///< Local time in seconds; only differences have a meaning.
  std::string text;       ///< Without the time; line feeds within one entry are kept as one line.
};

/// The lines in the last 64 KiB of the log. Empty if the log can't be read.
std::vector<LogLine> lastLogLines(const Folder& folder);

/// The same for a text that has been read already.
std::vector<LogLine> parseLog(const std::string& content);

/// The local time now, as above.
std::int64_t logTimeNow();

/// Whether the line was written in the last 10 minutes.
bool isOfLate(const LogLine& line);

}  // namespace check

#endif
