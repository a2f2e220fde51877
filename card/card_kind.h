// What kind of card is in the reader.
#ifndef KV500_CARD_CARD_KIND_H
#define KV500_CARD_CARD_KIND_H

#include "card/apdu.h"

namespace kv500 {

enum class CardKind {
  Unreadable = 0,  ///< No exchange with the card was possible.
  HealthCard = 1,  ///< A German electronic health card.
  OtherCard = 2,   ///< A card that answers but is no health card.
};

/// Asks the card what it is. The serial number (ICCSN) in EF.GDO identifies a health card: it
/// begins with 80 27, health care and Germany. If the file can't be requested, the presence of the
/// health care application decides.
CardKind detectCardKind(CardChannel& card);

}  // namespace kv500

#endif
