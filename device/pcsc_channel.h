// The channel to a card that PC/SC has connected to.
#ifndef KV500_DEVICE_PCSC_CHANNEL_H
#define KV500_DEVICE_PCSC_CHANNEL_H

#include <cstdint>

#include "card/apdu.h"
#include "platform/smartcard.h"
#include "support/lock.h"

namespace kv500 {

/// Made for one questioning of the card and as long as a transaction: no command of another program
/// comes in between, and deviceLock, held from construction to end, keeps those of another
/// questioning out. The connection is the caller's and stays open.
class PcscChannel final : public CardChannel {
 public:
  /// Begins the transaction, for which it waits while another program has one. Without it every
  /// exchange fails.
  PcscChannel(platform::SCARDHANDLE card, std::uint32_t activeProtocol, Lock& serviceLock);
  /// Ends the transaction and leaves the card as it is.
  ~PcscChannel();
  PcscChannel(const PcscChannel&) = delete;
  PcscChannel& operator=(const PcscChannel&) = delete;

  /// Also false, with nothing sent, for a command of more than 5801 bytes.
  bool transmitApdu(const ByteVector& command, ByteVector& response) override;

  /// Takes serviceLock for the length of the call.
  bool readAtr(ByteVector& value) override EXCLUDES(serviceLock);

 private:
  const platform::SCARDHANDLE card;
  const std::uint32_t activeProtocol;
  Lock& serviceLock;
  const bool inTransaction;
};

}  // namespace kv500

#endif
