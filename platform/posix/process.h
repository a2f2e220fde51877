// Processes: as this user or another, with none of this process' descriptors, and no shell.
#ifndef KV500_PLATFORM_POSIX_PROCESS_H
#define KV500_PLATFORM_POSIX_PROCESS_H

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace platform::posix {

/// Who a process runs as.
struct Identity {
  ::uid_t user;
  ::gid_t group;
  std::vector<::gid_t> groups;  ///< All groups, the one above included.
};

struct ProcessStart {
  std::vector<std::string> arguments;  ///< The program first; without a slash it is looked up.
  /// "NAME=value" each; its PATH is where the program is looked for. None: this process' own,
  /// without the service manager's socket.
  std::optional<std::vector<std::string>> environment;
  std::optional<Identity> identity;  ///< None: this process' own.
  int output = -1;                   ///< The descriptor of its standard output, above 3; -1: none.
  std::string folder;                ///< The working folder; empty: this process' own.
};

/// Starts a process in a session of its own, with /dev/null in the places of the standard streams,
/// no other descriptor open, and no signal blocked or ignored. Gives its number, or none if it
/// can't be started, the missing right to take the identity included. Its end has to be collected
/// by waitForProcess. Any thread.
std::optional<::pid_t> startProcess(const ProcessStart& start);

/// The same for a process that nobody waits for: it is no child of this process, and the system
/// collects it. True if it runs.
bool startDetached(const ProcessStart& start);

/// Waits for the end of a process and collects it. Gives its exit status; -1 if a signal ended it.
/// The process is killed as soon as `goOn`, asked every 250 ms at least, says no. Any thread.
int waitForProcess(::pid_t process, const std::function<bool()>& goOn);

/// The same; the process is killed once `limit` is over.
int waitForProcess(::pid_t process, std::chrono::milliseconds limit);

/// Starts a program without changing who it runs as, and gives what it writes, 1 MiB at most. It is
/// killed once `limit` is over. None if it can't be started or does not end with status 0. Any
/// thread.
std::optional<std::string> outputOf(const std::vector<std::string>& arguments,
                                    std::chrono::milliseconds limit);

}  // namespace platform::posix

#endif
