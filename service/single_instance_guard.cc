#include "service/single_instance_guard.h"

namespace kv500 {

SingleInstanceGuard::SingleInstanceGuard(const std::string& name) {
  // Outlives the question for the last error, which freeing it might change.
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
