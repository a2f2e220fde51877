#include "card/insurance_data.h"

#include "card/gzip.h"
#include "card/insurance_file.h"
#include "card/xml_to_json.h"

namespace kv500 {
namespace {

/// The XML text of one file's gzip data. Empty if the data can't be decoded.
std::string gunzipText(const ByteVector& gzipData) {
  const ByteVector decoded = gunzipBytes(gzipData);
  return {decoded.begin(), decoded.end()};
}

}  // namespace

bool readInsuranceData(CardChannel& card, std::string& daten) {
  ByteVector vd;
  ByteVector pd;
  if (!readInsuranceFile(card, InsuranceFile::Vd, vd) ||
      !readInsuranceFile(card, InsuranceFile::Pd, pd)) {
    return false;
  }
  const std::string vdMembers = xmlToJson(gunzipText(vd));
  const std::string pdMembers = xmlToJson(gunzipText(pd));
  if (vdMembers.empty() || pdMembers.empty()) {
    return false;
  }
  daten =
      "{\n"
      "\"AllgemeineVersicherungsdaten\":\n"
      "{\n" +
      vdMembers +
      "},\n"
      "\"PersoenlicheVersicherungsdaten\":\n"
      "{\n" +
      pdMembers +
      "}\n"
      "}";
  return true;
}

bool readCardId(CardChannel& card, std::string& cardId) {
  ByteVector pd;
  if (!readInsuranceFile(card, InsuranceFile::Pd, pd)) {
    return false;
  }
  const std::string xml = gunzipText(pd);
  if (xml.empty()) {
    return false;
  }
  cardId = findElementText("Versicherten_ID", xml);
  return !cardId.empty();
}

}  // namespace kv500
