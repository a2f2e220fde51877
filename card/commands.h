// The commands that go to a card: SELECT and READ BINARY of ISO/IEC 7816-4, with the identifiers of
// the public German health card standard.
#ifndef KV500_CARD_COMMANDS_H
#define KV500_CARD_COMMANDS_H

#include <cstdint>

#include "support/byte_vector.h"

namespace kv500 {

/// SW1 of a command that succeeded, and the two SW1 values with which SW2 gives another length.
inline constexpr std::uint8_t sw1Success = 0x90;
inline constexpr std::uint8_t sw1BytesAvailable = 0x61;
inline constexpr std::uint8_t sw1WrongLength = 0x6C;

/// SELECT of the master file, file identifier 3F00, without response data.
inline const ByteVector selectMf{0x00, 0xA4, 0x00, 0x0C, 0x02, 0x3F, 0x00};
/// SELECT of the health care application by its identifier, without response data.
inline const ByteVector selectHca{0x00, 0xA4, 0x04, 0x0C, 0x06, 0xD2, 0x76, 0x00, 0x00, 0x01, 0x02};
/// READ BINARY by short file identifier from offset 0, with the number of bytes expected (Le). Le
/// 00 asks for up to 256.
inline const ByteVector readBinaryGdo{0x00, 0xB0, 0x82, 0x00, 0x0C};
inline const ByteVector readBinaryStatusVd{0x00, 0xB0, 0x8C, 0x00, 0x19};
inline const ByteVector readBinaryVdHeader{0x00, 0xB0, 0x82, 0x00, 0x08};
inline const ByteVector readBinaryVd{0x00, 0xB0, 0x82, 0x00, 0x00};
inline const ByteVector readBinaryPd{0x00, 0xB0, 0x81, 0x00, 0x00};

/// READ BINARY of the current file: up to 256 bytes from offset `block` times 256. `block` is at
/// most 7F, because the highest bit of P1 would make it a short file identifier.
inline ByteVector readBinaryBlock(std::uint8_t block) {
  return {0x00, 0xB0, block, 0x00, 0x00};
}

}  // namespace kv500

#endif
