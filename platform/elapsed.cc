#include <chrono>

#include "platform/host.h"

namespace platform {
namespace {

const auto processStart = std::chrono::steady_clock::now();

}  // namespace

std::int64_t host::elapsedMilliseconds() {
  const auto elapsed = std::chrono::steady_clock::now() - processStart;
  return std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count();
}

}  // namespace platform
