#include "platform/host.h"
#include "platform/win32/native.h"

namespace platform {

HANDLE host::createNamedMutex(const char* name) {
  return win32::toSeam(::CreateMutexA(nullptr, TRUE, name));
}

}  // namespace platform
