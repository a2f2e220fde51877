// Bytes as a person reads them.
#ifndef KV500_PLATFORM_HEX_TEXT_H
#define KV500_PLATFORM_HEX_TEXT_H

#include <cstdint>
#include <string>
#include <vector>

namespace platform {

/// Each byte as two upper-case hexadecimal digits, with blanks between the bytes. Any thread.
std::string hexText(const std::vector<std::uint8_t>& bytes);

}  // namespace platform

#endif
