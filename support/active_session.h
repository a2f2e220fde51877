// The session of the person at the screen.
#ifndef KV500_SUPPORT_ACTIVE_SESSION_H
#define KV500_SUPPORT_ACTIVE_SESSION_H

#include <cstdint>
#include <optional>
#include <string>

namespace kv500 {

/// The id of the first active session in the platform's list. None if the list can't be had or
/// holds none. Any thread.
std::optional<std::uint32_t> findActiveSession();

/// Whether that is the user of the active session, or the system itself. Any thread.
bool isAtTheScreen(const std::string& user);

}  // namespace kv500

#endif
