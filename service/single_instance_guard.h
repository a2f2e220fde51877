// Prevents a second process of the same service.
#ifndef KV500_SERVICE_SINGLE_INSTANCE_GUARD_H
#define KV500_SERVICE_SINGLE_INSTANCE_GUARD_H

#include <string>

#include "platform/threading.h"

namespace kv500 {

/// Holds the named mutex of a service for as long as it lives.
class SingleInstanceGuard {
 public:
  /// `name` is the service name. Raises "Could not create mutex", or "Service already running" if
  /// another process holds the mutex.
  explicit SingleInstanceGuard(const std::string& name);
  ~SingleInstanceGuard();
  SingleInstanceGuard(const SingleInstanceGuard&) = delete;
  SingleInstanceGuard& operator=(const SingleInstanceGuard&) = delete;

 private:
  platform::HANDLE mutex;
};

/// The name of the mutex: service name, "_SingleInstance_0", service name. Any thread.
std::string instanceMutexName(const std::string& name);

}  // namespace kv500

#endif
