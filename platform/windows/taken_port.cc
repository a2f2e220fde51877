#include "platform/real/taken_port.h"

namespace platform {

// The installer has to see that the service can't run, and the service manager is told how long to
// wait before the next start.
bool isWorthAnotherAttempt(int) {
  return false;
}

}  // namespace platform
