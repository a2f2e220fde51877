#include "platform/host_handles.h"

#include <condition_variable>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>

#include "platform/posix/handle_object.h"

namespace platform {
namespace {

using posix::HandleObject;
using posix::toHandle;
using posix::toObject;

/// What an event's waiters wait for.
class Signal {
 public:
  explicit Signal(bool isSet) : isSet_(isSet) {}

  void set() {
    {
      const std::lock_guard guard(mutex_);
      isSet_ = true;
    }
    changed_.notify_all();  // Without the lock: a waiter takes it as soon as it wakes.
  }

  std::uint32_t wait(std::optional<std::chrono::milliseconds> limit, bool reset) {
    std::unique_lock guard(mutex_);
    const auto isSet = [this] { return isSet_; };
    const bool onlyLook =
        limit && limit->count() == 0;  // The most frequent case; it needs no timer of the kernel.
    if (!limit) {
      changed_.wait(guard, isSet);  // The caller asked for a wait without limit.
    } else if (onlyLook ? !isSet_ : !changed_.wait_for(guard, *limit, isSet)) {
      return WAIT_TIMEOUT;
    }
    if (reset) {
      isSet_ = false;
    }
    return WAIT_OBJECT_0;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool isSet_;
};

class Event : public HandleObject {
 public:
  Event(bool manualReset, bool isSet)
      : manualReset_(manualReset), signal_(std::make_shared<Signal>(isSet)) {}

  bool set() override {
    // Shared: a waiter that wakes may close the event before `set` has returned.
    const std::shared_ptr<Signal> signal = signal_;
    signal->set();
    return true;
  }

  std::uint32_t wait(std::optional<std::chrono::milliseconds> limit) override {
    return signal_->wait(limit, !manualReset_);
  }

 private:
  const bool manualReset_;
  const std::shared_ptr<Signal> signal_;
};

/// A thread. Its last step sets a signal that others can wait for. The signal is shared, because
/// the handle and the thread may each outlive the other.
class RunningThread : public HandleObject {
 public:
  RunningThread(std::uint32_t (*function)(void*), void* argument) {
    std::thread([function, argument, ended = ended_] {
      function(argument);
      ended->set();
    }).detach();
  }

  std::uint32_t wait(std::optional<std::chrono::milliseconds> limit) override {
    return ended_->wait(limit, false);
  }

 private:
  std::shared_ptr<Signal> ended_ = std::make_shared<Signal>(false);
};

thread_local std::uint32_t lastError = 0;

}  // namespace

HANDLE host::CreateEventA(bool manualReset, bool initialState) {
  return toHandle(std::make_unique<Event>(manualReset, initialState));
}

bool host::SetEvent(HANDLE event) {
  return event != 0 && toObject(event)->set();
}

std::uint32_t host::WaitForSingleObject(HANDLE handle, std::uint32_t milliseconds) {
  if (handle == 0) {
    return WAIT_FAILED;
  }
  if (milliseconds == INFINITE) {
    return toObject(handle)->wait(std::nullopt);
  }
  return toObject(handle)->wait(std::chrono::milliseconds(milliseconds));
}

HANDLE host::CreateThread(std::uint32_t (*function)(void*), void* argument) {
  try {
    return toHandle(std::make_unique<RunningThread>(function, argument));
  } catch (const std::system_error&) {
    return 0;
  } catch (const std::bad_alloc&) {
    return 0;
  }
}

bool host::CloseHandle(HANDLE handle) {
  delete toObject(handle);
  return handle != 0;
}

void host::Sleep(std::uint32_t milliseconds) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

std::uint32_t GetLastError() {
  return lastError;
}
void SetLastError(std::uint32_t code) {
  lastError = code;
}

}  // namespace platform
