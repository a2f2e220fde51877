// A small record for one thread.
#ifndef KV500_SUPPORT_THREAD_H
#define KV500_SUPPORT_THREAD_H

#include "platform/threading.h"

namespace kv500 {

struct Thread {
  platform::HANDLE handle = 0;
  bool running = false;
  void (*function)(void*) = nullptr;
  void* argument = nullptr;

  /// Starts a thread that calls `newFunction(newArgument)` and ends with exit code 0. A failure
  /// that the function does not handle ends the process (see process_end.h). True if the thread
  /// runs. False if it can't be started, or if `running` is already true, which changes nothing.
  bool start(void (*newFunction)(void*), void* newArgument);

  /// Closes the handle. Does not wait for the thread. Only this call makes `running` false, not the
  /// return of the function.
  void close();
};

}  // namespace kv500

#endif
