#include <string>
#include <vector>

#include "platform/command_line.h"
#include "platform/program.h"
#include "platform/win32/native.h"
#include "platform/windows/system_program.h"

namespace platform {
namespace {

/// Whether a service runs, or is on its way there or back. False too if it can't be asked.
bool isServiceAlive(const std::string& name) {
  const SC_HANDLE manager = ::OpenSCManagerA(nullptr, nullptr, SC_MANAGER_CONNECT);
  const SC_HANDLE service =
      manager == nullptr ? nullptr : ::OpenServiceA(manager, name.c_str(), SERVICE_QUERY_STATUS);
  ::SERVICE_STATUS status{};
  const bool asked = service != nullptr && ::QueryServiceStatus(service, &status);
  for (const SC_HANDLE handle : {service, manager}) {
    if (handle != nullptr) {
      ::CloseServiceHandle(handle);
    }
  }
  return asked && status.dwCurrentState != SERVICE_STOPPED;
}

/// Runs a program of Windows without a window and gives its exit code, 1 if it can't be started.
DWORD run(const std::filesystem::path& program, const char* command) {
  ::STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  ::PROCESS_INFORMATION process{};
  std::wstring commandLine(command, command + std::char_traits<char>::length(command));
  if (!::CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, FALSE,
                        CREATE_NO_WINDOW, nullptr, nullptr, &startup, &process)) {
    return 1;
  }
  // No limit of ours: "net" gives up by itself when a service doesn't start.
  ::WaitForSingleObject(process.hProcess, INFINITE);
  DWORD exitCode = 1;
  ::GetExitCodeProcess(process.hProcess, &exitCode);
  ::CloseHandle(process.hThread);
  ::CloseHandle(process.hProcess);
  return exitCode;
}

}  // namespace

std::int32_t system(const char* command) {
  const std::vector<std::string> words = splitCommandLine(command);
  const std::filesystem::path program =
      words.empty() ? std::filesystem::path() : systemProgram(words.front());
  if (program.empty() || run(program, command) != 0) {
    // "net start" fails for a service that is not at rest. Windows starts and stops the smart-card
    // service itself as readers come and go, so that it may be running, or about to; the caller
    // tries again in a second.
    return !words.empty() && isServiceAlive(words.back()) ? 0 : 1;
  }
  return 0;
}

}  // namespace platform
