#include "support/thread.h"

#include <memory>
#include <new>

#include "support/process_end.h"

namespace kv500 {
namespace {

/// A copy of the record. The new thread owns it: the record itself may be gone before it runs.
std::uint32_t runCopy(void* pointer) {
  const std::unique_ptr<const Thread> copy(static_cast<const Thread*>(pointer));
  endProcessOnFailure([&copy] { copy->function(copy->argument); });
  return 0;
}

}  // namespace

bool Thread::start(void (*newFunction)(void*), void* newArgument) {
  if (running) {
    return false;
  }
  function = newFunction;
  argument = newArgument;
  std::unique_ptr<Thread> copy(new (std::nothrow) Thread(*this));
  handle = copy ? platform::CreateThread(runCopy, copy.get()) : 0;
  running = handle != 0;
  if (running) {
    (void)copy.release();  // The thread owns it now.
  }
  return running;
}

void Thread::close() {
  if (handle != 0) {
    platform::CloseHandle(handle);
  }
  handle = 0;
  running = false;
}

}  // namespace kv500
