// The service manager is systemd. Reports go to its notify socket (sd_notify). The stop control is
// SIGTERM or SIGINT.
#include "platform/service_control.h"

#include <systemd/sd-daemon.h>

#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <thread>

#include "platform/host.h"
#include "platform/threading.h"

namespace platform {
namespace {

/// What the dispatcher waits for. It is never destroyed, because the thread that receives the
/// signals uses it until the process has ended.
struct Dispatcher {
  std::mutex mutex;
  std::condition_variable changed;
  ServiceHandlerFunction handler = nullptr;
  bool stopRequested = false;
  bool stopAccepted = false;
  bool stopped = false;
};

Dispatcher& dispatcher() {
  static auto& only = *new Dispatcher;
  return only;
}

template <typename Change>
void change(Change what) {
  const std::lock_guard guard(dispatcher().mutex);
  what(dispatcher());
  dispatcher().changed.notify_all();
}

/// Tells systemd what it needs to know. For systemd the end of the process means "stopped".
bool notify(std::uint32_t state) {
  if (state == SERVICE_RUNNING) {
    return ::sd_notify(0, "READY=1") > 0;
  }
  if (state == SERVICE_STOP_PENDING) {
    ::sd_notify(0, "STOPPING=1");  // The stop continues even if nobody hears of it.
  }
  return true;
}

}  // namespace

bool StartServiceCtrlDispatcherW(const SERVICE_TABLE_ENTRYW* table) {
  if (std::getenv("NOTIFY_SOCKET") == nullptr) {
    SetLastError(ERROR_FAILED_SERVICE_CONTROLLER_CONNECT);
    return false;
  }
  host::onEndRequest([] { change([](Dispatcher& d) { d.stopRequested = true; }); });
  std::thread([serviceMain = table->lpServiceProc] {
    serviceMain(0, nullptr);  // Never returns: a service that can't start ends the process.
  }).detach();
  Dispatcher& d = dispatcher();
  std::unique_lock guard(d.mutex);
  for (;;) {  // Until the service has stopped, however long it runs.
    d.changed.wait(guard, [&d] {
      return d.stopped || (d.stopRequested && d.stopAccepted && d.handler != nullptr);
    });
    if (d.stopped) {
      return true;
    }
    d.stopRequested = false;
    const auto handler = d.handler;
    guard.unlock();
    handler(SERVICE_CONTROL_STOP);
    guard.lock();
  }
}

SERVICE_STATUS_HANDLE RegisterServiceCtrlHandlerW(const char16_t*, ServiceHandlerFunction handler) {
  change([handler](Dispatcher& d) { d.handler = handler; });
  return 1;
}

bool SetServiceStatus(SERVICE_STATUS_HANDLE, const SERVICE_STATUS& status) {
  if (!notify(status.dwCurrentState)) {
    return false;
  }
  change([&status](Dispatcher& d) {
    d.stopAccepted = (status.dwControlsAccepted & SERVICE_ACCEPT_STOP) != 0;
    d.stopped = d.stopped || status.dwCurrentState == SERVICE_STOPPED;
  });
  return true;
}

}  // namespace platform
