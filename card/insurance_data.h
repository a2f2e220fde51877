// The insurance data of a health card: from its files to JSON text. Everything is read anew on each
// call; nothing of a card is remembered.
#ifndef KV500_CARD_INSURANCE_DATA_H
#define KV500_CARD_INSURANCE_DATA_H

#include <string>

#include "card/apdu.h"

namespace kv500 {

/// Reads general and personal data of a card that is a health card, and composes the JSON object of
/// the answer. False, with `daten` as it was, if a file can't be read, decoded or parsed, or holds
/// nothing to write.
bool readInsuranceData(CardChannel& card, std::string& daten);

/// Reads the insured person's number off a health card. False if there is none; `cardId` is then
/// empty if the personal data were read, and as it was if not.
bool readCardId(CardChannel& card, std::string& cardId);

}  // namespace kv500

#endif
