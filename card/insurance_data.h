// The insurance data of a health card: from its files to JSON text. Every call reads the card
// again; no card data are kept.
#ifndef KV500_CARD_INSURANCE_DATA_H
#define KV500_CARD_INSURANCE_DATA_H

#include <string>

#include "card/apdu.h"

namespace kv500 {

/// Reads the general and personal data of a health card and composes the JSON object of the answer.
/// False, with `daten` unchanged, if a file can't be read, decoded or parsed, or has nothing to
/// write.
bool readInsuranceData(CardChannel& card, std::string& daten);

/// Reads the insured person's number from a health card. False if there is none. `cardId` is then
/// empty if the personal data were read, and unchanged if not.
bool readCardId(CardChannel& card, std::string& cardId);

}  // namespace kv500

#endif
