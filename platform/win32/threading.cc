#include "platform/host_handles.h"

#include <memory>
#include <new>

#include "platform/win32/native.h"

namespace platform {
namespace {

using win32::toNative;
using win32::toSeam;

/// The function that a new thread calls; converts between the seam's form and that of Windows.
struct Call {
  std::uint32_t (*function)(void*);
  void* argument;
};

DWORD WINAPI runCall(LPVOID pointer) {
  const std::unique_ptr<Call> call(static_cast<Call*>(pointer));
  return call->function(call->argument);
}

}  // namespace

HANDLE host::CreateEventA(bool manualReset, bool initialState) {
  return toSeam(::CreateEventA(nullptr, manualReset, initialState, nullptr));
}

bool host::SetEvent(HANDLE event) {
  return ::SetEvent(toNative(event));
}

std::uint32_t host::WaitForSingleObject(HANDLE handle, std::uint32_t milliseconds) {
  return ::WaitForSingleObject(toNative(handle), milliseconds);
}

HANDLE host::CreateThread(std::uint32_t (*function)(void*), void* argument) {
  std::unique_ptr<Call> call(new (std::nothrow) Call{function, argument});
  if (!call) {
    return 0;
  }
  const ::HANDLE thread = ::CreateThread(nullptr, 0, runCall, call.get(), 0, nullptr);
  if (thread != nullptr) {
    call.release();
  }
  return toSeam(thread);
}

bool host::CloseHandle(HANDLE handle) {
  return handle != 0 && ::CloseHandle(toNative(handle));
}

void host::Sleep(std::uint32_t milliseconds) {
  ::Sleep(milliseconds);
}

std::uint32_t GetLastError() {
  return ::GetLastError();
}
void SetLastError(std::uint32_t code) {
  ::SetLastError(code);
}

}  // namespace platform
