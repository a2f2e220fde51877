// The two insurance data files of a health card, from their raw bytes to JSON text.
//
// Pure functions of their arguments: any thread.
#ifndef KV500_CARD_INSURANCE_DATA_H
#define KV500_CARD_INSURANCE_DATA_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "support/byte_vector.h"

namespace kv500 {

/// Bytes in front of the gzip data: the four offsets of EF.VD, the length of EF.PD.
inline constexpr std::size_t vdHeaderSize = 8;
inline constexpr std::size_t pdHeaderSize = 2;

/// How many bytes EF.VD's header announces: the lengths of general and protected data, each from
/// two big-endian 16-bit offsets, start and end. False, and `length` as it was, if the header has
/// fewer than 8 bytes or the sum is negative or more than the 32768 bytes that READ BINARY reaches.
bool announcedVdLength(const ByteVector& header, std::size_t& length);

/// The length in EF.PD's first two bytes, big-endian. False, and `length` as it was, if there are
/// none, or the length is below 256 or above 32768.
bool announcedPdLength(const ByteVector& start, std::size_t& length);

/// Decodes one file's gzip data to XML text. Empty if they don't decode.
std::string insuranceFileToXml(const ByteVector& gzipData);

/// The same on to JSON members. Empty if the XML can't be parsed or holds nothing to write.
std::string insuranceFileToJson(const ByteVector& gzipData);

/// Joins the JSON members of both files to the JSON object of the answer.
std::string composeInsuranceData(const std::string& vdMembers, const std::string& pdMembers);

}  // namespace kv500

#endif
