// The session of the person at the screen.
#ifndef KV500_SUPPORT_ACTIVE_SESSION_H
#define KV500_SUPPORT_ACTIVE_SESSION_H

#include <cstdint>

namespace kv500 {

/// Finds the first active session in the platform's list. False, and `session` left alone, if the
/// list can't be had or holds none. Any thread.
bool findActiveSession(std::uint32_t& session);

}  // namespace kv500

#endif
