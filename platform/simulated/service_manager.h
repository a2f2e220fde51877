// A simulated service manager for one service.
#ifndef KV500_PLATFORM_SIMULATED_SERVICE_MANAGER_H
#define KV500_PLATFORM_SIMULATED_SERVICE_MANAGER_H

#include <cstdint>
#include <deque>
#include <vector>

#include "platform/service_control.h"
#include "platform/simulated/mutex.h"
#include "platform/simulated/virtual_time.h"

namespace simulated {

/// All operations but `dispatch` may be called from any thread.
class ServiceManager {
 public:
  /// Sends a control. A stop is delivered as soon as the service accepts it.
  void post(std::uint32_t control);

  /// The reports so far, without refused ones.
  std::vector<platform::SERVICE_STATUS> reports() const;
  /// Waits at most 10 seconds for a report of that state. True if there is one.
  bool waitForState(std::uint32_t state) const;

  // What the platform does.

  /// Runs the service thread and delivers controls until SERVICE_STOPPED is reported.
  void dispatch(platform::ServiceMainFunction serviceMain);
  void setHandler(platform::ServiceHandlerFunction handler);
  void report(const platform::SERVICE_STATUS& status);

 private:
  bool isStopped() const;
  bool canDeliver() const;

  mutable Mutex mutex_;
  mutable Condition changed_;
  platform::ServiceHandlerFunction handler_ = nullptr;
  std::deque<std::uint32_t> controls_;
  std::vector<platform::SERVICE_STATUS> reports_;
};

}  // namespace simulated

#endif
