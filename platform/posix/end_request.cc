#include <pthread.h>
#include <unistd.h>

#include <csignal>
#include <thread>

#include "platform/host.h"

namespace platform {

std::string host::processId() {
  return std::to_string(::getpid());
}

void host::onEndRequest(std::function<void()> request) {
  std::signal(SIGPIPE, SIG_IGN);
  ::sigset_t endSignals;
  ::sigemptyset(&endSignals);
  ::sigaddset(&endSignals, SIGINT);
  ::sigaddset(&endSignals, SIGTERM);
  // Blocked here and so in every later thread. One thread waits for the signals instead.
  ::pthread_sigmask(SIG_BLOCK, &endSignals, nullptr);
  std::thread([endSignals, request = std::move(request)] {
    for (;;) {  // As long as the process runs.
      int signal = 0;
      ::sigwait(&endSignals, &signal);
      request();
    }
  }).detach();
}

}  // namespace platform
