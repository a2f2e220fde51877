// The log file "log.txt" beside the program. It is the only place where the service reports what it
// does.
//
// Never pass it anything that comes from a card.
#ifndef KV500_SUPPORT_LOG_H
#define KV500_SUPPORT_LOG_H

#include <cstdint>
#include <string>
#include <string_view>

namespace kv500 {

/// Milliseconds for which a message that can recur without end is kept back: 5 minutes.
inline constexpr std::int64_t logInterval = 300'000;

/// Opens the log for appending and writes its start line. Call it once, as the first step of
/// `main`. If the log can't be opened or written, the service runs on without a log and without a
/// message.
void openLog();

/// Writes one line: the local time in brackets, the text unchanged, a line end. The line has left
/// the program when the call returns. A message with a non-empty key is dropped if a message with
/// the same key was written less than 5 minutes ago (elapsed time). Any thread. Callers may hold
/// any other lock, as `logLock` is the innermost. Does not report failures. Without a key, or with
/// a key that has been used before, it takes no memory from the heap.
void logMessage(std::string_view text, std::string_view key);

/// The local time as day-month-year hour:minute:second: 19 characters, each field padded with
/// zeros. Any thread.
std::string logTimestamp();

}  // namespace kv500

#endif
