#include "platform/posix/path_text.h"

#include <cstddef>
#include <cstdint>

namespace platform::posix {
namespace {

struct Sequence {
  std::uint32_t codePoint;
  std::size_t length;  ///< 0: no good UTF-8 begins here.
};

Sequence decode(const std::string& bytes, std::size_t at) {
  const auto lead = static_cast<std::uint8_t>(bytes[at]);
  if (lead < 0x80) {
    return {lead, 1};
  }
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || at + length > bytes.size()) {
    return {0, 0};
  }
  std::uint32_t codePoint = lead & (0x7Fu >> length);
  for (std::size_t i = 1; i < length; ++i) {
    const auto next = static_cast<std::uint8_t>(bytes[at + i]);
    if ((next & 0xC0) != 0x80) {
      return {0, 0};
    }
    codePoint = codePoint << 6 | (next & 0x3Fu);
  }
  const bool overlong = codePoint < (length == 4 ? 0x10000u : length == 3 ? 0x800u : 0x80u);
  const bool surrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
  return overlong || surrogate || codePoint > 0x10FFFF ? Sequence{0, 0}
                                                       : Sequence{codePoint, length};
}

void encode(std::uint32_t codePoint, std::string& bytes) {
  const auto append = [&bytes](std::uint32_t byte) { bytes += static_cast<char>(byte); };
  if (codePoint < 0x80) {
    append(codePoint);
    return;
  }
  const int following = codePoint < 0x800 ? 1 : codePoint < 0x10000 ? 2 : 3;
  const std::uint32_t mark[] = {0, 0xC0, 0xE0, 0xF0};
  append(mark[following] | codePoint >> (6 * following));
  for (int shift = 6 * (following - 1); shift >= 0; shift -= 6) {
    append(0x80 | (codePoint >> shift & 0x3F));
  }
}

}  // namespace

std::u16string toUnits(const std::string& bytes) {
  std::u16string units;
  std::size_t at = 0;
  while (at < bytes.size()) {
    const Sequence sequence = decode(bytes, at);
    if (sequence.length == 0) {
      units += static_cast<char16_t>(0xDC00 + static_cast<std::uint8_t>(bytes[at++]));
      continue;
    }
    at += sequence.length;
    if (sequence.codePoint < 0x10000) {
      units += static_cast<char16_t>(sequence.codePoint);
    } else {
      units += static_cast<char16_t>(0xD800 + ((sequence.codePoint - 0x10000) >> 10));
      units += static_cast<char16_t>(0xDC00 + ((sequence.codePoint - 0x10000) & 0x3FF));
    }
  }
  return units;
}

std::string toBytes(const std::u16string& units) {
  std::string bytes;
  for (std::size_t at = 0; at < units.size(); ++at) {
    const std::uint32_t unit = units[at];
    const bool pair = unit >= 0xD800 && unit <= 0xDBFF && at + 1 < units.size() &&
                      units[at + 1] >= 0xDC00 && units[at + 1] <= 0xDFFF;
    if (pair) {
      encode(0x10000 + ((unit - 0xD800) << 10) + (units[++at] - 0xDC00u), bytes);
    } else if (unit >= 0xDC80 && unit <= 0xDCFF) {
      bytes += static_cast<char>(unit - 0xDC00);
    } else {
      encode(unit, bytes);
    }
  }
  return bytes;
}

}  // namespace platform::posix
