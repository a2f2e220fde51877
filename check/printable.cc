#include "check/printable.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "platform/utf8.h"

namespace check {
namespace {

/// The number of the character that valid UTF-8 of this length encodes (RFC 3629, section 3).
std::uint32_t codePointOf(std::string_view character) {
  const auto lead = static_cast<std::uint8_t>(character[0]);
  std::uint32_t codePoint = character.size() == 1 ? lead : lead & (0x7Fu >> character.size());
  for (const char byte : character.substr(1)) {
    codePoint = codePoint << 6 | (static_cast<std::uint8_t>(byte) & 0x3Fu);
  }
  return codePoint;
}

bool isControl(std::uint32_t c) {
  const bool turnsDirection = c == 0x061C || c == 0x200E || c == 0x200F ||
                              (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
  return c < 0x20 || (c >= 0x7F && c < 0xA0) || c == 0x2028 || c == 0x2029 || turnsDirection;
}

}  // namespace

std::string printable(const std::string& bytes, bool keepLineFeeds) {
  std::string text;
  for (std::string_view rest = bytes; !rest.empty();) {
    const std::size_t length = platform::characterLength(rest);
    const std::string_view character = rest.substr(0, length);
    if (rest[0] == '\n') {
      text += keepLineFeeds ? '\n' : ' ';
    } else if (length == 0 || isControl(codePointOf(character))) {
      text += '?';
    } else {
      text += character;
    }
    rest.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return text;
}

std::string shortened(const std::string& text, std::size_t size) {
  if (text.size() <= size) {
    return text;
  }
  std::size_t end = size;
  while (end > 0 && size - end < 3 && (static_cast<std::uint8_t>(text[end]) & 0xC0) == 0x80) {
    --end;  // Not in the middle of a character.
  }
  return text.substr(0, end) + "...";
}

std::string joined(const std::vector<std::string>& texts, const std::string& separator) {
  std::string all;
  for (const std::string& text : texts) {
    all += (all.empty() ? "" : separator) + text;
  }
  return all;
}

}  // namespace check
