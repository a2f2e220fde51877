#include "platform/hex_text.h"

namespace platform {

std::string hexText(const std::vector<std::uint8_t>& bytes) {
  constexpr char digits[] = "0123456789ABCDEF";
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += text.empty() ? "" : " ";
    text += digits[byte >> 4];
    text += digits[byte & 0xF];
  }
  return text;
}

}  // namespace platform
