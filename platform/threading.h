// Events, threads, locks, the named mutex, waiting.
//
// All operations may be called from any thread. Close a handle once. A process that the system
// starts inherits no handle.
#ifndef KV500_PLATFORM_THREADING_H
#define KV500_PLATFORM_THREADING_H

#include <cstdint>
#include <mutex>

namespace platform {

using HANDLE = std::uintptr_t;  ///< 0 is no handle.

inline constexpr std::uint32_t INFINITE = 0xFFFFFFFF;
inline constexpr std::uint32_t WAIT_OBJECT_0 = 0;
inline constexpr std::uint32_t WAIT_TIMEOUT = 258;
inline constexpr std::uint32_t WAIT_FAILED = 0xFFFFFFFF;
inline constexpr std::uint32_t ERROR_ALREADY_EXISTS = 183;
inline constexpr std::uint32_t ERROR_FAILED_SERVICE_CONTROLLER_CONNECT = 1063;

/// Makes an event without a name. A manual-reset event stays set. An auto-reset event releases one
/// wait and is then no longer set. 0 on failure.
HANDLE CreateEventA(bool manualReset, bool initialState);

/// Sets an event. False on failure.
bool SetEvent(HANDLE event);

/// Waits for an event to be set or a thread to end. Gives WAIT_OBJECT_0, WAIT_TIMEOUT after
/// `milliseconds` (INFINITE waits without limit, 0 only checks), or WAIT_FAILED.
std::uint32_t WaitForSingleObject(HANDLE handle, std::uint32_t milliseconds);

/// Starts a thread with default stack and security; its exit code is the result of `function`.
/// 0 on failure. Closing the handle does not end the thread.
HANDLE CreateThread(std::uint32_t (*function)(void*), void* argument);

/// Makes a mutex of that name. This process holds it until the handle is closed or the process
/// ends. 0 on failure. If another process already holds it, the handle is valid all the same and
/// GetLastError gives ERROR_ALREADY_EXISTS. On Linux a process that no service manager has started
/// only checks for another holder; it does not hold the mutex itself.
HANDLE CreateMutexA(bool initialOwner, const char* name);

/// Closes a handle of any of the kinds above.
bool CloseHandle(HANDLE handle);

void Sleep(std::uint32_t milliseconds);

/// What one thread of this process holds at a time. A thread that holds it must not take it again.
class CriticalSection {
 public:
  /// Waits without limit until no thread holds it.
  void lock();
  /// Called by the thread that holds it.
  void unlock();

 private:
  std::mutex mutex_;
};

/// The calling thread's last error code.
std::uint32_t GetLastError();
void SetLastError(std::uint32_t code);

}  // namespace platform

#endif
