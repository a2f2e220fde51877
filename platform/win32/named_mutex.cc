#include "platform/host.h"
#include "platform/win32/native.h"

namespace platform {

HANDLE host::createNamedMutex(const std::string& name) {
  return win32::toSeam(::CreateMutexA(nullptr, TRUE, name.c_str()));
}

}  // namespace platform
