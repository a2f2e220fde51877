#include "platform/program.h"

namespace platform {

bool _localtime64_s(std::tm& result, std::int64_t time) {
  const __time64_t native = time;
  return ::_localtime64_s(&result, &native) == 0;
}

}  // namespace platform
