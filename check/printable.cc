#include "check/printable.h"

#include <cstdint>

namespace check {
namespace {

struct Character {
  std::uint32_t codePoint;
  std::size_t length;  ///< 0: not at the start of valid UTF-8.
};

Character characterAt(const std::string& bytes, std::size_t at) {
  const auto byteAt = [&bytes](std::size_t i) { return static_cast<std::uint8_t>(bytes[i]); };
  const std::uint32_t lead = byteAt(at);
  if (lead < 0x80) {
    return {lead, 1};
  }
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || at + length > bytes.size()) {
    return {0, 0};
  }
  std::uint32_t codePoint = lead & (0x7Fu >> length);
  for (std::size_t i = at + 1; i < at + length; ++i) {
    if ((byteAt(i) & 0xC0) != 0x80) {
      return {0, 0};
    }
    codePoint = codePoint << 6 | (byteAt(i) & 0x3Fu);
  }
  const std::uint32_t smallest = length == 4 ? 0x10000 : length == 3 ? 0x800 : 0x80;
  const bool isSurrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
  return codePoint < smallest || isSurrogate || codePoint > 0x10FFFF ? Character{0, 0}
                                                                     : Character{codePoint, length};
}

bool isControl(std::uint32_t c) {
  const bool turnsDirection = c == 0x061C || c == 0x200E || c == 0x200F ||
                              (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
  return c < 0x20 || (c >= 0x7F && c < 0xA0) || c == 0x2028 || c == 0x2029 || turnsDirection;
}

}  // namespace

std::string printable(const std::string& bytes, bool keepLineFeeds) {
  std::string text;
  std::size_t at = 0;
  while (at < bytes.size()) {
    const Character character = characterAt(bytes, at);
    if (bytes[at] == '\n') {
      text += keepLineFeeds ? '\n' : ' ';
    } else if (character.length == 0 || isControl(character.codePoint)) {
      text += '?';
    } else {
      text.append(bytes, at, character.length);
    }
    at += character.length == 0 ? 1 : character.length;
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

}  // namespace check
