// What the Service Control Manager says of a service.
#include <memory>
#include <vector>

#include "platform/command_line.h"
#include "platform/inspection.h"
#include "platform/win32/native.h"

namespace platform {
namespace {

using State = ServiceFacts::State;

struct CloseService {
  void operator()(::SC_HANDLE handle) const { ::CloseServiceHandle(handle); }
};
using ServiceHandle = std::unique_ptr<std::remove_pointer_t<::SC_HANDLE>, CloseService>;

State toState(DWORD state) {
  switch (state) {
    case SERVICE_RUNNING:
      return State::Running;
    case SERVICE_START_PENDING:
      return State::Starting;
    case SERVICE_STOP_PENDING:
      return State::Stopping;
    default:
      return State::Stopped;
  }
}

void readStatus(::SC_HANDLE service, ServiceFacts& facts) {
  ::SERVICE_STATUS_PROCESS status{};
  DWORD size = 0;
  if (::QueryServiceStatusEx(service, SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status),
                             sizeof(status), &size)) {
    facts.state = toState(status.dwCurrentState);
    facts.processId = status.dwProcessId;
    facts.exitCode = status.dwWin32ExitCode;
  }
}

std::string fromWide(const wchar_t* text) {
  return text == nullptr ? "" : toUtf8(text);
}

void readConfiguration(::SC_HANDLE service, ServiceFacts& facts) {
  DWORD size = 0;
  ::QueryServiceConfigW(service, nullptr, 0, &size);
  std::vector<std::uint64_t> buffer(size / sizeof(std::uint64_t) + 1);  // Aligned for the record.
  auto* const configuration = reinterpret_cast<::QUERY_SERVICE_CONFIGW*>(buffer.data());
  if (size == 0 || !::QueryServiceConfigW(service, configuration, size, &size)) {
    return;
  }
  facts.disabled = configuration->dwStartType == SERVICE_DISABLED;
  facts.account = fromWide(configuration->lpServiceStartName);
  const auto command = splitCommandLine(fromWide(configuration->lpBinaryPathName));
  facts.program = fromUtf8(command.empty() ? "" : command.front());
}

}  // namespace

ServiceFacts inspectService(InspectedService inspected) {
  const bool isKv500 = inspected == InspectedService::Kv500;
  const std::string name = isKv500 ? "KV500Service" : "SCardSvr";
  ServiceFacts facts;
  facts.usualAccount = isKv500 ? "LocalSystem" : "NT AUTHORITY\\LocalService";
  facts.startCommand = "net start " + name;
  facts.enableCommand = "sc.exe config " + name + " start= " + (isKv500 ? "auto" : "demand");
  facts.installCommand = "sfc /scannow";
  const ServiceHandle manager(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
  if (!manager) {
    return facts;
  }
  const ServiceHandle service(
      ::OpenServiceA(manager.get(), name.c_str(), SERVICE_QUERY_STATUS | SERVICE_QUERY_CONFIG));
  if (!service) {
    const bool isAbsent = ::GetLastError() == ERROR_SERVICE_DOES_NOT_EXIST;
    facts.state = isAbsent ? State::Absent : State::Unknown;
    return facts;
  }
  readStatus(service.get(), facts);
  readConfiguration(service.get(), facts);
  return facts;
}

}  // namespace platform
