// The user behind a logind session, and what a program of that session finds in its environment.
#ifndef KV500_PLATFORM_LINUX_SESSION_USER_H
#define KV500_PLATFORM_LINUX_SESSION_USER_H

#include <optional>
#include <string>
#include <vector>

#include "platform/posix/process.h"

namespace platform::linux_sessions {

struct SessionUser {
  std::string session;  ///< logind's name of the session.
  posix::Identity identity;
  std::string name;
  std::string home;
  std::string shell;
};

/// The user of a session. None if there is no such session or user. Any thread.
std::optional<SessionUser> findSessionUser(const std::string& session);

/// Whether there is an account of that number. Any thread.
bool hasAccount(::uid_t user);

/// The environment of one of the user's own programs in that session which has a display, as
/// "NAME=value" texts, completed by what every session has. Contains nothing of this process'
/// environment. Any thread.
std::vector<std::string> environmentOf(const SessionUser& user);

/// Whether the user's own service manager and message bus can be reached. Any thread.
bool hasServiceManager(const SessionUser& user);

}  // namespace platform::linux_sessions

#endif
