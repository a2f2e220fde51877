#include "platform/simulated/sessions.h"

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

using simulated::world;

bool canReachOtherSessions() {
  return true;
}

std::vector<Session> listSessions() {
  return world().faults.take("listSessions") ? std::vector<Session>() : world().sessions.list();
}

bool WTSSendMessageW(std::uint32_t session, const char16_t* title, std::uint32_t titleLength,
                     const char16_t* message, std::uint32_t messageLength, std::uint32_t style,
                     std::uint32_t, std::uint32_t& response, bool) {
  if (world().faults.take("WTSSendMessageW")) {
    return false;
  }
  constexpr std::uint32_t idOk = 1;
  world().sessions.show({session, std::u16string(title, titleLength / sizeof(char16_t)),
                         std::u16string(message, messageLength / sizeof(char16_t)), style});
  response = idOk;
  return true;
}

// A token is a handle and nothing else here: any kind of handle serves.

bool WTSQueryUserToken(std::uint32_t, HANDLE& token) {
  if (world().faults.take("WTSQueryUserToken")) {
    return false;
  }
  token = CreateEventA(true, false);
  return token != 0;
}

bool DuplicateTokenEx(HANDLE, std::uint32_t, std::uint32_t, std::uint32_t, HANDLE& duplicate) {
  if (world().faults.take("DuplicateTokenEx")) {
    return false;
  }
  duplicate = CreateEventA(true, false);
  return duplicate != 0;
}

bool CreateEnvironmentBlock(void*& environment, HANDLE) {
  if (world().faults.take("CreateEnvironmentBlock")) {
    return false;
  }
  environment = new char;
  return true;
}

void DestroyEnvironmentBlock(void* environment) {
  delete static_cast<char*>(environment);
}

bool CreateProcessAsUserA(HANDLE, std::string& commandLine, std::uint32_t, void*,
                          PROCESS_INFORMATION& process) {
  if (world().faults.take("CreateProcessAsUserA") || !world().sessions.startProgram(commandLine)) {
    return false;
  }
  process = {CreateEventA(true, false), CreateEventA(true, false)};
  return true;
}

}  // namespace platform
