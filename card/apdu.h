// The exchange of commands with a card (ISO/IEC 7816-4, short APDUs) over any kind of connection.
#ifndef KV500_CARD_APDU_H
#define KV500_CARD_APDU_H

#include <cstdint>

#include "support/byte_vector.h"

namespace kv500 {

/// The channel to one card. All commands to the card go through it, and its users don't know what
/// connects to the card. Not thread-safe: a sequence of commands must have the channel to itself.
class CardChannel {
 public:
  virtual ~CardChannel() = default;

  /// Sends one command APDU. `response` becomes what the card returned, including the status bytes.
  /// Takes as long as the card takes. False, with `response` unchanged, if the exchange failed.
  virtual bool transmitApdu(const ByteVector& command, ByteVector& response) = 0;

  /// Gets the card's answer to reset (ISO/IEC 7816-3). False, with `value` unchanged, if it is not
  /// completely available.
  virtual bool readAtr(ByteVector& value) = 0;
};

/// The two status bytes at the end of a response.
struct StatusWord {
  std::uint8_t sw1 = 0;
  std::uint8_t sw2 = 0;
};

/// Sends one command APDU and splits the status bytes off its response. False, with all outputs
/// unchanged, if the exchange failed or the card returned fewer than two bytes. True does not
/// depend on the status word: the card may have refused the command.
bool exchangeApdu(CardChannel& card, const ByteVector& command, ByteVector& response,
                  StatusWord& status);

}  // namespace kv500

#endif
