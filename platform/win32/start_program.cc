#include "platform/host.h"
#include "platform/win32/native.h"

namespace platform {

bool host::startProgram(const std::string& commandLine) {
  ::STARTUPINFOA startup{};
  startup.cb = sizeof(startup);
  ::PROCESS_INFORMATION process{};
  std::string writable = commandLine;
  // Detached from this console, so its Ctrl-C does not reach the program.
  const DWORD flags = DETACHED_PROCESS | CREATE_NEW_PROCESS_GROUP;
  if (!::CreateProcessA(nullptr, writable.data(), nullptr, nullptr, FALSE, flags, nullptr, nullptr,
                        &startup, &process)) {
    return false;
  }
  ::CloseHandle(process.hThread);
  ::CloseHandle(process.hProcess);
  return true;
}

}  // namespace platform
