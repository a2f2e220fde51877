// The insurance data: from the health care application's files to JSON text. Everything is read
// anew on each call; nothing of a card is remembered.
#include "card/commands.h"
#include "card/insurance_data.h"
#include "card/xml_to_json.h"
#include "device/kv500.h"

namespace kv500 {
namespace {

constexpr std::size_t smallestBlock = 3;   // Data bytes of one READ BINARY.
constexpr std::size_t largestBlock = 270;  // Data bytes of one READ BINARY.
constexpr std::uint8_t lastBlock = 0x7F;   // The highest offset that READ BINARY can name.

bool isBlockSize(std::size_t size, std::size_t smallest) {
  return size >= smallest && size <= largestBlock;
}

}  // namespace

bool KV500::readInsuranceData(std::string& daten) {
  ByteVector vd;
  ByteVector pd;
  if (!readInsuranceFile(vd, InsuranceFile::Vd) || !readInsuranceFile(pd, InsuranceFile::Pd)) {
    return false;
  }
  const std::string vdMembers = insuranceFileToJson(vd);
  const std::string pdMembers = vdMembers.empty() ? "" : insuranceFileToJson(pd);
  if (pdMembers.empty()) {
    return false;
  }
  daten = composeInsuranceData(vdMembers, pdMembers);
  return true;
}

bool KV500::readCardId(std::string& cardId) {
  ByteVector pd;
  if (!readInsuranceFile(pd, InsuranceFile::Pd)) {
    return false;
  }
  const std::string xml = insuranceFileToXml(pd);
  if (xml.empty()) {
    return false;
  }
  cardId = findElementText("Versicherten_ID", xml);
  return !cardId.empty();
}

bool KV500::readInsuranceFile(ByteVector& gzipData, InsuranceFile file) {
  ByteVector response;
  StatusWord status;
  if (!exchange(selectHca, response, status) || status.sw1 != sw1Success ||
      !exchange(readBinaryStatusVd, response, status)) {
    return false;
  }
  std::size_t length = 0;
  if (!readFileStart(file, response, length)) {
    return false;
  }
  const std::size_t headerSize = file == InsuranceFile::Vd ? vdHeaderSize : pdHeaderSize;
  ByteVector data(response.begin() + static_cast<std::ptrdiff_t>(headerSize), response.end());
  if (!readFurtherBlocks(data, length)) {
    return false;
  }
  gzipData = std::move(data);
  return true;
}

bool KV500::readFileStart(InsuranceFile file, ByteVector& start, std::size_t& length) {
  StatusWord status;
  if (file == InsuranceFile::Pd) {
    return exchange(readBinaryPd, start, status) && status.sw1 == sw1Success &&
           isBlockSize(start.size(), smallestBlock) && announcedPdLength(start, length);
  }
  ByteVector header;
  return exchange(readBinaryVdHeader, header, status) && status.sw1 == sw1Success &&
         announcedVdLength(header, length) && exchange(readBinaryVd, start, status) &&
         status.sw1 == sw1Success && isBlockSize(start.size(), vdHeaderSize);
}

bool KV500::readFurtherBlocks(ByteVector& gzipData, std::size_t length) {
  ByteVector response;
  StatusWord status;
  for (std::uint8_t block = 1; gzipData.size() < length; ++block) {
    // A warning with data passes: the status word is not looked at.
    if (block > lastBlock || !exchange(readBinaryBlock(block), response, status) ||
        !isBlockSize(response.size(), smallestBlock)) {
      return false;
    }
    gzipData.insert(gzipData.end(), response.begin(), response.end());
  }
  return true;
}

}  // namespace kv500
