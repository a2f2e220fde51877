#include "platform/simulated/faults.h"

#include <utility>

namespace simulated {

void Faults::fail(const std::string& operation, Plan plan) {
  const std::lock_guard guard(mutex_);
  plans_[operation].push_back(plan);
}

void Faults::clear() {
  const std::lock_guard guard(mutex_);
  plans_.clear();
}

void Faults::hold(const std::string& operation) {
  const std::lock_guard guard(mutex_);
  toHold_.insert(operation);
  held_.insert(operation);
}

void Faults::letGo(const std::string& operation) {
  const std::lock_guard guard(mutex_);
  toHold_.erase(operation);
  held_.erase(operation);
  letGo_.notify_all();
}

void Faults::leaveTo(Decision decide) {
  const std::lock_guard guard(mutex_);
  decide_ = std::move(decide);
}

std::optional<std::uint32_t> Faults::take(std::string_view operation, std::uint32_t detail) {
  std::unique_lock guard(mutex_);
  auto counted = calls_.find(operation);
  if (counted == calls_.end()) {
    counted = calls_.emplace(operation, 0).first;
  }
  ++counted->second;
  if (const auto next = toHold_.find(operation); next != toHold_.end()) {
    toHold_.erase(next);
    letGo_.wait(guard, [&] { return !held_.contains(operation); });  // As long as the test wants.
  }
  if (const auto code = decide_ ? decide_(operation, detail) : std::nullopt) {
    return code;
  }
  const auto plans = plans_.find(operation);
  if (plans == plans_.end()) {
    return std::nullopt;
  }
  for (Plan& plan : plans->second) {
    if (plan.times == 0 || (plan.detail && *plan.detail != detail)) {
      continue;
    }
    if (plan.skip > 0) {
      --plan.skip;
      return std::nullopt;
    }
    --plan.times;
    return plan.code;
  }
  return std::nullopt;
}

unsigned Faults::calls(const std::string& operation) const {
  const std::lock_guard guard(mutex_);
  const auto entry = calls_.find(operation);
  return entry == calls_.end() ? 0 : entry->second;
}

}  // namespace simulated
