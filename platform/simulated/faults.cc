#include "platform/simulated/faults.h"

namespace simulated {

void Faults::fail(const std::string& operation, Plan plan) {
  const std::lock_guard guard(mutex_);
  plans_[operation].push_back(plan);
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

std::optional<std::uint32_t> Faults::take(const std::string& operation, std::uint32_t detail) {
  std::unique_lock guard(mutex_);
  ++calls_[operation];
  if (toHold_.erase(operation) != 0) {
    letGo_.wait(guard, [&] { return !held_.contains(operation); });  // As long as the test wants.
  }
  for (Plan& plan : plans_[operation]) {
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
