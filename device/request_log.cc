#include "device/request_log.h"

#include <algorithm>

#include "platform/program.h"
#include "support/log.h"

namespace kv500 {
namespace {

constexpr std::int64_t bytes = 1'000'000;         // At once, and per hour.
constexpr std::int64_t hour = 3'600'000;          // Ticks of platform::clock, milliseconds.
constexpr std::int64_t reportInterval = 300'000;  // Milliseconds.

// A byte counts as the ticks of one hour. Each tick gives back as much as there are bytes in an
// hour's share. Thus nothing is lost to rounding.
constexpr std::int64_t byteCost = hour;
constexpr std::int64_t refillOfATick = bytes;

/// The bytes of a line in the file: the time and the line end around it, and a carriage return for
/// each line feed in it.
std::int64_t sizeOf(const std::string& text) {
  constexpr std::int64_t around = 24;
  return around + static_cast<std::int64_t>(text.size()) +
         std::count(text.begin(), text.end(), '\n');
}

}  // namespace

void RequestLog::write(const std::string& text) {
  bool isTaken = false;
  {
    const ScopedLock guard(lock);
    isTaken = take(sizeOf(text));
    dropped += isTaken ? 0 : 1;
  }
  reportDropped();
  if (isTaken) {
    logMessage(text, "");
  }
}

void RequestLog::reportDropped() {
  std::uint64_t count = 0;
  {
    const ScopedLock guard(lock);
    const std::int64_t now = platform::clock();
    if (dropped == 0 || now < nextReport) {
      return;
    }
    count = dropped;
    dropped = 0;
    nextReport = now + reportInterval;
  }
  logMessage("Too much to log from requests: " + std::to_string(count) +
                 (count == 1 ? " line dropped" : " lines dropped"),
             "");
}

bool RequestLog::take(std::int64_t size) {
  const std::int64_t now = platform::clock();
  // Limited before the multiplication: after an hour everything is given back anyway.
  const std::int64_t elapsed = std::min(now - refilledAt, hour);
  spent = std::max<std::int64_t>(0, spent - elapsed * refillOfATick);
  refilledAt = now;
  if (spent + size * byteCost > bytes * byteCost) {
    return false;
  }
  spent += size * byteCost;
  return true;
}

}  // namespace kv500
