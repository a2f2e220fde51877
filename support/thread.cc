#include "support/thread.h"

#include <memory>

#include "support/process_end.h"

namespace kv500 {
namespace {

/// What the new thread is to call. The thread owns it: the `Thread` may be gone before it runs.
struct Call {
  void (*function)(void*);
  void* argument;
};

std::uint32_t runCall(void* pointer) {
  const std::unique_ptr<Call> call(static_cast<Call*>(pointer));
  endProcessOnFailure([&call] { call->function(call->argument); });
  return 0;
}

}  // namespace

bool Thread::start(void (*newFunction)(void*), void* newArgument, const std::string&) {
  if (running) {
    return false;
  }
  function = newFunction;
  argument = newArgument;
  auto call = std::make_unique<Call>(Call{function, argument});
  handle = platform::CreateThread(runCall, call.get());
  running = handle != 0;
  if (running) {
    (void)call.release();  // The thread owns it now.
  }
  return running;
}

void Thread::close() {
  platform::CloseHandle(handle);
  handle = 0;
  running = false;
}

}  // namespace kv500
