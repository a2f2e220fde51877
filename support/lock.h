// The system's one kind of lock, and the guard that holds it for a scope.
//
// Lock order: deviceLock, then serviceLock, then logLock. No lock is taken twice by one thread,
// which the thread-safety build checks.
#ifndef KV500_SUPPORT_LOCK_H
#define KV500_SUPPORT_LOCK_H

#include <mutex>

#include "support/thread_annotations.h"

namespace kv500 {

class CAPABILITY("lock") Lock {
 public:
  Lock() = default;
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

  void enter() ACQUIRE() { mutex_.lock(); }
  void leave() RELEASE() { mutex_.unlock(); }

 private:
  std::mutex mutex_;
};

/// Holds a lock from its construction to its end, whether by a return or by an exception.
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
