// Replaces the smart-card service of Windows on a test machine: "net start SCardSvr" and "net stop
// SCardSvr" start and stop the simulated one of winscard.cc.
#include "platform/win32/native.h"

#include <fstream>

namespace {

SERVICE_STATUS_HANDLE handle = nullptr;

void command(const char* line) {
  std::ofstream("C:\\kv500-world.txt", std::ios::app | std::ios::binary) << line << "\n";
}

void report(DWORD state) {
  SERVICE_STATUS status{};
  status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
  status.dwCurrentState = state;
  status.dwControlsAccepted = state == SERVICE_RUNNING ? SERVICE_ACCEPT_STOP : 0;
  SetServiceStatus(handle, &status);
}

void WINAPI handleControl(DWORD control) {
  if (control == SERVICE_CONTROL_STOP) {
    command("pcsc stop");
    report(SERVICE_STOPPED);
  }
}

void WINAPI serviceMain(DWORD, LPWSTR*) {
  handle = RegisterServiceCtrlHandlerW(L"SCardSvr", handleControl);
  command("pcsc start");
  report(SERVICE_RUNNING);
}

}  // namespace

int main() {
  wchar_t name[] = L"SCardSvr";
  const SERVICE_TABLE_ENTRYW table[] = {{name, serviceMain}, {nullptr, nullptr}};
  return StartServiceCtrlDispatcherW(table) ? 0 : 1;
}
