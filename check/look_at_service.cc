#include <algorithm>
#include <cctype>

#include "check/log_lines.h"
#include "check/looks.h"
#include "check/texts.h"
#include "platform/inspection.h"
#include "platform/program.h"
#include "support/log_texts.h"

namespace check {
namespace {

using platform::ServiceFacts;
using State = ServiceFacts::State;

constexpr std::uint32_t manyStarts = 3;

std::uint32_t startsOfLate(const Folder& folder) {
  const auto lines = lastLogLines(folder);
  return static_cast<std::uint32_t>(std::count_if(lines.begin(), lines.end(), [](const auto& l) {
    return l.text == kv500::log_texts::started && isOfLate(l);
  }));
}

bool isSameName(const std::string& a, const std::string& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](unsigned char x, unsigned char y) {
    return std::tolower(x) == std::tolower(y);
  });
}

Finding judgeState(const ServiceFacts& facts, std::uint32_t starts) {
  const std::string exitCode = std::to_string(facts.exitCode);
  if (starts >= manyStarts) {
    return {Level::Fail,
            {texts::serviceFlaps, {std::to_string(starts), exitCode}},
            texts::serviceFlapsAdvice};
  }
  switch (facts.state) {
    case State::Running:
      if (facts.disabled) {
        return {Level::Warn, texts::serviceNotNextTime, enableAdvice(facts)};
      }
      return {Level::Ok, {texts::serviceRuns, {std::to_string(facts.processId), facts.account}}};
    case State::Starting:
      return {Level::Warn, texts::serviceStarting, texts::serviceWaitAdvice};
    case State::Stopping:
      return {Level::Warn, texts::serviceStopping, texts::serviceWaitAdvice};
    default:
      break;
  }
  if (facts.disabled) {
    return {Level::Fail, texts::serviceDisabled, enableAdvice(facts)};
  }
  return {Level::Fail,
          {texts::serviceStopped, {exitCode}},
          {texts::serviceStartAdvice, {facts.startCommand}}};
}

}  // namespace

Services askServiceManager() {
  return {platform::inspectService(platform::InspectedService::Kv500),
          platform::inspectService(platform::InspectedService::SmartCard)};
}

bool isServiceIn(const Folder& folder, const Services& services) {
  const auto other = services.kv500.program.parent_path();
  std::error_code error;  // The same folder may have several names.
  return other == folder.path || std::filesystem::equivalent(other, folder.path, error);
}

bool isSimulator(const Folder& folder, const Services& services) {
  using Kind = platform::FileFacts::Kind;
  const State state = services.kv500.state;
  return (state == State::Absent || state == State::Unknown) &&
         (platform::inspectFile(folder.path / "kv500-simulator").kind == Kind::Ordinary ||
          platform::inspectFile(folder.path / "kv500-simulator.exe").kind == Kind::Ordinary);
}

Message enableAdvice(const ServiceFacts& facts) {
  return {texts::serviceEnableAdvice, {facts.enableCommand, facts.startCommand}};
}

Findings lookAtService(const Folder& folder, const Services& services) {
  const ServiceFacts& facts = services.kv500;
  const std::string folderText = platform::toUtf8(folder.path);
  const bool isAbsent = facts.state == State::Absent;
  const bool isUnknown = facts.state == State::Unknown;
  if ((isAbsent && folder.isGiven) || isSimulator(folder, services)) {
    return {{Level::Warn, {texts::serviceTrial, {folderText}}, texts::serviceTrialAdvice}};
  }
  if (isUnknown) {
    return {{Level::Warn, texts::serviceUnknown, texts::serviceUnknownAdvice}};
  }
  if (isAbsent) {
    return {{Level::Fail, texts::serviceAbsent, texts::serviceAbsentAdvice}};
  }
  Findings findings;
  const bool isElsewhere = !facts.program.empty() && !isServiceIn(folder, services);
  if (isElsewhere) {
    findings.push_back({Level::Warn,
                        {texts::serviceElsewhere, {folderText, platform::toUtf8(facts.program)}},
                        texts::serviceElsewhereAdvice});
  }
  // The log of another folder says nothing about this service.
  findings.push_back(
      judgeState(facts, std::max(facts.restarts, isElsewhere ? 0 : startsOfLate(folder))));
  if (!facts.account.empty() && !isSameName(facts.account, facts.usualAccount)) {
    findings.push_back({Level::Warn,
                        {texts::serviceAccount, {facts.account, facts.usualAccount}},
                        texts::serviceAccountAdvice});
  }
  return findings;
}

}  // namespace check
