#include "platform/interception.h"

namespace platform {

bool intercepted(const char*, std::uint32_t) {
  return false;
}

void listening(std::uint16_t) {}

}  // namespace platform
