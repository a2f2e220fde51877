#include "platform/posix/process.h"

#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <sstream>
#include <thread>

namespace platform::posix {
namespace {

constexpr const char* defaultPath = "/usr/local/bin:/usr/bin:/bin";
constexpr std::chrono::milliseconds shortestPause{5};
constexpr std::chrono::milliseconds longestPause{250};
constexpr int reportDescriptor = 3;
constexpr int startLimit = 10'000;  // Milliseconds.
constexpr int killTries = 200;      // Each lasts the shortest pause.

/// Who collects a process when it ends.
enum class Owner { Caller, System };

std::string valueOf(const std::vector<std::string>& environment, const std::string& name) {
  for (const std::string& entry : environment) {
    if (entry.starts_with(name + "=")) {
      return entry.substr(name.size() + 1);
    }
  }
  return "";
}

/// The possible paths of the program, in the order in which they are tried. An empty part of PATH
/// stands for the working folder and is skipped.
std::vector<std::string> candidates(const std::string& program, const std::string& path) {
  if (program.find('/') != std::string::npos) {
    return {program};
  }
  std::vector<std::string> result;
  std::istringstream folders(path.empty() ? defaultPath : path);
  for (std::string folder; std::getline(folders, folder, ':');) {
    if (!folder.empty() && !program.empty()) {
      result.push_back(folder.append("/").append(program));
    }
  }
  return result;
}

/// Pointers to the texts, with a null pointer at the end.
std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) {
    pointers.push_back(text.data());
  }
  pointers.push_back(nullptr);
  return pointers;
}

/// Everything that the child needs, made before the child exists. Between fork and exec nothing may
/// allocate memory, because another thread may have held the allocator's lock.
struct Preparation {
  explicit Preparation(const ProcessStart& start)
      : identity(start.identity),
        output(start.output),
        folder(start.folder),
        arguments(start.arguments),
        environment(start.environment ? *start.environment : ownEnvironment()),
        programs(candidates(arguments[0], valueOf(environment, "PATH"))),
        argumentPointers(pointersTo(arguments)),
        environmentPointers(pointersTo(environment)) {}

  static std::vector<std::string> ownEnvironment() {
    std::vector<std::string> result;
    for (char** entry = environ; *entry != nullptr; ++entry) {
      // A program that reported through this process' socket would speak for the service.
      if (!std::string(*entry).starts_with("NOTIFY_SOCKET=")) {
        result.emplace_back(*entry);
      }
    }
    return result;
  }

  const std::optional<Identity> identity;
  const int output;
  const std::string folder;
  std::vector<std::string> arguments;
  std::vector<std::string> environment;
  const std::vector<std::string> programs;
  const std::vector<char*> argumentPointers;
  const std::vector<char*> environmentPointers;
};

// The following runs in the child, which has only this thread. It uses system calls only.

void useFreshSignals() {
  for (int signal = 1; signal < NSIG; ++signal) {
    std::signal(signal, SIG_DFL);  // Fails for the two that can't be changed.
  }
  ::sigset_t none;
  ::sigemptyset(&none);
  ::pthread_sigmask(SIG_SETMASK, &none, nullptr);
}

/// Sets the standard streams to /dev/null and puts the pipe's end behind them; exec closes it.
bool useFreshDescriptors(int report, int output) {
  if (::dup3(report, reportDescriptor, O_CLOEXEC) < 0 && report != reportDescriptor) {
    return false;
  }
  if (output >= 0 && ::dup2(output, STDOUT_FILENO) < 0) {
    return false;
  }
  ::closefrom(reportDescriptor + 1);
  const int null = ::open("/dev/null", O_RDWR);
  for (int stream = 0; stream < reportDescriptor; ++stream) {
    if ((output < 0 || stream != STDOUT_FILENO) && ::dup2(null, stream) < 0) {
      return false;
    }
  }
  if (null > reportDescriptor) {
    ::close(null);
  }
  return true;
}

/// Groups first: a process that has changed its user may no longer change its groups. The change
/// from root to the user also drops the capabilities.
bool takeIdentity(const Identity& identity) {
  return ::setgroups(identity.groups.size(), identity.groups.data()) == 0 &&
         ::setresgid(identity.group, identity.group, identity.group) == 0 &&
         ::setresuid(identity.user, identity.user, identity.user) == 0;
}

/// Returns only on failure, with the cause in errno.
void becomeProgram(const Preparation& preparation) {
  if (preparation.identity && !takeIdentity(*preparation.identity)) {
    return;
  }
  if (!preparation.folder.empty() && ::chdir(preparation.folder.c_str()) != 0 &&
      ::chdir("/") != 0) {
    return;
  }
  errno = ENOENT;
  for (const std::string& program : preparation.programs) {
    ::execve(program.c_str(), preparation.argumentPointers.data(),
             preparation.environmentPointers.data());
  }
}

