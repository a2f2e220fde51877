#include "platform/host.h"
#include "platform/win32/native.h"

namespace platform {
namespace {

std::function<void()>& endRequest() {
  static auto& request = *new std::function<void()>;  // Used until the process has ended.
  return request;
}

/// Called by Windows on a thread of its own.
BOOL WINAPI handleConsoleEvent(DWORD event) {
  endRequest()();
  if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
    // The window is being closed or the user logs off. Windows ends the process as soon as this
    // returns. The process normally ends by itself before that, or Windows ends it after some
    // seconds.
    ::Sleep(INFINITE);
  }
  return TRUE;
}

}  // namespace

std::string host::processId() {
  return std::to_string(::GetCurrentProcessId());
}

void host::onEndRequest(std::function<void()> request) {
  endRequest() = std::move(request);
  ::SetConsoleCtrlHandler(handleConsoleEvent, TRUE);
}

}  // namespace platform
