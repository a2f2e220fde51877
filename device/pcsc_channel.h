// The channel to a card that PC/SC has connected to.
#ifndef KV500_DEVICE_PCSC_CHANNEL_H
#define KV500_DEVICE_PCSC_CHANNEL_H

#include <cstdint>

#include "card/apdu.h"
#include "platform/smartcard.h"
#include "support/lock.h"

namespace kv500 {

/// A channel for one sequence of commands. It lasts as long as one transaction, so no command of
/// another program comes in between. The caller holds deviceLock from construction to end, so no
/// other sequence does either. The connection belongs to the caller and stays open.
class PcscChannel final : public CardChannel {
 public:
  /// Begins the transaction, and waits for that while another program has one. If it can't begin,
  /// every exchange fails.
  PcscChannel(platform::SCARDHANDLE card, std::uint32_t activeProtocol, Lock& serviceLock);
  /// Ends the transaction and leaves the card as it is.
  ~PcscChannel();
  PcscChannel(const PcscChannel&) = delete;
  PcscChannel& operator=(const PcscChannel&) = delete;

  /// Also false, with nothing sent, for a command of more than 5801 bytes.
  bool transmitApdu(const ByteVector& command, ByteVector& response) override;

  /// Takes serviceLock for the duration of the call.
  bool readAtr(ByteVector& value) override EXCLUDES(serviceLock);

 private:
  const platform::SCARDHANDLE card;
  const std::uint32_t activeProtocol;
  Lock& serviceLock;
  const bool inTransaction;
};

}  // namespace kv500

#endif
