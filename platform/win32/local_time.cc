#include "platform/host.h"

namespace platform {

bool host::localTime(std::tm& result, std::int64_t time) {
  const __time64_t native = time;
  return ::_localtime64_s(&result, &native) == 0;
}

}  // namespace platform
