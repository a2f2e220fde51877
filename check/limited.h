// Work that may hang, on a thread of its own.
#ifndef KV500_CHECK_LIMITED_H
#define KV500_CHECK_LIMITED_H

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "platform/threading.h"

namespace check {

/// Work that has been started. Work that hangs continues in the background until the process ends.
template <typename Result>
class Limited {
 public:
  using Clock = std::chrono::steady_clock;

  /// Starts the work. It must own everything that it uses. If it throws, or if no thread can be
  /// started, there is no result.
  explicit Limited(std::function<Result()> work) {
    auto call = std::make_unique<Call>(Call{state_, std::move(work)});
    const platform::HANDLE thread = platform::CreateThread(runCall, call.get());
    if (thread == 0) {
      state_->ended = true;
      return;
    }
    (void)call.release();  // The thread owns it now.
    platform::CloseHandle(thread);
  }

  /// The result, or none if there is no result by the deadline.
  std::optional<Result> resultBy(Clock::time_point deadline) const {
    std::unique_lock guard(state_->mutex);
    state_->changed.wait_until(guard, deadline, [this] { return state_->ended; });
    return state_->result;
  }

 private:
  struct State {
    std::mutex mutex;
    std::condition_variable changed;
    bool ended = false;
    std::optional<Result> result;
  };

  struct Call {
    std::shared_ptr<State> state;
    std::function<Result()> work;
  };

  static std::uint32_t runCall(void* pointer) {
    const std::unique_ptr<Call> call(static_cast<Call*>(pointer));
    run(*call->state, call->work);
    return 0;
  }

  static void run(State& state, const std::function<Result()>& work) {
    std::optional<Result> result;
    try {
      result = work();
    } catch (...) {
      // Memory has run out, or a system library has failed: there is no result.
    }
    const std::lock_guard guard(state.mutex);
    state.result = std::move(result);
    state.ended = true;
    state.changed.notify_all();
  }

  const std::shared_ptr<State> state_ = std::make_shared<State>();
};

/// The result of work that is given a time limit. None if it takes longer.
template <typename Result>
std::optional<Result> within(std::chrono::milliseconds limit, std::function<Result()> work) {
  return Limited<Result>(std::move(work)).resultBy(Limited<Result>::Clock::now() + limit);
}

}  // namespace check

#endif
