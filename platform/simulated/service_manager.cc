#include "platform/simulated/service_manager.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "platform/simulated/ledger.h"
#include "platform/simulated/world.h"
#include "platform/threading.h"

namespace simulated {

void ServiceManager::post(std::uint32_t control) {
  const std::lock_guard guard(mutex_);
  controls_.push_back(control);
  changed_.notify_all();
}

std::vector<platform::SERVICE_STATUS> ServiceManager::reports() const {
  const std::lock_guard guard(mutex_);
  return reports_;
}

bool ServiceManager::waitForState(std::uint32_t state) const {
  std::unique_lock guard(mutex_);
  const auto isReported = [this, state] {
    return std::any_of(reports_.begin(), reports_.end(),
                       [state](const auto& report) { return report.dwCurrentState == state; });
  };
  return changed_.wait(guard, isReported, std::chrono::seconds(10));
}

void ServiceManager::dispatch(platform::ServiceMainFunction serviceMain) {
  // The service thread reads the entry before this operation can end.
  const auto run = [](void* entry) -> std::uint32_t {
    (*static_cast<platform::ServiceMainFunction*>(entry))(0, nullptr);
    return 0;
  };
  if (virtualTime().isOn()) {
    virtualTime().startThread(run, &serviceMain);
  } else {
    std::thread(run, &serviceMain).detach();
  }
  std::unique_lock guard(mutex_);
  for (;;) {  // Until the service has stopped, however long it runs.
    changed_.wait(guard, [this] { return isStopped() || canDeliver(); });
    if (isStopped()) {
      return;
    }
    const std::uint32_t control = controls_.front();
    controls_.pop_front();
    const auto handler = handler_;
    guard.unlock();
    handler(control);
    guard.lock();
  }
}

void ServiceManager::setHandler(platform::ServiceHandlerFunction handler) {
  const std::lock_guard guard(mutex_);
  handler_ = handler;
  changed_.notify_all();
}

void ServiceManager::report(const platform::SERVICE_STATUS& status) {
  const std::lock_guard guard(mutex_);
  reports_.push_back(status);
  changed_.notify_all();
}

bool ServiceManager::isStopped() const {
  return std::any_of(reports_.begin(), reports_.end(), [](const auto& report) {
    return report.dwCurrentState == platform::SERVICE_STOPPED;
  });
}

bool ServiceManager::canDeliver() const {
  if (controls_.empty() || handler_ == nullptr || reports_.empty()) {
    return false;
  }
  return controls_.front() != platform::SERVICE_CONTROL_STOP ||
         (reports_.back().dwControlsAccepted & platform::SERVICE_ACCEPT_STOP) != 0;
}

}  // namespace simulated

namespace platform {

using simulated::world;

constexpr SERVICE_STATUS_HANDLE statusHandle = 1;

bool StartServiceCtrlDispatcherW(const SERVICE_TABLE_ENTRYW* table) {
  if (const auto code = world().faults.take("StartServiceCtrlDispatcherW")) {
    SetLastError(*code);
    return false;
  }
  if (table[0].lpServiceName == nullptr || table[0].lpServiceProc == nullptr ||
      table[1].lpServiceName != nullptr || table[1].lpServiceProc != nullptr) {
    SetLastError(simulated::errorInvalidParameter);
    return simulated::refuse("StartServiceCtrlDispatcherW", "not one entry and an end", false);
  }
  world().serviceManager.dispatch(table->lpServiceProc);
  return true;
}

SERVICE_STATUS_HANDLE RegisterServiceCtrlHandlerW(const char16_t* name,
                                                  ServiceHandlerFunction handler) {
  if (world().faults.take("RegisterServiceCtrlHandlerW")) {
    return 0;
  }
  if (name == nullptr || handler == nullptr) {
    return simulated::refuse("RegisterServiceCtrlHandlerW", "no name, or no handler",
                             SERVICE_STATUS_HANDLE{0});
  }
  world().serviceManager.setHandler(handler);
  return statusHandle;
}

bool SetServiceStatus(SERVICE_STATUS_HANDLE handle, const SERVICE_STATUS& status) {
  if (world().faults.take("SetServiceStatus", status.dwCurrentState)) {
    return false;
  }
  if (handle != statusHandle || status.dwServiceType != SERVICE_WIN32_OWN_PROCESS ||
      status.dwCurrentState < SERVICE_STOPPED || status.dwCurrentState > SERVICE_RUNNING ||
      (status.dwControlsAccepted & ~SERVICE_ACCEPT_STOP) != 0) {
    SetLastError(simulated::errorInvalidParameter);
    return simulated::refuse("SetServiceStatus", "unknown handle, type, state or control", false);
  }
  world().serviceManager.report(status);
  return true;
}

}  // namespace platform
