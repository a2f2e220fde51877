#include "platform/utf8.h"

#include <cstdint>

namespace platform {

std::size_t characterLength(std::string_view text) {
  const auto isWithin = [text](std::size_t at, int first, int last) {
    const int byte = at < text.size() ? static_cast<std::uint8_t>(text[at]) : -1;
    return byte >= first && byte <= last;
  };
  if (isWithin(0, 0, 0x7F)) {
    return 1;
  }
  if (!isWithin(0, 0xC2, 0xF4)) {
    return 0;
  }
  const auto lead = static_cast<std::uint8_t>(text[0]);
  // The second byte shows overlong forms, surrogates and numbers above the last character.
  const int first = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  const int last = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  bool isValid = isWithin(1, first, last);
  for (std::size_t at = 2; at < length; ++at) {
    isValid = isValid && isWithin(at, 0x80, 0xBF);
  }
  return isValid ? length : 0;
}

}  // namespace platform
