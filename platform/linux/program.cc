#include "platform/program.h"

#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <iostream>

#include "platform/host.h"

namespace platform {
namespace {

// Elapsed time, as std::clock counts processor time here.
const auto processStart = std::chrono::steady_clock::now();

}  // namespace

std::u16string GetModuleFileNameW() {
  return host::programPath();
}

std::int64_t clock() {
  const auto elapsed = std::chrono::steady_clock::now() - processStart;
  return std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count();
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
