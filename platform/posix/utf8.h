// Texts in UTF-8 (RFC 3629). Most texts and paths of a POSIX system are UTF-8, but not all.
#ifndef KV500_PLATFORM_POSIX_UTF8_H
#define KV500_PLATFORM_POSIX_UTF8_H

#include <cstddef>
#include <string_view>

namespace platform::posix {

/// The length in bytes of the character at the beginning of `text`; 0 if `text` does not begin with
/// valid UTF-8. Any thread.
std::size_t characterLength(std::string_view text);

}  // namespace platform::posix

#endif
