// The two files of a health card that hold the insurance data, as they are stored on the card.
#ifndef KV500_CARD_INSURANCE_FILE_H
#define KV500_CARD_INSURANCE_FILE_H

#include "card/apdu.h"

namespace kv500 {

enum class InsuranceFile {
  Vd,  ///< EF.VD, the general data: a header of four offsets, then gzip data.
  Pd,  ///< EF.PD, the personal data: a length, then gzip data.
};

/// Reads one file of a health card, block by block. `gzipData` begins with the file's gzip data;
/// more bytes may follow. False, with `gzipData` unchanged, if an exchange fails, the card refuses,
/// or a response or the length that the file announces is out of bounds. Sends at most 131
/// commands.
bool readInsuranceFile(CardChannel& card, InsuranceFile file, ByteVector& gzipData);

}  // namespace kv500

#endif
