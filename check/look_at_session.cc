#include "check/looks.h"
#include "check/texts.h"
#include "platform/inspection.h"
#include "platform/sessions.h"

namespace check {
namespace {

Finding judgeActive(std::uint32_t id, const platform::SessionFacts& facts, Level trouble) {
  const std::string number = std::to_string(id);
  if (facts.remote) {
    return {Level::Warn, texts::sessionRemote, texts::sessionAdvice};
  }
  if (facts.user.empty()) {
    return {trouble, {texts::sessionNobody, {number}}, texts::sessionAdvice};
  }
  if (!facts.startsPrograms) {
    return {Level::Ok, {texts::sessionMaybe, {number, facts.user}}};
  }
  return *facts.startsPrograms
             ? Finding{Level::Ok, {texts::sessionGood, {number, facts.user}}}
             : Finding{
                   trouble, {texts::sessionNoWay, {number, facts.user}}, texts::sessionNoWayAdvice};
}

}  // namespace

Findings lookAtSession(const kv500::Settings& settings) {
  // If no browser is to be started, only messages are missing.
  const Level trouble = settings.callBrowser ? Level::Fail : Level::Warn;
  std::vector<std::uint32_t> active;
  for (const platform::Session& session : platform::sessionsOfAllUsers()) {
    if (session.state == platform::WTSActive) {
      active.push_back(session.id);
    }
  }
  if (active.empty()) {
    return {{trouble, platform::hasRemoteSession() ? texts::sessionRemote : texts::sessionNone,
             texts::sessionAdvice}};
  }
  Findings findings{judgeActive(active.front(), platform::inspectSession(active.front()), trouble)};
  if (active.size() > 1) {
    findings.push_back(
        {Level::Warn,
         {texts::sessionSeveral, {std::to_string(active.size()), std::to_string(active.front())}},
         texts::sessionSeveralAdvice});
  }
  return findings;
}

}  // namespace check
