#include "support/active_session.h"

#include <algorithm>

#include "platform/sessions.h"

namespace kv500 {

bool findActiveSession(std::uint32_t& session) {
  platform::WTS_SESSION_INFOA* sessions = nullptr;
  std::uint32_t count = 0;
  if (!platform::WTSEnumerateSessionsA(sessions, count)) {
    return false;
  }
  const platform::WTS_SESSION_INFOA* const end = sessions + count;
  const auto* const active = std::find_if<const platform::WTS_SESSION_INFOA*>(
      sessions, end, [](const auto& entry) { return entry.State == platform::WTSActive; });
  const bool found = active != end;
  if (found) {
    session = active->SessionId;
  }
  platform::WTSFreeMemory(sessions);
  return found;
}

}  // namespace kv500
