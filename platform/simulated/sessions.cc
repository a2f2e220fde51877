#include "platform/simulated/sessions.h"

#include <algorithm>

#include "platform/simulated/ledger.h"
#include "platform/simulated/world.h"

namespace simulated {

Sessions::Sessions() : sessions_{{1, platform::WTSActive}} {}

void Sessions::set(const std::vector<platform::Session>& sessions) {
  const std::lock_guard guard(mutex_);
  sessions_ = sessions;
}

std::vector<platform::Session> Sessions::list() const {
  const std::lock_guard guard(mutex_);
  return sessions_;
}

bool Sessions::has(std::uint32_t id) const {
  const std::lock_guard guard(mutex_);
  return std::any_of(sessions_.begin(), sessions_.end(),
                     [id](const auto& session) { return session.id == id; });
}

void Sessions::onNotice(std::function<void(const Notice&)> observer) {
  const std::lock_guard guard(mutex_);
  noticeObserver_ = std::move(observer);
}

void Sessions::holdNotices(bool held) {
  const std::lock_guard guard(mutex_);
  noticesHeld_ = held;
  released_.notify_all();
}

std::vector<Notice> Sessions::notices() const {
  const std::lock_guard guard(mutex_);
  return notices_;
}

void Sessions::show(const Notice& notice) {
  std::unique_lock guard(mutex_);
  if (noticeObserver_) {
    noticeObserver_(notice);
  } else {
    notices_.push_back(notice);
  }
  released_.wait(guard, [this] { return !noticesHeld_; });  // A person may take any time.
}

void Sessions::setPeerUser(const std::string& name) {
  const std::lock_guard guard(mutex_);
  peerUser_ = name;
}

std::string Sessions::peerUser() const {
  const std::lock_guard guard(mutex_);
  return peerUser_;
}

void Sessions::setLauncher(std::function<bool(const std::string&)> launcher) {
  const std::lock_guard guard(mutex_);
  launcher_ = std::move(launcher);
}

std::vector<std::string> Sessions::startedPrograms() const {
  const std::lock_guard guard(mutex_);
  return programs_;
}

bool Sessions::startProgram(const std::string& commandLine) {
  const std::lock_guard guard(mutex_);
  if (launcher_) {
    return launcher_(commandLine);
  }
  programs_.push_back(commandLine);
  return true;
}

}  // namespace simulated

namespace platform {

namespace {

using simulated::ledger;
using simulated::world;
using Kind = simulated::Ledger::Kind;

// Rights that a token grants.
constexpr std::uint32_t tokenAssignPrimary = 1;
constexpr std::uint32_t tokenDuplicate = 2;
constexpr std::uint32_t tokenQuery = 8;

bool refused(const char* operation, const std::string& what, std::uint32_t error) {
  SetLastError(error);
  return simulated::refuse(operation, what, false);
}

bool hasRights(const char* operation, HANDLE token, std::uint32_t rights) {
  const auto given = ledger().find(operation, Kind::Token, token);
  if (given && (*given & rights) != rights) {
    return refused(operation, "a token without the rights for it", simulated::errorAccessDenied);
  }
  return given.has_value();
}

std::uint64_t toNumber(const void* environment) {
  return reinterpret_cast<std::uintptr_t>(environment);
}

}  // namespace

bool canReachOtherSessions() {
  return !world().faults.take("canReachOtherSessions");
}

std::vector<Session> listSessions() {
  return world().faults.take("listSessions") ? std::vector<Session>() : world().sessions.list();
}

bool WTSSendMessageW(std::uint32_t session, const char16_t* title, std::uint32_t titleLength,
                     const char16_t* message, std::uint32_t messageLength, std::uint32_t style,
                     std::uint32_t timeoutSeconds, std::uint32_t& response, bool wait) {
  if (world().faults.take("WTSSendMessageW")) {
    return false;
  }
  constexpr std::uint32_t unit = sizeof(char16_t);
  if (title == nullptr || message == nullptr || titleLength % unit != 0 ||
      messageLength % unit != 0) {
    return refused("WTSSendMessageW", "half a unit, or no text", simulated::errorInvalidParameter);
  }
  if (style != MB_ICONERROR || timeoutSeconds != 0xFFFFFFFF || !wait) {
    return refused("WTSSendMessageW", "a box that nobody answers",
                   simulated::errorInvalidParameter);
  }
  if (!world().sessions.has(session)) {
    SetLastError(simulated::errorInvalidParameter);
    return false;
  }
  constexpr std::uint32_t idOk = 1;
  world().sessions.show({session, std::u16string(title, titleLength / unit),
                         std::u16string(message, messageLength / unit), style});
  response = idOk;
  return true;
}

// A token is a number here. Its detail in the ledger tells the rights that it grants.

bool WTSQueryUserToken(std::uint32_t session, HANDLE& token) {
  if (world().faults.take("WTSQueryUserToken") || !world().sessions.has(session)) {
    return false;
  }
  token = ledger().newNumber();
  ledger().give(Kind::Token, token, tokenQuery | tokenDuplicate);
  return true;
}

bool DuplicateTokenEx(HANDLE token, std::uint32_t access, std::uint32_t impersonationLevel,
                      std::uint32_t tokenType, HANDLE& duplicate) {
  if (world().faults.take("DuplicateTokenEx") ||
      !hasRights("DuplicateTokenEx", token, tokenDuplicate)) {
    return false;
  }
  if ((access & ~TOKEN_ALL_ACCESS) != 0) {
    return refused("DuplicateTokenEx", "unknown rights", simulated::errorAccessDenied);
  }
  if (impersonationLevel != SecurityImpersonation || tokenType != TokenPrimary) {
    return refused("DuplicateTokenEx", "no token that a program can be started with",
                   simulated::errorInvalidParameter);
  }
  duplicate = ledger().newNumber();
  ledger().give(Kind::Token, duplicate, access);
  return true;
}

bool CreateEnvironmentBlock(void*& environment, HANDLE token) {
  if (world().faults.take("CreateEnvironmentBlock") ||
      !hasRights("CreateEnvironmentBlock", token, tokenQuery | tokenDuplicate)) {
    return false;
  }
  environment = reinterpret_cast<void*>(static_cast<std::uintptr_t>(ledger().newNumber()));
  ledger().give(Kind::Environment, toNumber(environment));
  return true;
}

void DestroyEnvironmentBlock(void* environment) {
  ledger().takeBack("DestroyEnvironmentBlock", Kind::Environment, toNumber(environment));
}

bool CreateProcessAsUserA(HANDLE token, std::string& commandLine, std::uint32_t creationFlags,
                          void* environment, PROCESS_INFORMATION& process) {
  constexpr const char* operation = "CreateProcessAsUserA";
  if (world().faults.take(operation) ||
      !hasRights(operation, token, tokenQuery | tokenDuplicate | tokenAssignPrimary) ||
      !ledger().find(operation, Kind::Environment, toNumber(environment))) {
    return false;
  }
  if ((creationFlags & ~NORMAL_PRIORITY_CLASS) != CREATE_UNICODE_ENVIRONMENT) {
    return refused(operation, "unknown flags, or an environment of another kind of text",
                   simulated::errorInvalidParameter);
  }
  if (!world().sessions.startProgram(commandLine)) {
    return false;
  }
  process = {ledger().newNumber(), ledger().newNumber()};
  ledger().give(Kind::Process, process.hProcess);
  ledger().give(Kind::Process, process.hThread);
  return true;
}

}  // namespace platform
