#include "platform/program.h"

namespace platform {

bool _localtime64_s(std::tm& result, std::int64_t time) {
  const std::time_t native = time;
  return ::localtime_r(&native, &result) != nullptr;
}

}  // namespace platform
