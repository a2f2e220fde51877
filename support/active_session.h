// The session of the person at the screen.
#ifndef KV500_SUPPORT_ACTIVE_SESSION_H
#define KV500_SUPPORT_ACTIVE_SESSION_H

#include <cstdint>
#include <optional>
#include <string>

namespace kv500 {

/// The id of the first active session in the platform's list. None if the list is not available or
/// has no active session. Any thread.
std::optional<std::uint32_t> findActiveSession();

/// Whether `user` is the user of the active session or the system itself. Any thread.
bool isAtTheScreen(const std::string& user);

}  // namespace kv500

#endif
