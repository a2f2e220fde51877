#include "platform/users.h"

#include "platform/simulated/world.h"

namespace platform {

using simulated::world;

const std::string systemUser = "system";

std::optional<std::string> peerUser(SOCKET) {
  if (world().faults.take("peerUser")) {
    return std::nullopt;
  }
  return world().sessions.peerUser();
}

std::optional<std::string> sessionUser(std::uint32_t) {
  if (world().faults.take("sessionUser")) {
    return std::nullopt;
  }
  return simulated::Sessions::user;
}

}  // namespace platform
