// The machine's events, threads, mutexes and pauses. Each call can be told to fail. What a real
// machine refuses is refused.
#include "platform/threading.h"

#include "platform/host.h"
#include "platform/host_handles.h"
#include "platform/simulated/ledger.h"
#include "platform/simulated/virtual_time.h"
#include "platform/simulated/world.h"

namespace platform {
namespace {

using simulated::ledger;
using simulated::virtualTime;
using simulated::world;
using Kind = simulated::Ledger::Kind;

HANDLE given(Kind kind, HANDLE handle) {
  if (handle != 0) {
    ledger().give(kind, handle);
  }
  return handle;
}

}  // namespace

HANDLE CreateEventA(bool manualReset, bool initialState) {
  if (world().faults.take("CreateEventA")) {
    return 0;
  }
  return given(Kind::Event, host::CreateEventA(manualReset, initialState));
}

bool SetEvent(HANDLE event) {
  if (world().faults.take("SetEvent")) {
    return false;
  }
  if (!ledger().find("SetEvent", Kind::Event, event)) {
    SetLastError(simulated::errorInvalidHandle);
    return false;
  }
  return host::SetEvent(event);
}

std::uint32_t WaitForSingleObject(HANDLE handle, std::uint32_t milliseconds) {
  if (world().faults.take("WaitForSingleObject", milliseconds)) {
    return WAIT_FAILED;
  }
  if (!ledger().isWaitable(handle)) {
    SetLastError(simulated::errorInvalidHandle);
    return WAIT_FAILED;
  }
  if (!virtualTime().isOn()) {
    return host::WaitForSingleObject(handle, milliseconds);
  }
  const bool isThread = virtualTime().isThread(handle);
  const auto isOver = [handle, isThread] {
    return isThread ? virtualTime().hasEnded(handle)
                    : host::WaitForSingleObject(handle, 0) == WAIT_OBJECT_0;
  };
  const auto limit = milliseconds == INFINITE ? simulated::VirtualTime::Limit()
                                              : std::chrono::milliseconds(milliseconds);
  return virtualTime().wait(isOver, limit) ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
}

HANDLE CreateThread(std::uint32_t (*function)(void*), void* argument) {
  if (world().faults.take("CreateThread")) {
    return 0;
  }
  if (function == nullptr) {
    return simulated::refuse("CreateThread", "no function", HANDLE{0});
  }
  return given(Kind::Thread, virtualTime().isOn() ? virtualTime().startThread(function, argument)
                                                  : host::CreateThread(function, argument));
}

HANDLE CreateMutexA(bool, const char* name) {
  if (world().faults.take("CreateMutexA")) {
    return 0;
  }
  return given(Kind::Mutex, host::createNamedMutex((world().mutexRealm + name).c_str()));
}

bool CloseHandle(HANDLE handle) {
  const bool fails = world().faults.take("CloseHandle").has_value();  // It is given back, too.
  const auto kind = ledger().takeBackHandle(handle);
  if (!kind) {
    SetLastError(simulated::errorInvalidHandle);
    return false;
  }
  if (virtualTime().isThread(handle)) {
    virtualTime().closeThread(handle);
    return !fails;
  }
  const bool isOfMemory = kind == Kind::Token || kind == Kind::Process;
  return (isOfMemory || host::CloseHandle(handle)) && !fails;
}

void Sleep(std::uint32_t milliseconds) {
  simulated::pass(std::chrono::milliseconds(milliseconds));
}

void CriticalSection::lock() {
  if (!virtualTime().isOn()) {
    mutex_.lock();
    return;
  }
  const auto isFree = [this] {
    const std::unique_lock<std::mutex> attempt(mutex_, std::try_to_lock);
    return attempt.owns_lock();
  };
  while (!mutex_.try_lock()) {  // More than one round only if another thread was faster.
    virtualTime().wait(isFree, {});
  }
}

void CriticalSection::unlock() {
  mutex_.unlock();
}

}  // namespace platform
