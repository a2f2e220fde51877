#include "service/single_instance_guard.h"

namespace kv500 {

SingleInstanceGuard::SingleInstanceGuard(const std::string& name) {
  platform::SetLastError(0);
  mutex = platform::CreateMutexA(true, instanceMutexName(name).c_str());
  if (mutex == 0) {
    throw std::string("Could not create mutex");
  }
  if (platform::GetLastError() == platform::ERROR_ALREADY_EXISTS) {
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
