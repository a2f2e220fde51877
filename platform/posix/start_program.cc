#include "platform/command_line.h"
#include "platform/host.h"
#include "platform/posix/process.h"

namespace platform {

bool host::startProgram(const std::string& commandLine) {
  posix::ProcessStart start;
  start.arguments = splitCommandLine(commandLine);
  return posix::startDetached(start);
}

}  // namespace platform
