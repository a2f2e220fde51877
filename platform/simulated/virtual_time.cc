#include "platform/simulated/virtual_time.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <limits>
#include <memory>

#include "platform/host_handles.h"
#include "platform/simulated/ledger.h"

namespace simulated {
namespace {

constexpr auto never = std::numeric_limits<std::int64_t>::max();

}  // namespace

struct VirtualTime::NewThread {
  NewThread(std::uint32_t (*called)(void*), void* with, platform::HANDLE own)
      : function(called), argument(with), handle(own) {}

  std::uint32_t (*const function)(void*);
  void* const argument;
  const platform::HANDLE handle;
  Waiter start{[] { return true; }, never};  ///< It waits for its turn to begin.
};

void VirtualTime::Waiter::awaitTurn() {
  std::unique_lock guard(mutex_);
  given_.wait(guard, [this] { return isTurn_; });
}

void VirtualTime::Waiter::giveTurn() {
  const std::lock_guard guard(mutex_);  // Until the end: the waiter is gone as soon as it runs.
  isTurn_ = true;
  given_.notify_one();
}

void VirtualTime::start(bool together) {
  const Guard guard(mutex_);
  together_ = together;
  running_ = 1;
  isOn_ = true;
}

bool VirtualTime::wait(const IsOver& isOver, Limit limit) {
  Guard guard(mutex_);
  if (isOver()) {
    return true;
  }
  if (limit && limit->count() == 0) {
    return false;
  }
  Waiter self(isOver, limit ? now_ + limit->count() : never);
  waiters_.push_back(&self);
  --running_;
  passOn();
  guard.unlock();
  self.awaitTurn();
  return self.succeeded;
}

/// Called when a thread stops running. What others wait for can have come only from a thread that
/// ran, so nobody has to be woken before.
void VirtualTime::passOn() {
  if (running_ > 0 || wakeReady() || wakeDue()) {
    return;
  }
  std::cerr << "Virtual time: every thread of the world waits without limit\n";
  std::abort();
}

bool VirtualTime::wakeReady() {
  for (auto next = waiters_.begin(); next != waiters_.end() && (together_ || running_ == 0);) {
    Waiter& waiter = **next++;
    if (waiter.isOver()) {
      wake(waiter, true);
    }
  }
  return running_ > 0;
}

bool VirtualTime::wakeDue() {
  const auto isEarlier = [](const Waiter* one, const Waiter* other) {
    return one->due < other->due;
  };
  const auto first = std::min_element(waiters_.begin(), waiters_.end(), isEarlier);
  if (first == waiters_.end() || (*first)->due == never) {
    return waiters_.empty();  // The last thread of the world has ended.
  }
  now_ = (*first)->due;
  wake(**first, false);
  return true;
}

void VirtualTime::wake(Waiter& waiter, bool succeeded) {
  waiters_.remove(&waiter);
  waiter.succeeded = succeeded;
  ++running_;
  waiter.giveTurn();
}

platform::HANDLE VirtualTime::startThread(std::uint32_t (*function)(void*), void* argument) {
  const Guard guard(mutex_);
  const platform::HANDLE handle = ledger().newNumber();
  auto thread = std::make_unique<NewThread>(function, argument, handle);
  const platform::HANDLE ofMachine = platform::host::CreateThread(runThread, thread.get());
  if (ofMachine == 0) {
    return 0;
  }
  platform::host::CloseHandle(ofMachine);
  waiters_.push_back(&thread.release()->start);  // The thread owns it now.
  threads_[handle] = false;
  return handle;
}

std::uint32_t VirtualTime::runThread(void* newThread) {
  VirtualTime& time = virtualTime();
  const std::unique_ptr<NewThread> thread(static_cast<NewThread*>(newThread));
  thread->start.awaitTurn();
  const std::uint32_t result = thread->function(thread->argument);
  const Guard guard(time.mutex_);
  const auto open = time.threads_.find(thread->handle);
  if (open != time.threads_.end()) {
    open->second = true;
  }
  --time.running_;
  time.passOn();
  return result;
}

bool VirtualTime::isThread(platform::HANDLE handle) const {
  const Guard guard(mutex_);
  return threads_.contains(handle);
}

bool VirtualTime::hasEnded(platform::HANDLE thread) const {
  const auto open = threads_.find(thread);
  return open == threads_.end() || open->second;
}

void VirtualTime::closeThread(platform::HANDLE thread) {
  const Guard guard(mutex_);
  threads_.erase(thread);
}

VirtualTime& virtualTime() {
  static auto& only = *new VirtualTime;  // Used until the process has ended.
  return only;
}

void pass(std::chrono::milliseconds time) {
  if (virtualTime().isOn()) {
    virtualTime().wait([] { return false; }, time);
  } else {
    platform::host::Sleep(static_cast<std::uint32_t>(time.count()));
  }
}

bool Condition::wait(std::unique_lock<Mutex>& guard, const std::function<bool()>& isMet,
                     VirtualTime::Limit limit) {
  if (!virtualTime().isOn()) {
    if (limit) {
      return changed_.wait_for(guard, *limit, isMet);
    }
    changed_.wait(guard, isMet);
    return true;
  }
  const auto isOver = [&] {
    const std::lock_guard other(*guard.mutex());
    return isMet();
  };
  bool isInTime = true;
  while (isInTime && !isMet()) {  // More than one round only if another thread was faster.
    guard.unlock();
    isInTime = virtualTime().wait(isOver, limit);
    guard.lock();
  }
  return isMet();
}

}  // namespace simulated
