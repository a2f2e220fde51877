#include "platform/program.h"

#include <unistd.h>

#include <iostream>

namespace platform {

void tellStarter(std::string_view text) {
  std::cerr << text << std::endl;
}

void ExitProcess(std::uint32_t exitCode) {
  ::_exit(static_cast<int>(exitCode));
}

}  // namespace platform
