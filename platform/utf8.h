// Texts in UTF-8 (RFC 3629). Most texts from outside are UTF-8, but not all.
#ifndef KV500_PLATFORM_UTF8_H
#define KV500_PLATFORM_UTF8_H

#include <cstddef>
#include <string_view>

namespace platform {

/// The length in bytes of the character at the beginning of `text`; 0 if `text` does not begin with
/// valid UTF-8. Any thread.
std::size_t characterLength(std::string_view text);

}  // namespace platform

#endif
