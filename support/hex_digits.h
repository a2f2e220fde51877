// Result codes as the log shows them.
#ifndef KV500_SUPPORT_HEX_DIGITS_H
#define KV500_SUPPORT_HEX_DIGITS_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace kv500 {

/// The number in lower-case hexadecimal digits, with zeros in front up to `digits` of them.
inline std::string hexDigits(std::uint32_t number, std::size_t digits = 1) {
  std::string text;
  for (; number != 0 || text.size() < digits; number >>= 4) {
    text.insert(text.begin(), "0123456789abcdef"[number & 0xF]);
  }
  return text;
}

}  // namespace kv500

#endif
