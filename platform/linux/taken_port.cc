#include "platform/real/taken_port.h"

#include <cerrno>
#include <chrono>
#include <thread>

#include "platform/program.h"

namespace platform {

// Each new start of the service costs lines in the log and in the journal. So the process stays for
// a minute, in which the other program may go.
bool isWorthAnotherAttempt(int attempt) {
  constexpr std::chrono::seconds pause{5};
  constexpr int attempts = 12;
  if (errno != EADDRINUSE || attempt > attempts) {
    return false;
  }
  if (attempt == 1) {
    tellStarter("The port is taken by another program; trying again every 5 seconds");
  }
  std::this_thread::sleep_for(pause);
  return true;
}

}  // namespace platform
