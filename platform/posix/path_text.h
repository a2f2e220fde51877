// Paths between the bytes of a POSIX file system and the 16-bit units of the seam.
#ifndef KV500_PLATFORM_POSIX_PATH_TEXT_H
#define KV500_PLATFORM_POSIX_PATH_TEXT_H

#include <string>

namespace platform::posix {

/// UTF-8 (RFC 3629) to UTF-16. A byte that is not part of good UTF-8 becomes the unit 0xDC00 plus
/// the byte, which good text cannot hold, so that toBytes gives every path back as it was.
std::u16string toUnits(const std::string& bytes);
std::string toBytes(const std::u16string& units);

}  // namespace platform::posix

#endif
