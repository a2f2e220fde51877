// The insurance files of a German health card, made from the XML texts that they carry.
#ifndef KV500_PLATFORM_SIMULATED_INSURANCE_FILES_H
#define KV500_PLATFORM_SIMULATED_INSURANCE_FILES_H

#include <cstddef>
#include <optional>

#include "platform/simulated/bytes.h"

namespace simulated {

/// No file on a card is larger: the offset of READ BINARY has 15 bits (ISO/IEC 7816-4).
inline constexpr std::size_t largestCardFile = 32768;

/// EF.VD, general insurance data: four offsets from the start of the file, 16 bits each and
/// big-endian (first and last byte of the general data, then FFFF FFFF as there are no protected
/// data), then the XML as gzip (RFC 1952). Zeros fill the file up to its 1250 bytes or, if that
/// is too little, to the next multiple of 256. std::nullopt if no card file can hold it.
/// Thread-safe.
std::optional<Bytes> makeVdFile(const Bytes& xml);

/// EF.PD, personal insurance data: the length of the gzip data, 16 bits and big-endian, then the
/// XML as gzip (RFC 1952). Filled up like EF.VD, its size being 850 bytes.
std::optional<Bytes> makePdFile(const Bytes& xml);

}  // namespace simulated

#endif
