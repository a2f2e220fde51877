#include "support/notice.h"

#include <cstdint>

#include "platform/sessions.h"
#include "support/active_session.h"

namespace kv500 {
namespace {

std::uint32_t lengthInBytes(const std::u16string& text) {
  return static_cast<std::uint32_t>(2 * text.size());
}

}  // namespace

void notifyUser(const std::string& heading, const std::string& text) {
  sendToActiveSession(u"KALVERO  -  " + widenBytes(heading), widenBytes(text));
}

bool sendToActiveSession(const std::u16string& title, const std::u16string& text) {
  const auto session = findActiveSession();
  if (!session) {
    return false;
  }
  constexpr std::uint32_t noTimeout = 0xFFFFFFFF;
  std::uint32_t response = 0;
  return platform::WTSSendMessageW(*session, title.c_str(), lengthInBytes(title), text.c_str(),
                                   lengthInBytes(text), platform::MB_ICONERROR, noTimeout, response,
                                   true);
}

std::u16string widenBytes(const std::string& text) {
  std::u16string wide;
  for (const char c : text) {
    wide += static_cast<char16_t>(static_cast<signed char>(c));
  }
  return wide;
}

}  // namespace kv500
