// The world's own locks.
#ifndef KV500_PLATFORM_SIMULATED_MUTEX_H
#define KV500_PLATFORM_SIMULATED_MUTEX_H

#include <mutex>

namespace simulated {

/// While a thread holds one of these, it does the world's work and not that of the system. A test
/// that takes the system's memory away leaves the world's memory alone.
class Mutex {
 public:
  void lock() {
    mutex_.lock();
    ++held;
  }
  void unlock() {
    --held;
    mutex_.unlock();
  }

  /// Whether the calling thread holds one.
  static bool isHeld() { return held > 0; }

 private:
  static inline thread_local int held = 0;
  std::mutex mutex_;
};

}  // namespace simulated

#endif
