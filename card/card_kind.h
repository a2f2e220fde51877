// What kind of card lies in the reader.
#ifndef KV500_CARD_CARD_KIND_H
#define KV500_CARD_CARD_KIND_H

#include "support/byte_vector.h"

namespace kv500 {

enum class CardKind {
  Unreadable = 0,  ///< No exchange with the card was possible.
  HealthCard = 1,  ///< A German electronic health card.
  OtherCard = 2,   ///< A card that answers and is no health card.
};

/// Tells a health card by the content of its EF.GDO: tag 5A, a length, and the card's serial
/// number (ICCSN), which begins with 80 27, health care and Germany. Never Unreadable. Any thread.
CardKind cardKindFromGdo(const ByteVector& gdo);

}  // namespace kv500

#endif
