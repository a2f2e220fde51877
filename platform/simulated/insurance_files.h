// The insurance files of a German health card, made from the XML texts that they contain.
#ifndef KV500_PLATFORM_SIMULATED_INSURANCE_FILES_H
#define KV500_PLATFORM_SIMULATED_INSURANCE_FILES_H

#include <cstddef>
#include <optional>

#include "platform/simulated/bytes.h"

namespace simulated {

/// The largest size of a file on a card: the offset of READ BINARY has 15 bits (ISO/IEC 7816-4).
inline constexpr std::size_t largestCardFile = 32768;

/// EF.VD, general insurance data: four offsets from the start of the file, 16 bits each and
/// big-endian, then the general data and a copy of the protected data, each XML as gzip (RFC 1952).
/// The offsets are the first and last byte of the general data, then those of the protected data,
/// or FFFF FFFF without any. The file ends with its data: a card has room for 1250 bytes but does
/// not give out what lies behind the logical end. std::nullopt if it fits into no card file.
/// Thread-safe.
std::optional<Bytes> makeVdFile(const Bytes& xml,
                                const std::optional<Bytes>& protectedXml = std::nullopt);

/// EF.PD, personal insurance data: the length of the gzip data, 16 bits and big-endian, then the
/// XML as gzip (RFC 1952). It ends with its data, too; a card has room for 850 bytes.
std::optional<Bytes> makePdFile(const Bytes& xml);

}  // namespace simulated

#endif
