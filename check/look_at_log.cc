#include <algorithm>

#include "check/log_lines.h"
#include "check/looks.h"
#include "check/texts.h"
#include "platform/inspection.h"
#include "support/log_texts.h"

namespace check {
namespace {

namespace log_texts = kv500::log_texts;
using Kind = platform::FileFacts::Kind;

constexpr std::uint64_t megabyte = 1'000'000;
constexpr std::uint64_t largestLog = 50 * megabyte;
constexpr std::int64_t freshStart = 15;  // Seconds; after that a start has logged its failures.

/// A reason that the log can give, and the look that tells more about it.
struct Reason {
  const Phrase& phrase;
  const char* look;
  std::vector<std::string> beginnings;
  bool passes = false;  ///< The service goes on afterwards, so an old line tells nothing.
};

const std::vector<Reason>& reasons() {
  static const std::vector<Reason> all = {
      {texts::logPort, "port", {log_texts::portNotOpened}},
      {texts::logSmartcard,
       "smartcard-service",
       {log_texts::noSmartcardService, log_texts::noContext}},
      {texts::logSmartcard, "smartcard-service", {log_texts::pcscError}, true},
      {texts::logSettings, "settings", {log_texts::badFile, log_texts::badValue}},
      {texts::logSeveral, "readers", {log_texts::severalReaders}, true},
  };
  return all;
}

/// Whether the folder's disk has no room for more lines.
bool isDiskFull(const Folder& folder) {
  constexpr std::uintmax_t least = 4096;  // Bytes.
  std::error_code error;
  const auto space = std::filesystem::space(folder.path, error);
  return !error && space.capacity > 0 && space.free < least;
}

/// The lines since the last start. If the last start was just now, it may not have failed yet; then
/// the lines since the start before it.
std::vector<LogLine> linesOfLastStart(const std::vector<LogLine>& lines) {
  const auto isStart = [](const LogLine& line) { return line.text == log_texts::started; };
  auto last = std::find_if(lines.rbegin(), lines.rend(), isStart);
  if (last != lines.rend() && logTimeNow() - last->time < freshStart) {
    last = std::find_if(last + 1, lines.rend(), isStart);
  }
  return last == lines.rend() ? lines : std::vector<LogLine>(last.base() - 1, lines.end());
}

Findings judgeLines(const std::vector<LogLine>& lines) {
  Findings findings;
  for (const Reason& reason : reasons()) {
    const auto gives = [&reason](const LogLine& line) {
      return (!reason.passes || isOfLate(line)) &&
             std::any_of(reason.beginnings.begin(), reason.beginnings.end(),
                         [&line](const auto& text) { return line.text.starts_with(text); });
    };
    const auto found = std::find_if(lines.rbegin(), lines.rend(), gives);
    if (found != lines.rend()) {
      findings.push_back(
          {Level::Warn, {reason.phrase, {found->text}}, {texts::logReasonAdvice, {reason.look}}});
    }
  }
  return findings;
}

Findings judgeAbsence(const Folder& folder, const Services& services) {
  const std::string folderText = platform::toUtf8(folder.path);
  const bool shouldBeThere = services.kv500.state == platform::ServiceFacts::State::Running &&
                             isServiceIn(folder, services);
  return {
      shouldBeThere
          ? Finding{Level::Fail, {texts::logUnwritable, {folderText}}, texts::logUnwritableAdvice}
          : Finding{Level::Warn, {texts::logAbsent, {folderText}}, texts::logAbsentAdvice}};
}

}  // namespace

Findings lookAtLog(const Folder& folder, const Services& services) {
  const platform::FileFacts facts = platform::inspectFile(folder.path / "log.txt");
  if (facts.kind == Kind::Hidden) {
    return {{Level::Warn, texts::logHidden, texts::logHiddenAdvice}};
  }
  if (facts.kind == Kind::Absent && !facts.unwritable) {
    return judgeAbsence(folder, services);
  }
  if (facts.kind == Kind::Folder || facts.kind == Kind::Other || facts.unwritable) {
    return {{Level::Fail,
             {texts::logUnwritable, {platform::toUtf8(folder.path)}},
             texts::logUnwritableAdvice}};
  }
  Findings findings;
  if (isDiskFull(folder)) {
    findings.push_back({Level::Fail,
                        {texts::logDiskFull, {platform::toUtf8(folder.path)}},
                        texts::logDiskFullAdvice});
  }
  if (facts.readable) {
    const Findings found = judgeLines(linesOfLastStart(lastLogLines(folder)));
    findings.insert(findings.end(), found.begin(), found.end());
  }
  if (facts.size > largestLog) {
    findings.push_back({Level::Warn,
                        {texts::logLarge, {std::to_string(facts.size / megabyte)}},
                        texts::logLargeAdvice});
  }
  if (findings.empty()) {
    const Phrase& phrase = facts.readable ? texts::logGood : texts::logUnreadable;
    findings.push_back({Level::Ok, {phrase, {std::to_string(facts.size)}}});
  }
  return findings;
}

}  // namespace check
