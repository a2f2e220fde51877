// Whose program is at the other end of a connection.
//
// A user is identified by a text in the platform's own form (a number, a SID). It is compared and
// never shown. All operations may be called from any thread.
#ifndef KV500_PLATFORM_USERS_H
#define KV500_PLATFORM_USERS_H

#include <cstdint>
#include <optional>
#include <string>

#include "platform/sockets.h"

namespace platform {

/// The user whose program holds the other end of a connection within this machine. None if that is
/// unknown: the program has already closed its end, or the system does not tell.
std::optional<std::string> peerUser(SOCKET connection);

/// The user of a session. None if there is no such session, or nobody is logged on to it.
std::optional<std::string> sessionUser(std::uint32_t session);

/// The user that the system's own programs run as.
extern const std::string systemUser;

}  // namespace platform

#endif
