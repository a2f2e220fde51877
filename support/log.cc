#include "support/log.h"

#include <array>
#include <cstdio>
#include <ctime>
#include <map>

#include "platform/program.h"
#include "support/lock.h"
#include "support/log_texts.h"

namespace kv500 {
namespace {

Lock logLock ACQUIRED_AFTER(lockOrder::behindService);
platform::AppendStream logStream GUARDED_BY(logLock);
/// For each key, the tick from which it may be written again. Keys are few and fixed in the code.
std::map<std::string, std::int64_t, std::less<>> logNextAllowed GUARDED_BY(logLock);

bool isLimited(std::string_view key) REQUIRES(logLock) {
  auto entry = logNextAllowed.find(key);
  if (entry == logNextAllowed.end()) {
    entry = logNextAllowed.emplace(key, 0).first;
  }
  const std::int64_t now = platform::clock();
  if (entry->second > now) {
    return true;
  }
  entry->second = now + logInterval;
  return false;
}

/// The local time and a zero byte.
using Timestamp = std::array<char, 64>;
Timestamp currentTime() {
  std::tm time{};
  platform::_localtime64_s(time, platform::_time64());
  Timestamp text{};
  std::snprintf(text.data(), text.size(), "%02d-%02d-%04d %02d:%02d:%02d", time.tm_mday,
                time.tm_mon + 1, time.tm_year + 1900, time.tm_hour, time.tm_min, time.tm_sec);
  return text;
}

}  // namespace

void openLog() {
  {
    const ScopedLock guard(logLock);
    logStream.open(platform::GetModuleFileNameW().replace_filename("log.txt"));
  }
  logMessage(log_texts::started, "");
}

void logMessage(std::string_view text, std::string_view key) {
  const ScopedLock guard(logLock);
  if (!key.empty() && isLimited(key)) {
    return;
  }
  logStream.write({"[", currentTime().data(), "] ", text, "\n"});
}

std::string logTimestamp() {
  return currentTime().data();
}

}  // namespace kv500
