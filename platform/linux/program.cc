#include "platform/program.h"

#include <unistd.h>

#include <iostream>

#include "platform/host.h"

namespace platform {

std::u16string GetModuleFileNameW() {
  return host::programPath();
}

void tellStarter(const std::string& text) {
  std::cerr << text << std::endl;
}

void ExitProcess(std::uint32_t exitCode) {
  ::_exit(static_cast<int>(exitCode));
}

}  // namespace platform
