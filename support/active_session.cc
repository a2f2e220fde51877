#include "support/active_session.h"

#include "platform/sessions.h"
#include "platform/users.h"

namespace kv500 {

std::optional<std::uint32_t> findActiveSession() {
  for (const platform::Session& session : platform::listSessions()) {
    if (session.state == platform::WTSActive) {
      return session.id;
    }
  }
  return std::nullopt;
}

bool isAtTheScreen(const std::string& user) {
  if (user == platform::systemUser) {
    return true;
  }
  const auto session = findActiveSession();
  return session && platform::sessionUser(*session) == user;
}

}  // namespace kv500
