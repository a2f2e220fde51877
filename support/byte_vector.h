// The bytes of command APDUs, responses and card files.
#ifndef KV500_SUPPORT_BYTE_VECTOR_H
#define KV500_SUPPORT_BYTE_VECTOR_H

#include <cstdint>
#include <vector>

namespace kv500 {

/// A growable array of unsigned bytes. An operation that fills one passed by reference replaces its
/// content. If the operation fails, the content is unchanged.
using ByteVector = std::vector<std::uint8_t>;

}  // namespace kv500

#endif
