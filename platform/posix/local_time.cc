#include "platform/host.h"

namespace platform {

bool host::localTime(std::tm& result, std::int64_t time) {
  const std::time_t native = time;
  return ::localtime_r(&native, &result) != nullptr;
}

}  // namespace platform
