// Decoding of the compressed files of a health card: gzip members of RFC 1952, which hold DEFLATE
// data of RFC 1951.
//
// The decoder is made for the short XML texts of a card. It is small rather than general:
// - It decodes up to 3599 bytes; a longer text is a failure.
// - Each block is decoded by itself: a match reaches only bytes of its own block.
// - CRC32, ISIZE and NLEN are not compared, and bytes behind the final block are ignored. The data
//   are read from the card with more bytes behind them than belong to them, so only the member
//   itself shows where it ends.
#ifndef KV500_CARD_GZIP_H
#define KV500_CARD_GZIP_H

#include <cstddef>
#include <cstdint>

#include "support/byte_vector.h"

namespace kv500 {

/// Size in bytes of the buffer that inflateGzip fills. The decoded text is always shorter.
inline constexpr std::size_t inflateBufferSize = 3600;

/// Decodes the gzip member at the start of `input` to 1 to 3599 bytes. Empty on failure. A member
/// that decodes to nothing is a failure too. Input of any length and content is safe.
///
/// May be called from any thread, with or without locks: each call has its own state on the stack
/// (about 25 KB).
ByteVector gunzipBytes(const ByteVector& input);

/// Decodes the gzip member at `input`, `inputLength` bytes, into `output`, which has room for
/// inflateBufferSize bytes. All of `output` is overwritten; bytes behind the decoded ones have no
/// meaning. Returns the number of decoded bytes, at most 3599.
///
/// Returns 0 if the header is no gzip header, the text is too long, a block has the reserved type,
/// a read would pass the end of the input, or a match, a repeat or a symbol has no meaning. Two
/// faults cost only the block that they are in; the text of the other blocks is returned. After a
/// code that stands for no literal or length, decoding continues behind it as long as more than the
/// last 4 bytes are left. After a code that stands for no code length, decoding ends. A code that
/// stands for no distance costs only its match, which gives zero bytes.
///
/// Threads and locks: as for gunzipBytes. Does not allocate memory and does not throw.
std::size_t inflateGzip(const std::uint8_t* input, std::size_t inputLength,
                        std::uint8_t* output) noexcept;

}  // namespace kv500

#endif
