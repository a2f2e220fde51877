// The only kind of lock in the system, and the guard that holds it for a scope.
//
// Lock order: deviceLock, then serviceLock, then logLock. No thread takes a lock twice. The
// thread-safety build checks both, as far as the annotations tell it: a lock names its place in the
// order by the marks below, and an operation that takes a lock is marked with EXCLUDES.
#ifndef KV500_SUPPORT_LOCK_H
#define KV500_SUPPORT_LOCK_H

#include "platform/threading.h"
#include "support/thread_annotations.h"

namespace kv500 {

class CAPABILITY("lock") Lock {
 public:
  Lock() = default;
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

  void enter() ACQUIRE() { section_.lock(); }
  void leave() RELEASE() { section_.unlock(); }

 private:
  platform::CriticalSection section_;
};

/// Marks between the locks of the order. Nobody takes them. Each lock names the mark before it and
/// the mark after it, so classes need not know each other's locks.
namespace lockOrder {
inline Lock behindDevice;
inline Lock behindService ACQUIRED_AFTER(behindDevice);
}  // namespace lockOrder

/// Holds a lock from its construction to its destruction, by return or by exception.
class SCOPED_CAPABILITY ScopedLock {
 public:
  explicit ScopedLock(Lock& lock) ACQUIRE(lock) : lock_(lock) { lock_.enter(); }
  ~ScopedLock() RELEASE() { lock_.leave(); }
  ScopedLock(const ScopedLock&) = delete;
  ScopedLock& operator=(const ScopedLock&) = delete;

 private:
  Lock& lock_;
};

}  // namespace kv500

#endif
