#include "support/log.h"

#include <cstdint>
#include <ctime>
#include <iomanip>
#include <map>
#include <sstream>

#include "platform/program.h"
#include "support/lock.h"
#include "support/log_texts.h"

namespace kv500 {
namespace {

constexpr std::int64_t keyLimit = 300000;  // Ticks of platform::clock, milliseconds: 5 minutes.

Lock logLock ACQUIRED_AFTER(lockOrder::behindService);
platform::AppendStream logStream GUARDED_BY(logLock);
/// For each key, the tick from which it may be written again. Keys are few and fixed in the code.
std::map<std::string, std::int64_t> logNextAllowed GUARDED_BY(logLock);

bool isLimited(const std::string& key) REQUIRES(logLock) {
  const auto entry = logNextAllowed.find(key);
  if (entry != logNextAllowed.end() && entry->second > platform::clock()) {
    return true;
  }
  logNextAllowed[key] = platform::clock() + keyLimit;
  return false;
}

}  // namespace

void openLog() {
  {
    const ScopedLock guard(logLock);
    logStream.open(platform::GetModuleFileNameW().replace_filename("log.txt"));
  }
  logMessage(log_texts::started, "");
}

void logMessage(const std::string& text, const std::string& key) {
  const ScopedLock guard(logLock);
  if (!key.empty() && isLimited(key)) {
    return;
  }
  logStream.write("[" + logTimestamp() + "] " + text + "\n");
}

std::string logTimestamp() {
  std::tm time{};
  platform::_localtime64_s(time, platform::_time64());
  std::ostringstream text;
  text << std::setfill('0') << std::setw(2) << time.tm_mday << '-' << std::setw(2)
       << time.tm_mon + 1 << '-' << std::setw(4) << time.tm_year + 1900 << ' ' << std::setw(2)
       << time.tm_hour << ':' << std::setw(2) << time.tm_min << ':' << std::setw(2) << time.tm_sec;
  return text.str();
}

}  // namespace kv500
