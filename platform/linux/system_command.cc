#include <chrono>
#include <string>

#include "platform/posix/process.h"
#include "platform/program.h"

namespace platform {
namespace {

/// systemd's own time limit for the start of a unit.
constexpr std::chrono::seconds startLimit{90};

}  // namespace

std::int32_t system(const char* command) {
  if (std::string(command) != "net start SCardSvr") {
    return 1;
  }
  // The socket unit starts the daemon, pcscd, with the first connection.
  posix::ProcessStart start;
  start.arguments = {"systemctl", "--no-ask-password", "start", "pcscd.socket"};
  const auto process = posix::startProcess(start);
  return process && posix::waitForProcess(*process, startLimit) == 0 ? 0 : 1;
}

}  // namespace platform
