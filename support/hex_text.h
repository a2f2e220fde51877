// Bytes as a person reads them.
#ifndef KV500_SUPPORT_HEX_TEXT_H
#define KV500_SUPPORT_HEX_TEXT_H

#include <cstdint>
#include <string>
#include <vector>

namespace kv500 {

/// Each byte as two upper-case hexadecimal digits, with blanks between the bytes. Any thread.
std::string hexText(const std::vector<std::uint8_t>& bytes);

}  // namespace kv500

#endif
