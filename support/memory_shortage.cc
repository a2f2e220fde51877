#include "support/memory_shortage.h"

#include <atomic>
#include <cstdint>
#include <new>

#include "platform/program.h"
#include "platform/threading.h"
#include "support/log.h"

namespace kv500 {
namespace {

constexpr std::uint32_t pause = 50;  // Milliseconds.

/// Lets one trace through in 5 minutes. The log's own limit takes memory for a new key.
class TraceLimit {
 public:
  bool passes() {
    const std::int64_t now = platform::clock();
    std::int64_t next = next_;
    return next <= now && next_.compare_exchange_strong(next, now + logInterval);
  }

 private:
  std::atomic<std::int64_t> next_ = 0;
};

TraceLimit steps;
TraceLimit requests;

}  // namespace

void outlastShortage(const std::function<void()>& step) {
  try {
    step();
  } catch (const std::bad_alloc&) {
    if (steps.passes()) {
      logMessage("Out of memory: a step of the work is left out, the service goes on", "");
    }
    platform::Sleep(pause);
  }
}

void tellOfLostRequest() {
  if (requests.passes()) {
    platform::tellStarter("Out of memory: a request gets no answer, the service goes on");
  }
}

}  // namespace kv500
