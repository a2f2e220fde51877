// The two facts that every answer depends on: is a usable reader attached, and is a card connection
// open.
//
// If a reader has gone, a call fails here. The PC/SC thread only attaches readers.
#include <array>

#include "device/kv500.h"
#include "device/pcsc_service.h"
#include "support/hex_digits.h"
#include "support/log.h"

namespace kv500 {
namespace {

constexpr std::size_t longestAtr = 33;  // Bytes, ISO/IEC 7816-3.

}  // namespace

void KV500::attachReader(const std::string& newReaderName) {
  detachReader();
  const ScopedLock guard(deviceLock);
  if (detectUsbDevice()) {
    readerName = newReaderName;
    readerPresent = true;
  }
}

void KV500::detachReader() {
  const ScopedLock guard(deviceLock);
  closeCard(false);
}

void KV500::updateCardState() {
  if (!readerPresent) {
    dropCard(false);
  } else if (cardConnected) {
    checkConnection();
  } else {
    openConnection();
  }
}

void KV500::checkConnection() {
  std::uint32_t state = 0;
  std::array<std::uint8_t, longestAtr> atr;
  auto atrLength = static_cast<std::uint32_t>(atr.size());
  const std::uint32_t result =
      platform::SCardStatusA(cardHandle, state, activeProtocol, atr.data(), atrLength);
  if (result == platform::SCARD_W_REMOVED_CARD ||
      (result == platform::SCARD_S_SUCCESS && state == platform::SCARD_ABSENT)) {
    closeCard(true);
  } else if (result != platform::SCARD_S_SUCCESS) {
    closeCard(false);
  }
}

void KV500::openConnection() {
  const ScopedLock guard(pcscService->serviceLock);
  const std::uint32_t result = platform::SCardConnectA(
      pcscService->context, readerName.c_str(), platform::SCARD_SHARE_SHARED,
      platform::SCARD_PROTOCOL_T0 | platform::SCARD_PROTOCOL_T1, cardHandle, activeProtocol);
  if (result == platform::SCARD_S_SUCCESS) {
    cardConnected = true;
  } else if (result == platform::SCARD_W_REMOVED_CARD || result == platform::SCARD_E_NO_SMARTCARD) {
    dropCard(true);
  } else {
    logMessage("Could not connect to card \"" + readerName + "\": Error 0x" + hexDigits(result),
               "");
    dropCard(false);
  }
}

void KV500::closeCard(bool keepReader) {
  if (cardConnected) {
    platform::SCardDisconnect(cardHandle, platform::SCARD_LEAVE_CARD);
  }
  dropCard(keepReader);
}

void KV500::dropCard(bool keepReader) {
  cardConnected = false;
  if (!keepReader) {
    readerName.clear();
    serialNumber.clear();
    readerPresent = false;
  }
}

PcscChannel KV500::cardChannel() {
  return {cardHandle, activeProtocol, pcscService->serviceLock};
}

}  // namespace kv500
