// The channel to a card that PC/SC has connected to.
#ifndef KV500_DEVICE_PCSC_CHANNEL_H
#define KV500_DEVICE_PCSC_CHANNEL_H

#include <cstdint>

#include "card/apdu.h"
#include "platform/smartcard.h"
#include "support/lock.h"

namespace kv500 {

/// Made for one questioning of the card, with deviceLock held from its construction to its end, so
/// that the commands of one questioning don't mix with those of another. The connection is the
/// caller's and stays open.
class PcscChannel final : public CardChannel {
 public:
  PcscChannel(platform::SCARDHANDLE card, std::uint32_t activeProtocol, Lock& serviceLock)
      : card(card), activeProtocol(activeProtocol), serviceLock(serviceLock) {}

  /// Also false, with nothing sent, for a command of more than 5801 bytes.
  bool transmitApdu(const ByteVector& command, ByteVector& response) override;

  /// Takes serviceLock for the length of the call.
  bool readAtr(ByteVector& value) override EXCLUDES(serviceLock);

 private:
  const platform::SCARDHANDLE card;
  const std::uint32_t activeProtocol;
  Lock& serviceLock;
};

}  // namespace kv500

#endif
