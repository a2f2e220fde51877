#include "platform/service_control.h"

#include "platform/win32/native.h"

namespace platform {
namespace {

// Windows calls with its own calling convention and types. Each is set before Windows can call.
ServiceMainFunction serviceMain = nullptr;
ServiceHandlerFunction serviceHandler = nullptr;

void WINAPI callServiceMain(DWORD count, LPWSTR* arguments) {
  serviceMain(count, reinterpret_cast<char16_t**>(arguments));
}

void WINAPI callServiceHandler(DWORD control) {
  serviceHandler(control);
}

}  // namespace

bool StartServiceCtrlDispatcherW(const SERVICE_TABLE_ENTRYW* table) {
  serviceMain = table->lpServiceProc;
  // Windows doesn't write to the name. A copy would be freed before the caller asks for the cause
  // of a failure, and freeing might change that cause.
  const ::SERVICE_TABLE_ENTRYW native[] = {
      {const_cast<wchar_t*>(win32::toNative(table->lpServiceName)), callServiceMain},
      {nullptr, nullptr}};
  return ::StartServiceCtrlDispatcherW(native);
}

SERVICE_STATUS_HANDLE RegisterServiceCtrlHandlerW(const char16_t* name,
                                                  ServiceHandlerFunction handler) {
  serviceHandler = handler;
  return reinterpret_cast<SERVICE_STATUS_HANDLE>(
      ::RegisterServiceCtrlHandlerW(win32::toNative(name), callServiceHandler));
}

bool SetServiceStatus(SERVICE_STATUS_HANDLE handle, const SERVICE_STATUS& status) {
  ::SERVICE_STATUS native{};
  native.dwServiceType = status.dwServiceType;
  native.dwCurrentState = status.dwCurrentState;
  native.dwControlsAccepted = status.dwControlsAccepted;
  native.dwWin32ExitCode = status.dwWin32ExitCode;
  native.dwServiceSpecificExitCode = status.dwServiceSpecificExitCode;
  native.dwCheckPoint = status.dwCheckPoint;
  native.dwWaitHint = status.dwWaitHint;
  return ::SetServiceStatus(reinterpret_cast<::SERVICE_STATUS_HANDLE>(handle), &native);
}

}  // namespace platform
