// Time that runs ahead: once every thread of the world waits, the clock jumps to the first wait
// that is due. Days pass in seconds, and nothing depends on how fast the machine is.
#ifndef KV500_PLATFORM_SIMULATED_VIRTUAL_TIME_H
#define KV500_PLATFORM_SIMULATED_VIRTUAL_TIME_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <optional>
#include <utility>

#include "platform/simulated/mutex.h"
#include "platform/threading.h"

namespace simulated {

/// There is one for the whole process. Unless it is started, the world's time is that of the
/// machine. Once it is started, every wait of the world comes here. One thread runs at a time, so
/// that a run can be repeated exactly.
///
/// Threads of the world are the one that calls `start` and those that `startThread` starts. No
/// other thread may call an operation of the platform that waits. All operations may be called from
/// any thread of the world.
class VirtualTime {
 public:
  using Limit = std::optional<std::chrono::milliseconds>;  ///< None: without limit.
  /// Tells whether a wait is over. It is asked on any thread, under the lock of this object, and
  /// may not wait. A positive answer is the last one of its wait, so it may take what was waited
  /// for.
  using IsOver = std::function<bool()>;

  /// Lets the time run ahead until the process ends. Call it before the world has other threads.
  /// With `together` all threads that can run do so at the same time, for ThreadSanitizer.
  void start(bool together = false);
  bool isOn() const { return isOn_; }

  /// Milliseconds since the start.
  std::int64_t now() const { return now_; }

  /// True once `isOver` has said so, false after the limit. Ends the process by std::abort if no
  /// thread of the world could ever go on.
  bool wait(const IsOver& isOver, Limit limit);

  /// A thread of the world and a handle for it, as platform::CreateThread.
  platform::HANDLE startThread(std::uint32_t (*function)(void*), void* argument);
  /// Whether the handle is one of a thread. Such a handle is no handle of the machine.
  bool isThread(platform::HANDLE handle) const;
  bool hasEnded(platform::HANDLE thread) const;  ///< Only for an IsOver.
  void closeThread(platform::HANDLE thread);

 private:
  struct Waiter {
    Waiter(IsOver question, std::int64_t last) : isOver(std::move(question)), due(last) {}
    const IsOver isOver;
    const std::int64_t due;
    bool succeeded = false;

    // Has a mutex of its own, so that a woken thread does not wait for the one that woke it.
    void awaitTurn();
    void giveTurn();

   private:
    std::mutex mutex_;
    std::condition_variable given_;
    bool isTurn_ = false;
  };
  struct NewThread;
  using Guard = std::unique_lock<Mutex>;

  static std::uint32_t runThread(void* newThread);
  void passOn();
  bool wakeReady();
  bool wakeDue();
  void wake(Waiter& waiter, bool succeeded);

  std::atomic<bool> isOn_ = false;
  std::atomic<std::int64_t> now_ = 0;
  bool together_ = false;
  mutable Mutex mutex_;  ///< Guards all of the following.
  unsigned running_ = 0;
  std::list<Waiter*> waiters_;                ///< The one that has waited longest first.
  std::map<platform::HANDLE, bool> threads_;  ///< Open handles; whether the thread has ended.
};

VirtualTime& virtualTime();

/// Waits in the world's time, virtual or not.
void pass(std::chrono::milliseconds time);

/// A condition variable whose waits pass in the world's time.
class Condition {
 public:
  /// Waits until `isMet`, which is asked with the mutex of `guard` held. False after the limit.
  bool wait(std::unique_lock<Mutex>& guard, const std::function<bool()>& isMet,
            VirtualTime::Limit limit = {});
  void notify_all() { changed_.notify_all(); }

 private:
  std::condition_variable_any changed_;
};

}  // namespace simulated

#endif
