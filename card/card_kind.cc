#include "card/card_kind.h"

#include "card/commands.h"

namespace kv500 {
namespace {

bool selectMasterFile(CardChannel& card) {
  ByteVector response;
  StatusWord status;
  return exchangeApdu(card, selectMf, response, status) && status.sw1 == sw1Success;
}

/// Reads EF.GDO: tag 5A, a length, and the ICCSN. True if the exchange succeeded, whatever the card
/// answered.
bool readGdo(CardChannel& card, ByteVector& gdo) {
  if (!selectMasterFile(card)) {
    return false;
  }
  ByteVector command = readBinaryGdo;
  StatusWord status;
  if (!exchangeApdu(card, command, gdo, status)) {
    return false;
  }
  if (status.sw1 != sw1BytesAvailable && status.sw1 != sw1WrongLength) {
    return true;
  }
  command.back() = status.sw2;
  return exchangeApdu(card, command, gdo, status);
}

}  // namespace

CardKind detectCardKind(CardChannel& card) {
  ByteVector atr;  // Its content is not used, but a card that gives none can't be questioned.
  if (!card.readAtr(atr)) {
    return CardKind::Unreadable;
  }
  ByteVector gdo;
  if (readGdo(card, gdo)) {
    const bool isHealthCard = gdo.size() > 3 && gdo[2] == 0x80 && gdo[3] == 0x27;
    return isHealthCard ? CardKind::HealthCard : CardKind::OtherCard;
  }
  ByteVector response;
  StatusWord status;
  if (!exchangeApdu(card, selectHca, response, status)) {
    return CardKind::Unreadable;
  }
  return status.sw1 == sw1Success ? CardKind::HealthCard : CardKind::OtherCard;
}

}  // namespace kv500
