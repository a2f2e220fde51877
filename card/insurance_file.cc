#include "card/insurance_file.h"

#include "card/commands.h"

namespace kv500 {
namespace {

constexpr std::size_t vdHeaderSize = 8;            // Bytes: four offsets.
constexpr std::size_t pdHeaderSize = 2;            // Bytes: a length.
constexpr std::size_t smallestBlock = 3;           // Data bytes of one READ BINARY.
constexpr std::size_t largestBlock = 270;          // Data bytes of one READ BINARY.
constexpr std::uint8_t lastBlock = 0x7F;           // The highest block that READ BINARY can name.
constexpr std::int32_t smallestPdLength = 256;     // Bytes.
constexpr std::int32_t largestLength = 128 * 256;  // Bytes: all blocks that READ BINARY can name.

bool isBlockSize(std::size_t size, std::size_t smallest) {
  return size >= smallest && size <= largestBlock;
}

std::int32_t bigEndian16(const ByteVector& bytes, std::size_t at) {
  return bytes[at] << 8 | bytes[at + 1];
}

/// Sends a command that the card must accept.
bool exchangeAccepted(CardChannel& card, const ByteVector& command, ByteVector& data) {
  StatusWord status;
  return exchangeApdu(card, command, data, status) && status.sw1 == sw1Success;
}

/// The number of bytes that EF.VD's header announces: the lengths of general and protected data.
/// Two big-endian offsets, start and end, give each length. -1 if the header is cut off.
std::int32_t announcedVdLength(const ByteVector& header) {
  if (header.size() < vdHeaderSize) {
    return -1;
  }
  return bigEndian16(header, 2) - bigEndian16(header, 0) + bigEndian16(header, 6) -
         bigEndian16(header, 4);
}

/// Reads the first block of a file and determines the number of bytes of gzip data.
bool readFileStart(CardChannel& card, InsuranceFile file, ByteVector& start, std::int32_t& length) {
  if (file == InsuranceFile::Pd) {
    if (!exchangeAccepted(card, readBinaryPd, start) || !isBlockSize(start.size(), smallestBlock)) {
      return false;
    }
    length = bigEndian16(start, 0);
    return length >= smallestPdLength && length <= largestLength;
  }
  ByteVector header;
  if (!exchangeAccepted(card, readBinaryVdHeader, header)) {
    return false;
  }
  length = announcedVdLength(header);
  return length >= 0 && length <= largestLength && exchangeAccepted(card, readBinaryVd, start) &&
         isBlockSize(start.size(), vdHeaderSize);
}

bool readFurtherBlocks(CardChannel& card, std::size_t length, ByteVector& data) {
  ByteVector response;
  StatusWord status;
  for (std::uint8_t block = 1; data.size() < length; ++block) {
    // A warning with data is accepted: the status word is not checked.
    if (block > lastBlock || !exchangeApdu(card, readBinaryBlock(block), response, status) ||
        !isBlockSize(response.size(), smallestBlock)) {
      return false;
    }
    data.insert(data.end(), response.begin(), response.end());
  }
  return true;
}

}  // namespace

bool readInsuranceFile(CardChannel& card, InsuranceFile file, ByteVector& gzipData) {
  ByteVector data;
  StatusWord status;
  std::int32_t length = 0;
  if (!exchangeAccepted(card, selectHca, data) ||
      !exchangeApdu(card, readBinaryStatusVd, data, status) ||
      !readFileStart(card, file, data, length)) {
    return false;
  }
  const std::ptrdiff_t headerSize = file == InsuranceFile::Vd ? vdHeaderSize : pdHeaderSize;
  data.erase(data.begin(), data.begin() + headerSize);
  if (!readFurtherBlocks(card, static_cast<std::size_t>(length), data)) {
    return false;
  }
  gzipData = std::move(data);
  return true;
}

}  // namespace kv500
