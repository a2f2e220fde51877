// The exchange of commands with a card (ISO/IEC 7816-4, short APDUs), whatever connects to it.
#ifndef KV500_CARD_APDU_H
#define KV500_CARD_APDU_H

#include <cstdint>

#include "support/byte_vector.h"

namespace kv500 {

/// The way to one card. All that is said to a card goes through it, and nothing above it knows what
/// connects to the card. Not thread-safe: a sequence of commands has the channel to itself.
class CardChannel {
 public:
  virtual ~CardChannel() = default;

  /// Sends one command APDU and replaces `response` by what the card gave, status bytes included.
  /// Takes as long as the card takes. False, with `response` as it was, if the exchange failed.
  virtual bool transmitApdu(const ByteVector& command, ByteVector& response) = 0;

  /// Gets the card's answer to reset (ISO/IEC 7816-3). False, with `value` as it was, if it can't
  /// be had whole.
  virtual bool readAtr(ByteVector& value) = 0;
};

/// The two status bytes at the end of a response.
struct StatusWord {
  std::uint8_t sw1 = 0;
  std::uint8_t sw2 = 0;
};

/// Sends one command APDU and splits the status bytes off its response. False, with all outputs as
/// they were, if the exchange failed or the card gave fewer than two bytes. True says nothing of
/// the status word: the card may have refused.
bool exchangeApdu(CardChannel& card, const ByteVector& command, ByteVector& response,
                  StatusWord& status);

}  // namespace kv500

#endif
