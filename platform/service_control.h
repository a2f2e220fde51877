// The Service Control Manager.
#ifndef KV500_PLATFORM_SERVICE_CONTROL_H
#define KV500_PLATFORM_SERVICE_CONTROL_H

#include <cstdint>

namespace platform {

inline constexpr std::uint32_t SERVICE_WIN32_OWN_PROCESS = 0x10;
inline constexpr std::uint32_t SERVICE_STOPPED = 1;
inline constexpr std::uint32_t SERVICE_START_PENDING = 2;
inline constexpr std::uint32_t SERVICE_STOP_PENDING = 3;
inline constexpr std::uint32_t SERVICE_RUNNING = 4;
inline constexpr std::uint32_t SERVICE_ACCEPT_STOP = 1;
inline constexpr std::uint32_t SERVICE_CONTROL_STOP = 1;

using SERVICE_STATUS_HANDLE = std::uintptr_t;  ///< 0 is no handle.

/// One report to the Service Control Manager.
struct SERVICE_STATUS {
  std::uint32_t dwServiceType;
  std::uint32_t dwCurrentState;
  std::uint32_t dwControlsAccepted;
  std::uint32_t dwWin32ExitCode;
  std::uint32_t dwServiceSpecificExitCode;
  std::uint32_t dwCheckPoint;
  std::uint32_t dwWaitHint;
};

using ServiceMainFunction = void (*)(std::uint32_t count, char16_t** arguments);
using ServiceHandlerFunction = void (*)(std::uint32_t control);

struct SERVICE_TABLE_ENTRYW {
  const char16_t* lpServiceName;
  ServiceMainFunction lpServiceProc;
};

/// Connects to the Service Control Manager, runs the entry's operation on a thread of its own (the
/// service thread), and delivers the controls on the calling thread. Returns true once the service
/// has reported SERVICE_STOPPED. On failure it returns false at once, and GetLastError tells the
/// cause: ERROR_FAILED_SERVICE_CONTROLLER_CONNECT if the process was started by hand. `table` has
/// one entry and an empty end entry.
bool StartServiceCtrlDispatcherW(const SERVICE_TABLE_ENTRYW* table);

/// The service thread calls this first. From then on `handler` receives the controls. 0 on failure.
SERVICE_STATUS_HANDLE RegisterServiceCtrlHandlerW(const char16_t* name,
                                                  ServiceHandlerFunction handler);

/// Reports a status. Any thread. True if the report was accepted.
bool SetServiceStatus(SERVICE_STATUS_HANDLE handle, const SERVICE_STATUS& status);

}  // namespace platform

#endif
