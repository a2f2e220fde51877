#include "check/log_lines.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <sstream>

#include "platform/inspection.h"
#include "support/log.h"

namespace check {
namespace {

constexpr std::size_t endOfLog = 65536;  // Bytes.

/// The time at the beginning of a line as the service writes it: "[dd-mm-yyyy hh:mm:ss] ".
std::optional<std::int64_t> timeOf(const std::string& line) {
  const std::string form = "[00-00-0000 00:00:00] ";
  const auto fits = [](char shape, char c) {
    return shape == '0' ? c >= '0' && c <= '9' : shape == c;
  };
  if (line.size() < form.size() || !std::equal(form.begin(), form.end(), line.begin(), fits)) {
    return std::nullopt;
  }
  const auto number = [&line](std::size_t at, std::size_t digits) {
    return std::stoi(line.substr(at, digits));
  };
  namespace chrono = std::chrono;
  const auto day = chrono::year(number(7, 4)) / number(4, 2) / number(1, 2);
  const auto time = chrono::hours(number(12, 2)) + chrono::minutes(number(15, 2)) +
                    chrono::seconds(number(18, 2));
  return (chrono::sys_days(day).time_since_epoch() + time).count();
}

constexpr std::size_t timeLength = sizeof("[00-00-0000 00:00:00] ") - 1;

}  // namespace

std::vector<LogLine> lastLogLines(const Folder& folder) {
  return parseLog(platform::readFileEnd(folder.path / "log.txt", endOfLog));
}

std::vector<LogLine> parseLog(const std::string& content) {
  std::vector<LogLine> lines;
  std::istringstream rest(content);
  for (std::string line; std::getline(rest, line);) {
    std::erase(line, '\r');
    if (const auto time = timeOf(line)) {
      lines.push_back({*time, line.substr(timeLength)});
    } else if (!lines.empty()) {
      lines.back().text += "\n" + line;
    }
  }
  return lines;
}

std::int64_t logTimeNow() {
  return timeOf("[" + kv500::logTimestamp() + "] ").value_or(0);
}

bool isOfLate(const LogLine& line) {
  constexpr std::int64_t lately = 600;  // Seconds.
  const std::int64_t now = logTimeNow();
  return line.time <= now && line.time > now - lately;
}

}  // namespace check
