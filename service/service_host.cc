#include "service/service_host.h"

#include "platform/program.h"
#include "platform/service_control.h"
#include "platform/threading.h"
#include "service/service_body.h"
#include "service/single_instance_guard.h"
#include "support/lock.h"
#include "support/notice.h"
#include "support/process_end.h"

namespace kv500 {

ServiceHooks serviceHooks;

namespace {

constexpr std::uint32_t stopInterval = 100;  // Milliseconds.

std::string serviceName;
platform::SERVICE_STATUS_HANDLE statusHandle = 0;

/// During a stop both the service thread and the dispatcher's thread report.
Lock statusLock;
platform::SERVICE_STATUS serviceStatus GUARDED_BY(statusLock) = {};
bool isStopped GUARDED_BY(statusLock) = false;
bool refusalTold GUARDED_BY(statusLock) = false;

bool report(std::uint32_t state, std::uint32_t controlsAccepted) {
  const ScopedLock guard(statusLock);
  if (isStopped) {
    return false;  // STOPPED is the last report; a late one from another thread is refused.
  }
  serviceStatus.dwServiceType = platform::SERVICE_WIN32_OWN_PROCESS;
  serviceStatus.dwCurrentState = state;
  serviceStatus.dwControlsAccepted = controlsAccepted;
  const bool taken = platform::SetServiceStatus(statusHandle, serviceStatus);
  if (!taken && !refusalTold) {
    platform::tellStarter("The service manager refuses a report of the service");
  }
  refusalTold = !taken;  // Once for refusals in a row: the stop is reported every 100 ms.
  isStopped = taken && state == platform::SERVICE_STOPPED;
  return taken;
}

/// What the dispatcher calls. A service that its manager does not accept has no working parts, and
/// no stop control can reach it, so its process must not stay.
void runOrEnd(std::uint32_t count, char16_t** arguments) {
  ServiceMain(count, arguments);
  endProcess(1);
}

[[noreturn]] void refuseStartByHand() {
  const std::string text =
      "This programm must be started as service!\n\n"
      "Use the installer to install it as service and then restart the computer.\n"
      "If this message still appears, please contact the support.";
  platform::tellStarter(text);
  notifyUser(platform::printablePath(platform::GetModuleFileNameW()), text);
  throw std::string("This program must be started as service");
}

}  // namespace

void runService(const std::string& name) {
  serviceName = name;
  serviceHooks = {serviceBody, nullptr, requestStop};
  const SingleInstanceGuard guard(name);
  const std::u16string wideName = widenBytes(name);
  const platform::SERVICE_TABLE_ENTRYW table[] = {{wideName.c_str(), runOrEnd}, {nullptr, nullptr}};
  if (platform::StartServiceCtrlDispatcherW(table)) {
    return;
  }
  if (platform::GetLastError() == platform::ERROR_FAILED_SERVICE_CONTROLLER_CONNECT) {
    refuseStartByHand();
  }
  throw std::string("Could not connect to service controller");
}

void ServiceMain(std::uint32_t count, char16_t** arguments) {
  endProcessOnFailure([count, arguments] {
    statusHandle = platform::RegisterServiceCtrlHandlerW(widenBytes(serviceName).c_str(),
                                                         serviceControlHandler);
    if (statusHandle == 0) {
      platform::tellStarter("The service manager refuses the control handler of the service");
      return;
    }
    if (!report(platform::SERVICE_START_PENDING, 0)) {
      return;
    }
    const ServiceArguments list(arguments, arguments + count);
    if (serviceHooks.initHook != nullptr) {
      serviceHooks.initHook(list);
    }
    if (!report(platform::SERVICE_RUNNING, platform::SERVICE_ACCEPT_STOP)) {
      return;
    }
    serviceHooks.runHook(list);
    for (;;) {  // Ends with the process.
      reportStop();
      platform::Sleep(stopInterval);
    }
  });
}

void serviceControlHandler(std::uint32_t control) {
  if (control == platform::SERVICE_CONTROL_STOP) {
    endProcessOnFailure(reportStop);
  }
}

void reportStop() {
  if (!report(platform::SERVICE_STOP_PENDING, 0)) {
    return;
  }
  if (serviceHooks.stopHook != nullptr) {
    serviceHooks.stopHook();
  }
  report(platform::SERVICE_STOPPED, 0);
}

}  // namespace kv500
