// The name of the system, and problems of devices.
#include <sys/utsname.h>

#include <fstream>

#include "platform/inspection.h"

namespace platform {
namespace {

/// The name from os-release(5).
std::string distribution() {
  const std::string mark = "PRETTY_NAME=";
  std::ifstream file("/etc/os-release");
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with(mark)) {
      std::erase(line, '"');
      return line.substr(mark.size());
    }
  }
  return "Linux";
}

}  // namespace

std::string systemDescription() {
  ::utsname kernel{};
  ::uname(&kernel);
  return distribution() + ", " + kernel.sysname + " " + kernel.release + " " + kernel.machine;
}

std::uint32_t deviceProblem(const std::u16string&) {
  return 0;
}

}  // namespace platform
