#include "service/single_instance_guard.h"

namespace kv500 {

SingleInstanceGuard::SingleInstanceGuard(const std::string& name) {
  // Lives until the last error has been read: freeing it might change that error.
  const std::string mutexName = instanceMutexName(name);
  platform::SetLastError(0);
  mutex = platform::CreateMutexA(true, mutexName.c_str());
  const std::uint32_t error = platform::GetLastError();
  if (mutex == 0) {
    throw std::string("Could not create mutex");
  }
  if (error == platform::ERROR_ALREADY_EXISTS) {
    platform::CloseHandle(mutex);
    throw std::string("Service already running");
  }
}

SingleInstanceGuard::~SingleInstanceGuard() {
  platform::CloseHandle(mutex);
}

std::string instanceMutexName(const std::string& name) {
  return name + "_SingleInstance_0" + name;
}

}  // namespace kv500
