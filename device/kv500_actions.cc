// The actions that a client can request.
#include "card/card_kind.h"
#include "card/insurance_data.h"
#include "device/kv500.h"

namespace kv500 {
namespace {

ActionResult newResult(const std::string& action) {
  ActionResult result;
  result.action = action;
  result.servVersion = servVersion;
  return result;
}

}  // namespace

void KV500::runStatusAction(TcpSocket& client, bool isHead) {
  ActionResult result = newResult("status");
  result.status = "RUNNING";
  {
    const ScopedLock guard(deviceLock);
    updateCardState();
    if (!readerPresent) {
      result.message = "USB_device_not_found";
    } else {
      describeReader(result);
    }
  }
  writeResponse(client, isHead, result, "");
}

void KV500::runReadAction(TcpSocket& client, bool isHead) {
  ActionResult result = newResult("read");
  std::string daten = "null";
  {
    const ScopedLock guard(deviceLock);
    updateCardState();
    if (!readerPresent) {
      result.status = "undefined";
      result.message = "USB_device_not_found";
    } else if (!cardConnected) {
      result.status = "OK";
      result.message = "NO_Card_found";
    } else {
      describeReader(result);
      result.status = readCard(daten) ? "OK" : "ERROR";
    }
  }
  writeResponse(client, isHead, result, daten);
}

void KV500::runCloseAction(TcpSocket& client, bool isHead) {
  ActionResult result = newResult("close");
  result.message = "called close command";
  {
    const ScopedLock guard(deviceLock);
    updateCardState();
    if (!readerPresent) {
      result.status = "NO_DEVICE";
    } else if (cardConnected) {
      closeCard(true);
      result.status = "OK";
      result.message = "CLOSED";
    } else {
      result.status = "ERROR";
    }
  }
  writeResponse(client, isHead, result, "");
}

void KV500::describeReader(ActionResult& result) {
  result.deviceStatus = "KV500_PRESENT";
  result.apiVersion = apiVersion;
  result.serialNumber = serialNumber;
  result.cardPresence = cardConnected ? "OK_Card_Presence" : "NO_Card_found";
}

bool KV500::readCard(std::string& daten) {
  PcscChannel card = cardChannel();
  switch (detectCardKind(card)) {
    case CardKind::HealthCard:
      return readInsuranceData(card, daten);
    case CardKind::OtherCard:
      return true;
    case CardKind::Unreadable:
      break;
  }
  return false;
}

}  // namespace kv500
