// Programs in the session of a user.
#ifndef KV500_PLATFORM_LINUX_SESSION_PROGRAM_H
#define KV500_PLATFORM_LINUX_SESSION_PROGRAM_H

#include <string>
#include <vector>

#include "platform/linux/session_user.h"

namespace platform::linux_sessions {

using Arguments = std::vector<std::string>;  ///< The program first.

/// Whether this process may start programs as that user: it runs as root or as that user.
bool isWithinReach(::uid_t user);

/// Starts a program as the user, with that environment, and does not wait for it. No shell is
/// involved. True if it runs. Any thread.
bool startInSession(const SessionUser& user, const std::vector<std::string>& environment,
                    const Arguments& arguments);

/// Starts a program in the same way and waits for its end, as long as the session lasts. Gives its
/// exit status, or -1 if it could not be started or did not exit by itself. Any thread.
int runInSession(const SessionUser& user, const std::vector<std::string>& environment,
                 const Arguments& arguments);

/// Whether the session exists and is not about to end. Any thread.
bool isSessionThere(const std::string& session);

}  // namespace platform::linux_sessions

#endif
