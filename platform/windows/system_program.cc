#include "platform/windows/system_program.h"

#include <chrono>
#include <vector>

#include "platform/program.h"
#include "platform/win32/native.h"

namespace platform {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds outputLimit{2500};
constexpr std::size_t mostOutput = std::size_t{1} << 20;

/// Starts the program with a pipe's end as its output, and with no other handle of this process.
bool start(const std::filesystem::path& program, const std::string& commandLine, ::HANDLE output,
           ::PROCESS_INFORMATION& process) {
  SIZE_T size = 0;
  ::InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
  std::vector<std::uint64_t> buffer(size / sizeof(std::uint64_t) + 1);
  ::STARTUPINFOEXW startup{};
  startup.StartupInfo.cb = sizeof(startup);
  startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
  startup.StartupInfo.hStdOutput = output;
  startup.lpAttributeList = reinterpret_cast<::LPPROC_THREAD_ATTRIBUTE_LIST>(buffer.data());
  if (!::InitializeProcThreadAttributeList(startup.lpAttributeList, 1, 0, &size)) {
    return false;
  }
  std::wstring writable(commandLine.begin(), commandLine.end());
  const bool started =
      ::UpdateProcThreadAttribute(startup.lpAttributeList, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST,
                                  &output, sizeof(output), nullptr, nullptr) &&
      ::CreateProcessW(program.c_str(), writable.data(), nullptr, nullptr, TRUE,
                       CREATE_NO_WINDOW | EXTENDED_STARTUPINFO_PRESENT, nullptr, nullptr,
                       &startup.StartupInfo, &process);
  ::DeleteProcThreadAttributeList(startup.lpAttributeList);
  return started;
}

/// Reads what comes until the program has ended or the time is over.
std::string readOutput(::HANDLE pipe, ::HANDLE process) {
  std::string output;
  const auto end = Clock::now() + outputLimit;
  for (;;) {  // Until the time is over at the latest.
    const bool hasEnded = ::WaitForSingleObject(process, 20) == WAIT_OBJECT_0;
    DWORD waiting = 0;
    while (output.size() < mostOutput &&
           ::PeekNamedPipe(pipe, nullptr, 0, nullptr, &waiting, nullptr) && waiting > 0) {
      char buffer[4096];
      DWORD got = 0;
      if (!::ReadFile(pipe, buffer, sizeof(buffer), &got, nullptr)) {
        return output;
      }
      output.append(buffer, got);
    }
    if (hasEnded || Clock::now() > end) {
      return output;
    }
  }
}

}  // namespace

std::filesystem::path systemProgram(const std::string& name) {
  std::wstring folder(MAX_PATH, L'\0');
  const UINT length = ::GetSystemDirectoryW(folder.data(), static_cast<UINT>(folder.size()));
  if (length == 0 || length >= folder.size()) {
    return {};
  }
  folder.resize(length);
  return std::filesystem::path(folder) / (name + ".exe");
}

std::string outputOfSystemProgram(const std::string& name, const std::string& commandLine) {
  ::SECURITY_ATTRIBUTES inherited{sizeof(inherited), nullptr, TRUE};
  ::HANDLE readEnd = nullptr;
  ::HANDLE writeEnd = nullptr;
  if (!::CreatePipe(&readEnd, &writeEnd, &inherited, 0)) {
    return {};
  }
  ::SetHandleInformation(readEnd, HANDLE_FLAG_INHERIT, 0);
  ::PROCESS_INFORMATION process{};
  std::string output;
  const bool started = start(systemProgram(name), commandLine, writeEnd, process);
  ::CloseHandle(writeEnd);
  if (started) {
    output = readOutput(readEnd, process.hProcess);
    ::TerminateProcess(process.hProcess, 1);  // Changes nothing if it has ended.
    ::CloseHandle(process.hThread);
    ::CloseHandle(process.hProcess);
  }
  ::CloseHandle(readEnd);
  return output;
}

}  // namespace platform