[[noreturn]] void runChild(const Preparation& preparation, int report, Owner owner) {
  ::setsid();  // The terminal's Ctrl-C must not reach it.
  useFreshSignals();
  if (useFreshDescriptors(report, preparation.output)) {
    // A grandchild belongs to the system as soon as this process has ended.
    const ::pid_t program = owner == Owner::System ? ::_Fork() : 0;
    if (program > 0) {
      ::_exit(0);
    }
    if (program == 0) {
      becomeProgram(preparation);
    }
  }
  const char failed = 1;
  [[maybe_unused]] const auto written = ::write(reportDescriptor, &failed, sizeof(failed));
  ::_exit(127);
}

// The following runs in this process again.

/// Kills a child and everything in its session, and collects it. Does not wait for a child that is
/// stuck in the kernel.
void killProcess(::pid_t process) {
  ::kill(-process, SIGKILL);
  ::kill(process, SIGKILL);
  for (int i = 0; i < killTries && ::waitpid(process, nullptr, WNOHANG) == 0; ++i) {
    std::this_thread::sleep_for(shortestPause);
  }
}

std::optional<::pid_t> start(const ProcessStart& start, Owner owner) {
  if (start.arguments.empty()) {
    return std::nullopt;
  }
  const Preparation preparation(start);
  int report[2];
  if (::pipe2(report, O_CLOEXEC) != 0) {
    return std::nullopt;
  }
  const ::pid_t child = ::fork();
  if (child == 0) {
    runChild(preparation, report[1], owner);
  }
  ::close(report[1]);
  // The pipe ends without a byte as soon as the program runs. Starting it may involve a file system
  // that does not answer; the caller must not wait for that without limit.
  char failed = 0;
  ::pollfd entry{report[0], POLLIN, 0};
  const bool runs = child > 0 && ::poll(&entry, 1, startLimit) == 1 &&
                    ::read(report[0], &failed, sizeof(failed)) == 0;
  ::close(report[0]);
  if (child > 0 && !runs) {
    killProcess(child);
  }
  return runs ? std::optional(child) : std::nullopt;
}

}  // namespace

std::optional<::pid_t> startProcess(const ProcessStart& processStart) {
  return start(processStart, Owner::Caller);
}

bool startDetached(const ProcessStart& processStart) {
  const auto parent = start(processStart, Owner::System);
  if (parent) {
    ::waitpid(*parent, nullptr, 0);  // It has ended already, or ends at once.
  }
  return parent.has_value();
}

int waitForProcess(::pid_t process, const std::function<bool()>& goOn) {
  auto pause = shortestPause;
  int status = 0;
  ::pid_t ended = 0;
  while ((ended = ::waitpid(process, &status, WNOHANG)) == 0) {
    if (!goOn()) {
      killProcess(process);
      return -1;
    }
    std::this_thread::sleep_for(pause);
    pause = std::min(pause * 2, longestPause);
  }
  return ended == process && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int waitForProcess(::pid_t process, std::chrono::milliseconds limit) {
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + limit;
  return waitForProcess(process, [end] { return Clock::now() < end; });
}

std::optional<std::string> outputOf(const std::vector<std::string>& arguments,
                                    std::chrono::milliseconds limit) {
  constexpr std::size_t mostOutput = std::size_t{1} << 20;
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + limit;
  int pipe[2];
  if (::pipe2(pipe, O_CLOEXEC) != 0) {
    return std::nullopt;
  }
  // Above the descriptors that the child sets up before it uses this one.
  const int writeEnd = ::fcntl(pipe[1], F_DUPFD_CLOEXEC, reportDescriptor + 1);
  ::close(pipe[1]);
  ProcessStart start;
  start.arguments = arguments;
  start.output = writeEnd;
  const auto process = startProcess(start);
  ::close(writeEnd);
  const auto left = [end] {
    return static_cast<int>(std::max<std::int64_t>(
        0, std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count()));
  };
  std::string output;
  char buffer[4096];
  ::pollfd entry{pipe[0], POLLIN, 0};
  while (process && output.size() < mostOutput && ::poll(&entry, 1, left()) == 1) {
    const auto got = ::read(pipe[0], buffer, sizeof(buffer));
    if (got <= 0) {
      break;
    }
    output.append(buffer, static_cast<std::size_t>(got));
  }
  ::close(pipe[0]);
  const bool isGood = process && waitForProcess(*process, std::chrono::milliseconds(left())) == 0;
  return isGood ? std::optional(output) : std::nullopt;
}

}  // namespace platform::posix
