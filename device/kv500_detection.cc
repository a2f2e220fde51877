// Health card, other card, or nothing that can be questioned.
#include "card/commands.h"
#include "device/kv500.h"
#include "device/pcsc_service.h"

namespace kv500 {

CardKind KV500::detectCardKind() {
  ByteVector atr;
  {
    const ScopedLock guard(pcscService->serviceLock);
    if (!readAtr(cardHandle, atr)) {
      return CardKind::Unreadable;
    }
  }
  ByteVector gdo;
  if (readGdo(gdo)) {
    return cardKindFromGdo(gdo);
  }
  // Without the serial number the presence of the health care application decides.
  ByteVector response;
  StatusWord status;
  if (!exchange(selectHca, response, status)) {
    return CardKind::Unreadable;
  }
  return status.sw1 == sw1Success ? CardKind::HealthCard : CardKind::OtherCard;
}

bool KV500::readGdo(ByteVector& gdo) {
  if (!selectMasterFile()) {
    return false;
  }
  ByteVector command = readBinaryGdo;
  ByteVector response;
  StatusWord status;
  if (!exchange(command, response, status)) {
    return false;
  }
  if (status.sw1 == sw1BytesAvailable || status.sw1 == sw1WrongLength) {
    command.back() = status.sw2;
    if (!exchange(command, response, status)) {
      return false;
    }
  }
  gdo = response;
  return true;
}

bool KV500::selectMasterFile() {
  ByteVector response;
  StatusWord status;
  return exchange(selectMf, response, status) && status.sw1 == sw1Success;
}

bool KV500::exchange(const ByteVector& command, ByteVector& response, StatusWord& status) {
  return exchangeApdu(cardHandle, activeProtocol, command, response, status);
}

}  // namespace kv500
