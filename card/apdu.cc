#include "card/apdu.h"

namespace kv500 {

bool exchangeApdu(CardChannel& card, const ByteVector& command, ByteVector& response,
                  StatusWord& status) {
  ByteVector received;
  if (!card.transmitApdu(command, received) || received.size() < 2) {
    return false;
  }
  status = {received[received.size() - 2], received[received.size() - 1]};
  received.resize(received.size() - 2);
  response = std::move(received);
  return true;
}

}  // namespace kv500
