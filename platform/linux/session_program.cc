// If the user has a service manager, as on every desktop with systemd, that manager starts the
// program. A child of the service would stay within the limits that systemd sets for the service,
// would have no network except loopback and would end when the service is stopped.
#include "platform/linux/session_program.h"

#include <systemd/sd-login.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace platform::linux_sessions {
namespace {

constexpr std::chrono::seconds managerLimit{10};

/// The manager replaces $NAME by the value of that variable; a doubled "$" stands for one.
std::string withoutExpansion(const std::string& argument) {
  std::string result;
  for (const char c : argument) {
    result.append(c == '$' ? 2 : 1, c);
  }
  return result;
}

/// The names of variables that the manager accepts. Shells export functions under other names.
bool isVariableName(const std::string& name) {
  constexpr const char* allowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ_0123456789";
  return !name.empty() && (name[0] < '0' || name[0] > '9') &&
         name.find_first_not_of(allowed) == std::string::npos;
}

Arguments throughServiceManager(const std::vector<std::string>& environment,
                                const Arguments& arguments, const std::string& mode) {
  // The command line contains the insured person's id, so the journal must not get it. Without a
  // description of its own, the command line would be the description. The journal also adds the
  // command line to whatever the program writes.
  Arguments result{"systemd-run",
                   "--user",
                   "--quiet",
                   "--collect",
                   mode,
                   "--description=Started by the KV500 card reader service",
                   "--property=StandardOutput=null",
                   "--property=StandardError=null"};
  for (const std::string& variable : environment) {
    // Only the name: the value is in the environment. Others can read arguments but not the
    // environment.
    const std::string name = variable.substr(0, variable.find('='));
    if (isVariableName(name)) {
      result.push_back("--setenv=" + name);
    }
  }
  result.push_back("--");
  for (const std::string& argument : arguments) {
    result.push_back(withoutExpansion(argument));
  }
  return result;
}

posix::ProcessStart inSession(const SessionUser& user, const std::vector<std::string>& environment,
                              const Arguments& arguments) {
  posix::ProcessStart start;
  start.arguments = arguments;
  start.environment = environment;
  start.folder = user.home;
  if (::geteuid() == 0) {
    start.identity = user.identity;
  }
  return start;
}

}  // namespace

bool isWithinReach(::uid_t user) {
  return ::geteuid() == 0 || ::geteuid() == user;
}

bool startInSession(const SessionUser& user, const std::vector<std::string>& environment,
                    const Arguments& arguments) {
  if (hasServiceManager(user)) {
    const auto request = posix::startProcess(
        inSession(user, environment, throughServiceManager(environment, arguments, "--no-block")));
    return request && posix::waitForProcess(*request, managerLimit) == 0;
  }
  return posix::startDetached(inSession(user, environment, arguments));
}

int runInSession(const SessionUser& user, const std::vector<std::string>& environment,
                 const Arguments& arguments) {
  const auto process = posix::startProcess(
      inSession(user, environment,
                hasServiceManager(user) ? throughServiceManager(environment, arguments, "--wait")
                                        : arguments));
  return process ? posix::waitForProcess(*process, [&] { return isSessionThere(user.session); })
                 : -1;
}

bool isSessionThere(const std::string& session) {
  char* state = nullptr;
  const bool isKnown = ::sd_session_get_state(session.c_str(), &state) >= 0;
  const bool isThere = isKnown && std::strcmp(state, "closing") != 0;
  std::free(state);
  return isThere;
}

}  // namespace platform::linux_sessions
