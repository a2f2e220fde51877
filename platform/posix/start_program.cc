#include "platform/command_line.h"
#include "platform/host.h"
#include "platform/posix/process.h"

namespace platform {

bool host::startProgram(const std::string& commandLine) {
  posix::ProcessStart start;
  start.arguments = splitCommandLine(commandLine);
  const auto process = posix::startProcess(start);
  if (process) {
    posix::collectLater(*process);
  }
  return process.has_value();
}

}  // namespace platform
