#include "platform/simulated/bytes.h"

#include <cstddef>

namespace simulated {
namespace {

std::optional<int> digitValue(char digit) {
  if (digit >= '0' && digit <= '9') {
    return digit - '0';
  }
  if (digit >= 'a' && digit <= 'f') {
    return digit - 'a' + 10;
  }
  if (digit >= 'A' && digit <= 'F') {
    return digit - 'A' + 10;
  }
  return std::nullopt;
}

}  // namespace

std::optional<Bytes> parseHex(std::string_view text) {
  if (text.size() % 2 != 0) {
    return std::nullopt;
  }
  Bytes bytes;
  bytes.reserve(text.size() / 2);
  for (std::size_t i = 0; i < text.size(); i += 2) {
    const std::optional<int> high = digitValue(text[i]);
    const std::optional<int> low = digitValue(text[i + 1]);
    if (!high || !low) {
      return std::nullopt;
    }
    bytes.push_back(static_cast<std::uint8_t>(*high * 16 + *low));
  }
  return bytes;
}

}  // namespace simulated
