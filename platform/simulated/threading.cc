// The machine's events, threads and mutex, each call of which can be told to fail.
#include "platform/threading.h"

#include "platform/host.h"
#include "platform/host_handles.h"
#include "platform/simulated/world.h"

namespace platform {

using simulated::world;

HANDLE CreateEventA(bool manualReset, bool initialState) {
  return world().faults.take("CreateEventA") ? 0 : host::CreateEventA(manualReset, initialState);
}

bool SetEvent(HANDLE event) {
  return !world().faults.take("SetEvent") && host::SetEvent(event);
}

std::uint32_t WaitForSingleObject(HANDLE handle, std::uint32_t milliseconds) {
  return world().faults.take("WaitForSingleObject", milliseconds)
             ? WAIT_FAILED
             : host::WaitForSingleObject(handle, milliseconds);
}

HANDLE CreateThread(std::uint32_t (*function)(void*), void* argument) {
  return world().faults.take("CreateThread") ? 0 : host::CreateThread(function, argument);
}

HANDLE CreateMutexA(bool, const char* name) {
  return world().faults.take("CreateMutexA") ? 0
                                             : host::createNamedMutex(world().mutexRealm + name);
}

bool CloseHandle(HANDLE handle) {
  return host::CloseHandle(handle);
}

}  // namespace platform
