#include "card/card_kind.h"

namespace kv500 {

CardKind cardKindFromGdo(const ByteVector& gdo) {
  const bool isHealthCard = gdo.size() > 3 && gdo[2] == 0x80 && gdo[3] == 0x27;
  return isHealthCard ? CardKind::HealthCard : CardKind::OtherCard;
}

}  // namespace kv500
