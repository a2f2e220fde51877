#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <system_error>
#include <thread>
#include <vector>

#include "platform/command_line.h"
#include "platform/host.h"

namespace platform {
namespace {

/// What the new program finds open: nothing but /dev/null in the places of the standard streams.
struct NoDescriptors {
  ::posix_spawn_file_actions_t actions;
  NoDescriptors() {
    ::posix_spawn_file_actions_init(&actions);
    for (int fd = 0; fd <= 2; ++fd) {
      ::posix_spawn_file_actions_addopen(&actions, fd, "/dev/null", O_RDWR, 0);
    }
    ::posix_spawn_file_actions_addclosefrom_np(&actions, 3);
  }
  ~NoDescriptors() { ::posix_spawn_file_actions_destroy(&actions); }
};

/// No signal blocked or ignored, and a session of its own: the terminal's Ctrl-C is not for it.
struct FreshProcess {
  ::posix_spawnattr_t attributes;
  FreshProcess() {
    ::sigset_t none, all;
    ::sigemptyset(&none);
    ::sigfillset(&all);
    ::posix_spawnattr_init(&attributes);
    ::posix_spawnattr_setsigmask(&attributes, &none);
    ::posix_spawnattr_setsigdefault(&attributes, &all);
    ::posix_spawnattr_setflags(&attributes,
                               POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSID);
  }
  ~FreshProcess() { ::posix_spawnattr_destroy(&attributes); }
};

}  // namespace

bool host::startProgram(const std::string& commandLine) {
  std::vector<std::string> parts = splitCommandLine(commandLine);
  if (parts.empty()) {
    return false;
  }
  std::vector<char*> arguments;
  arguments.reserve(parts.size() + 1);
  for (std::string& part : parts) {
    arguments.push_back(part.data());
  }
  arguments.push_back(nullptr);
  const NoDescriptors descriptors;
  const FreshProcess fresh;
  ::pid_t pid = 0;
  if (::posix_spawnp(&pid, arguments[0], &descriptors.actions, &fresh.attributes, arguments.data(),
                     environ) != 0) {
    return false;
  }
  try {
    // Somebody has to collect the program's end, whenever that is; otherwise it stays as a zombie.
    std::thread([pid] { ::waitpid(pid, nullptr, 0); }).detach();
  } catch (const std::system_error&) {
    // The machine is short of threads. The program runs, and that is what was asked for.
  }
  return true;
}

}  // namespace platform
