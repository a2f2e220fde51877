#include "platform/host_handles.h"

#include <condition_variable>
#include <mutex>
#include <system_error>
#include <thread>

#include "platform/posix/handle_object.h"

namespace platform {
namespace {

using posix::HandleObject;
using posix::toHandle;
using posix::toObject;

class Event : public HandleObject {
 public:
  Event(bool manualReset, bool isSet) : manualReset_(manualReset), isSet_(isSet) {}

  bool set() override {
    const std::lock_guard guard(mutex_);
    isSet_ = true;
    // Told under the lock: a waiter that wakes may close the event at once.
    changed_.notify_all();
    return true;
  }

  std::uint32_t wait(std::optional<std::chrono::milliseconds> limit) override {
    std::unique_lock guard(mutex_);
    const auto isSet = [this] { return isSet_; };
    const bool onlyLook =
        limit && limit->count() == 0;  // Most calls; it spares the kernel a timer.
    if (!limit) {
      changed_.wait(guard, isSet);  // The caller asked for a wait without limit.
    } else if (onlyLook ? !isSet_ : !changed_.wait_for(guard, *limit, isSet)) {
      return WAIT_TIMEOUT;
    }
    if (!manualReset_) {
      isSet_ = false;
    }
    return WAIT_OBJECT_0;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  const bool manualReset_;
  bool isSet_;
};

/// A thread that is waited for through an event which it sets last. The event is shared, as handle
/// and thread may each outlive the other.
class RunningThread : public HandleObject {
 public:
  RunningThread(std::uint32_t (*function)(void*), void* argument) {
    std::thread([function, argument, ended = ended_] {
      function(argument);
      ended->set();
    }).detach();
  }

  std::uint32_t wait(std::optional<std::chrono::milliseconds> limit) override {
    return ended_->wait(limit);
  }

 private:
  std::shared_ptr<Event> ended_ = std::make_shared<Event>(true, false);
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
  }
}

bool host::CloseHandle(HANDLE handle) {
  delete toObject(handle);
  return handle != 0;
}

void Sleep(std::uint32_t milliseconds) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

std::uint32_t GetLastError() {
  return lastError;
}
void SetLastError(std::uint32_t code) {
  lastError = code;
}

}  // namespace platform
