// The one place where commands go to a card (ISO/IEC 7816-3 and -4, short APDUs, through PC/SC).
//
// All operations run with deviceLock held, which the caller keeps through its whole sequence of
// commands. An exchange takes as long as the card takes.
#ifndef KV500_CARD_APDU_H
#define KV500_CARD_APDU_H

#include <cstdint>

#include "platform/smartcard.h"
#include "support/byte_vector.h"

namespace kv500 {

/// The two status bytes at the end of a response.
struct StatusWord {
  std::uint8_t sw1 = 0;
  std::uint8_t sw2 = 0;
};

/// Sends one command APDU of at most 5801 bytes over an open connection and replaces `response` by
/// what the card gave, status bytes included. False, with `response` as it was, if the command is
/// too long (nothing is sent) or the exchange failed.
bool transmitApdu(platform::SCARDHANDLE card, std::uint32_t activeProtocol,
                  const ByteVector& command, ByteVector& response);

/// The same with the status bytes split off. Also false, with all outputs as they were, if the card
/// gave fewer than two bytes. True says nothing of the status word: the card may have refused.
bool exchangeApdu(platform::SCARDHANDLE card, std::uint32_t activeProtocol,
                  const ByteVector& command, ByteVector& response, StatusWord& status);

/// Asks PC/SC for the card's ATR. False, with `value` as it was, if it can't be had whole. The
/// caller holds serviceLock too, taken after deviceLock.
bool readAtr(platform::SCARDHANDLE card, ByteVector& value);

}  // namespace kv500

#endif
