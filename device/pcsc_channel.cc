#include "device/pcsc_channel.h"

#include <algorithm>
#include <array>

namespace kv500 {
namespace {

constexpr std::size_t bufferSize = 5801;  // Bytes, for command and response each.

const platform::SCARD_IO_REQUEST& protocolControl(std::uint32_t activeProtocol) {
  switch (activeProtocol) {
    case platform::SCARD_PROTOCOL_T0:
      return platform::g_rgSCardT0Pci;
    case platform::SCARD_PROTOCOL_T1:
      return platform::g_rgSCardT1Pci;
    default:
      return platform::g_rgSCardRawPci;
  }
}

}  // namespace

PcscChannel::PcscChannel(platform::SCARDHANDLE card, std::uint32_t activeProtocol,
                         Lock& serviceLock)
    : card(card),
      activeProtocol(activeProtocol),
      serviceLock(serviceLock),
      inTransaction(platform::SCardBeginTransaction(card) == platform::SCARD_S_SUCCESS) {}

PcscChannel::~PcscChannel() {
  if (inTransaction) {
    platform::SCardEndTransaction(card, platform::SCARD_LEAVE_CARD);
  }
}

bool PcscChannel::transmitApdu(const ByteVector& command, ByteVector& response) {
  if (!inTransaction || command.size() > bufferSize) {
    return false;
  }
  std::array<std::uint8_t, bufferSize> received;
  auto length = static_cast<std::uint32_t>(received.size());
  if (platform::SCardTransmit(card, protocolControl(activeProtocol), command.data(),
                              static_cast<std::uint32_t>(command.size()), received.data(),
                              length) != platform::SCARD_S_SUCCESS) {
    return false;
  }
  response.assign(received.begin(),
                  received.begin() + std::min<std::ptrdiff_t>(length, bufferSize));
  return true;
}

bool PcscChannel::readAtr(ByteVector& value) {
  if (!inTransaction) {
    return false;
  }
  const ScopedLock guard(serviceLock);
  std::uint32_t length = 0;
  if (platform::SCardGetAttrib(card, platform::SCARD_ATTR_ATR_STRING, nullptr, length) !=
      platform::SCARD_S_SUCCESS) {
    return false;
  }
  ByteVector atr(length);
  if (platform::SCardGetAttrib(card, platform::SCARD_ATTR_ATR_STRING, atr.data(), length) !=
          platform::SCARD_S_SUCCESS ||
      length != atr.size()) {
    return false;
  }
  value = std::move(atr);
  return true;
}

}  // namespace kv500
