#include "support/active_session.h"

#include "platform/sessions.h"

namespace kv500 {

std::optional<std::uint32_t> findActiveSession() {
  for (const platform::Session& session : platform::listSessions()) {
    if (session.state == platform::WTSActive) {
      return session.id;
    }
  }
  return std::nullopt;
}

}  // namespace kv500
