// Decoding of the compressed files of a health card: gzip members of RFC 1952, which hold DEFLATE
// data of RFC 1951.
//
// The decoder serves the short XML texts of a card and is small rather than general:
// - It gives up to 3599 bytes; a longer text is a failure.
// - Each block is decoded by itself: a match reaches only bytes of its own block.
// - CRC32, ISIZE and NLEN are not compared, and what follows the final block is not looked at. The
//   data are read with more bytes behind them than belong to them, so where the member ends is
//   known only from the member.
#ifndef KV500_CARD_GZIP_H
#define KV500_CARD_GZIP_H

#include <cstddef>
#include <cstdint>

#include "support/byte_vector.h"

namespace kv500 {

/// Size in bytes of the buffer that inflateGzip fills. The decoded text is always shorter.
inline constexpr std::size_t inflateBufferSize = 3600;

/// The decoded bytes, 1 to 3599, of the gzip member at the start of `input`; empty on failure.
/// A member that decodes to nothing is a failure too. Input of any length and content is safe.
///
/// May be called from any thread, with or without locks: each call has a state of its own, on the
/// stack (about 25 KB).
ByteVector gunzipBytes(const ByteVector& input);

/// Decodes the gzip member at `input`, `inputLength` bytes, into `output`, which has room for
/// inflateBufferSize bytes. All of `output` is written: what lies behind the decoded bytes holds
/// no meaning. Returns the number of decoded bytes, at most 3599.
///
/// Returns 0 if the header is no gzip header, the text is too long, a block has the reserved type,
/// a read would pass the end of the input, or a match, a repeat or a symbol has no meaning. Two
/// faults cost only the block they are in, and the text of the other blocks is returned: a code
/// that stands for no literal or length (decoding goes on behind it as long as more than the
/// last 4 bytes are left) and one that stands for no code length (decoding ends). A code that
/// stands for no distance costs nothing but its match, which gives zero bytes.
///
/// Threads and locks as for gunzipBytes. Does not allocate and does not throw.
std::size_t inflateGzip(const std::uint8_t* input, std::size_t inputLength,
                        std::uint8_t* output) noexcept;

}  // namespace kv500

#endif
