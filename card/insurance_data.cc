#include "card/insurance_data.h"

#include "card/gzip.h"
#include "card/xml_to_json.h"

namespace kv500 {
namespace {

constexpr std::int32_t smallestPdLength = 256;
constexpr std::int32_t largestLength = 32768;  // 128 blocks of 256, all that P1 can count.

std::int32_t bigEndian16(const ByteVector& bytes, std::size_t at) {
  return bytes[at] << 8 | bytes[at + 1];
}

}  // namespace

bool announcedVdLength(const ByteVector& header, std::size_t& length) {
  if (header.size() < vdHeaderSize) {
    return false;
  }
  const std::int32_t sum = (bigEndian16(header, 2) - bigEndian16(header, 0)) +
                           (bigEndian16(header, 6) - bigEndian16(header, 4));
  if (sum < 0 || sum > largestLength) {
    return false;
  }
  length = static_cast<std::size_t>(sum);
  return true;
}

bool announcedPdLength(const ByteVector& start, std::size_t& length) {
  if (start.size() < pdHeaderSize) {
    return false;
  }
  const std::int32_t announced = bigEndian16(start, 0);
  if (announced < smallestPdLength || announced > largestLength) {
    return false;
  }
  length = static_cast<std::size_t>(announced);
  return true;
}

std::string insuranceFileToXml(const ByteVector& gzipData) {
  const ByteVector decoded = gunzipBytes(gzipData);
  return std::string(decoded.begin(), decoded.end());
}

std::string insuranceFileToJson(const ByteVector& gzipData) {
  return xmlToJson(insuranceFileToXml(gzipData));
}

std::string composeInsuranceData(const std::string& vdMembers, const std::string& pdMembers) {
  return "{\n"
         "\"AllgemeineVersicherungsdaten\":\n"
         "{\n" +
         vdMembers +
         "},\n"
         "\"PersoenlicheVersicherungsdaten\":\n"
         "{\n" +
         pdMembers +
         "}\n"
         "}";
}

}  // namespace kv500
