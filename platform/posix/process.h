// Starts processes, as this user or another, without this process' descriptors and without a shell.
#ifndef KV500_PLATFORM_POSIX_PROCESS_H
#define KV500_PLATFORM_POSIX_PROCESS_H

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace platform::posix {

/// The identity that a process runs with.
struct Identity {
  ::uid_t user;
  ::gid_t group;
  std::vector<::gid_t> groups;  ///< All groups, including the one above.
};

struct ProcessStart {
  std::vector<std::string> arguments;  ///< The program first; without a slash it is looked up.
  /// "NAME=value" texts. The program is searched in the PATH among them. None: the environment of
  /// this process, without the service manager's socket.
  std::optional<std::vector<std::string>> environment;
  std::optional<Identity> identity;  ///< None: this process' own.
  int output = -1;                   ///< The descriptor of its standard output, above 3; -1: none.
  std::string folder;                ///< The working folder; empty: this process' own.
};

/// Starts a process in a session of its own, with /dev/null as the standard streams, no other
/// descriptor open, and no signal blocked or ignored. Gives its process id, or none if it can't be
/// started, for example because this process may not take on the identity. waitForProcess must
/// collect it at its end. Any thread.
std::optional<::pid_t> startProcess(const ProcessStart& start);

/// The same for a process that nobody waits for. It is no child of this process; the system
/// collects it. True if it runs.
bool startDetached(const ProcessStart& start);

/// Waits for the end of a process and collects it. Gives its exit status, or -1 if a signal ended
/// it. Asks `goOn` at least every 250 ms and kills the process as soon as the answer is no. Any
/// thread.
int waitForProcess(::pid_t process, const std::function<bool()>& goOn);

/// The same, but kills the process after `limit`.
int waitForProcess(::pid_t process, std::chrono::milliseconds limit);

/// Starts a program with the identity of this process and gives what it writes, at most 1 MiB.
/// Kills it after `limit`. None if it can't be started or does not end with status 0. Any thread.
std::optional<std::string> outputOf(const std::vector<std::string>& arguments,
                                    std::chrono::milliseconds limit);

}  // namespace platform::posix

#endif
