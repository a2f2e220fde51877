#include "platform/program.h"

#include <unistd.h>

#include <iostream>

#include "platform/host.h"

namespace platform {

std::u16string GetModuleFileNameW() {
  return host::programPath();
}

std::int64_t clock() {
  return host::elapsedMilliseconds();
}

std::int64_t _time64() {
  return std::time(nullptr);
}

void tellStarter(const std::string& text) {
  std::cerr << text << std::endl;
}

void ExitProcess(std::uint32_t exitCode) {
  ::_exit(static_cast<int>(exitCode));
}

HANDLE CreateMutexA(bool, const char* name) {
  return host::createNamedMutex(name);
}

}  // namespace platform
