#include "card/gzip.h"

#include <algorithm>
#include <array>
#include <optional>
#include <span>

namespace kv500 {
namespace {

constexpr std::size_t blockBufferSize = 4096;
constexpr std::size_t maxSymbols = 288;      // RFC 1951, 3.2.6: literals and lengths, 0 to 287
constexpr std::uint32_t maxCodeLength = 15;  // RFC 1951, 3.2.7
constexpr std::uint32_t endOfBlock = 256;    // RFC 1951, 3.2.5

constexpr std::uint32_t noBits = 0xFFFFFFFF;    // what readBits and peekBits give at the end
constexpr std::uint32_t noSymbol = 0xFFFFFFFF;  // what decodeSymbol gives for an unknown code

// The code of one symbol: the low `length` bits of `code`. The highest of them is the first bit.
struct CodeEntry {
  std::uint32_t length;
  std::uint32_t code;
  std::uint32_t symbol;
};

// A Huffman code. The entries are in the order of their lengths, and with one length in that of
// their codes. Without entries minLength is 100, longer than every code, and maxLength is 0.
struct CodeTable {
  std::uint32_t minLength = 100;
  std::uint32_t maxLength = 0;
  std::uint32_t count = 0;
  std::array<CodeEntry, maxSymbols> entries;
};

// Code lengths in bits, indexed by symbol; 0 for a symbol that does not occur.
struct CodeLengths {
  std::array<std::uint32_t, maxSymbols> lengths{};
  std::uint32_t count = 0;
};

// A number in the stream: the symbol gives the base, and the extra bits behind it are added.
struct BaseAndExtra {
  std::uint32_t base;
  std::uint32_t extraBits;
};

// How decoding continues behind a block or a part of one.
enum class Outcome {
  goOn,  // behind the block
  stop,  // not at all; the output of the earlier blocks is the result
  fail,  // not at all, and there is no result
};

// The state of one decode. Each call makes its own, so that decodes don't affect each other and no
// personal data remain in static memory.
class Decoder {
 public:
  Decoder(const std::uint8_t* input, std::size_t inputLength, std::uint8_t* output)
      : input(input), inputLength(inputLength), output(output) {}

  bool skipHeader();
  std::size_t inflateBlocks();

 private:
  Outcome copyStoredBlock();
  Outcome decodeFixedBlock();
  Outcome decodeDynamicBlock();
  Outcome readCodeLengths(const CodeTable& codeLengthTable, std::uint32_t n, CodeLengths& given);
  Outcome decodeCompressedBlock(const CodeTable& lengthTable, const CodeTable& distanceTable);
  bool copyMatch(std::uint32_t symbol, const CodeTable& distanceTable);
  bool append(const std::uint8_t* bytes, std::size_t count);

  std::uint32_t decodeSymbol(const CodeTable& table);
  std::optional<std::uint32_t> readNumber(std::span<const BaseAndExtra> rows, std::uint32_t row);
  std::uint32_t readBits(std::uint32_t n);
  std::uint32_t peekBits(std::uint32_t n) const;
  bool hasBits(std::uint32_t n) const;
  std::uint32_t bitAt(std::uint32_t offset) const;
  void skipBits(std::uint32_t n);
  std::size_t bytesLeft() const;

  const std::uint8_t* const input;
  const std::size_t inputLength;  // in bytes
  std::size_t bytePosition = 0;   // may be behind the end of the input, hence bytesLeft
  std::uint32_t bitPosition = 0;  // 0 to 7, 0 being the least significant bit of the byte

  std::uint8_t* const output;
  std::size_t outputCount = 0;

  std::array<std::uint8_t, blockBufferSize> blockBuffer;
  std::size_t pendingCount = 0;  // bytes of blockBuffer still to be output
};

void buildCodeTable(const CodeLengths& given, CodeTable& table);

}  // namespace

ByteVector gunzipBytes(const ByteVector& input) {
  std::array<std::uint8_t, inflateBufferSize> output;
  const std::size_t count = inflateGzip(input.data(), input.size(), output.data());
  return ByteVector(output.data(), output.data() + count);
}

std::size_t inflateGzip(const std::uint8_t* input, std::size_t inputLength,
                        std::uint8_t* output) noexcept {
  std::fill_n(output, inflateBufferSize, std::uint8_t{0});
  Decoder decoder(input, inputLength, output);
  return decoder.skipHeader() ? decoder.inflateBlocks() : 0;
}

namespace {

// Format note, RFC 1952, 2.3: a member begins with 10 bytes: ID1, ID2, CM (8 is DEFLATE), FLG, four
// bytes MTIME, XFL, OS. The flags tell which fields follow, always in this order: FEXTRA, after its
// length XLEN in two bytes; FNAME and FCOMMENT, texts that a zero byte ends; FHCRC, two bytes.
// FTEXT is a hint without a field. The flags 32 and up are reserved and must be refused: they may
// announce fields that this decoder can't skip.
bool Decoder::skipHeader() {
  constexpr std::size_t fixedSize = 10;
  constexpr std::size_t leastBody = 6;  // less is no block with its trailer
  constexpr std::uint8_t fhcrc = 2, fextra = 4, fname = 8, fcomment = 16, reserved = 32;

  if (inputLength < fixedSize + leastBody || input[0] != 0x1F || input[1] != 0x8B ||
      input[2] != 8 || input[3] >= reserved) {
    return false;
  }
  const std::uint8_t flags = input[3];
  bytePosition = fixedSize;
  if ((flags & fextra) != 0) {
    const std::size_t xlen = input[10] + 256u * input[11];
    bytePosition += 2 + xlen;
  }
  for (const std::uint8_t text : {fname, fcomment}) {
    if ((flags & text) != 0) {
      while (bytePosition < inputLength && input[bytePosition] != 0) {
        ++bytePosition;
      }
      ++bytePosition;
    }
  }
  if ((flags & fhcrc) != 0) {
    bytePosition += 2;
  }
  return bytesLeft() >= leastBody;
}

// Format note, RFC 1951, 3.2.3: the data are a sequence of independent blocks. Each begins with
// three bits: one tells whether it is the final block, two give its type. There is no length: only
// decoding a block shows where it ends, and the next block follows at the very next bit.
//
// Behind the last block RFC 1952 has an 8-byte trailer, so no block begins in the last 4 bytes. The
// loop ends because every turn moves the position by at least the three bits.
std::size_t Decoder::inflateBlocks() {
  constexpr std::size_t noBlockWithin = 4;
  for (;;) {
    const std::uint32_t header = readBits(3);  // all ones if that fails, and thus the type 3
    const bool isFinal = (header & 1) != 0;
    Outcome outcome = Outcome::fail;  // type 3 is reserved
    switch ((header >> 1) & 3) {
      case 0:
        outcome = copyStoredBlock();
        break;
      case 1:
        outcome = decodeFixedBlock();
        break;
      case 2:
        outcome = decodeDynamicBlock();
        break;
    }
    if (outcome == Outcome::fail || !append(blockBuffer.data(), pendingCount)) {
      return 0;
    }
    pendingCount = 0;
    if (outcome == Outcome::stop || isFinal || bytesLeft() <= noBlockWithin) {
      return outputCount;
    }
  }
}

// Format note, RFC 1951, 3.2.4: a stored block starts at the next byte boundary with LEN, two
// bytes, least significant first, and NLEN, its complement. LEN bytes follow as they are.
Outcome Decoder::copyStoredBlock() {
  constexpr std::size_t lenAndNlen = 4;
  if (bitPosition != 0) {
    skipBits(8 - bitPosition);
  }
  if (bytesLeft() < lenAndNlen) {
    return Outcome::fail;
  }
  const std::size_t len = input[bytePosition] + 256u * input[bytePosition + 1];
  bytePosition += lenAndNlen;
  if (len > bytesLeft() || !append(input + bytePosition, len)) {
    return Outcome::fail;
  }
  bytePosition += len;
  return Outcome::goOn;
}

// Format note, RFC 1951, 3.2.6: like all codes of the format, the fixed codes are given only by
// their lengths. They cover symbols that never occur (286 and 287, distances 30 and 31) because a
// code must use up its whole space.
Outcome Decoder::decodeFixedBlock() {
  CodeLengths given;
  const auto give = [&given](std::uint32_t symbols, std::uint32_t length) {
    std::fill_n(given.lengths.begin() + given.count, symbols, length);
    given.count += symbols;
  };
  CodeTable lengthTable;
  give(144, 8);
  give(112, 9);
  give(24, 7);
  give(8, 8);
  buildCodeTable(given, lengthTable);

  CodeTable distanceTable;
  given.count = 0;
  give(32, 5);
  buildCodeTable(given, distanceTable);
  return decodeCompressedBlock(lengthTable, distanceTable);
}

// Format note, RFC 1951, 3.2.7: a dynamic block brings its own two codes, as lists of code lengths.
// A third code, over the "code length alphabet", encodes these lists. Its own lengths come first,
// three bits each. Their order puts the rarely used ones last, so that HCLEN can leave them out.
Outcome Decoder::decodeDynamicBlock() {
  constexpr std::array<std::uint32_t, 19> order = {16, 17, 18, 0, 8,  7, 9,  6, 10, 5,
                                                   11, 4,  12, 3, 13, 2, 14, 1, 15};
  const std::uint32_t hlit = readBits(5);
  const std::uint32_t hdist = readBits(5);
  const std::uint32_t hclen = readBits(4);
  if (hlit == noBits || hdist == noBits || hclen == noBits) {
    return Outcome::fail;
  }

  CodeLengths given;
  given.count = order.size();
  for (std::uint32_t i = 0; i < hclen + 4; ++i) {  // at most 15 + 4, all of order
    const std::uint32_t length = readBits(3);
    if (length == noBits) {
      return Outcome::fail;
    }
    given.lengths[order[i]] = length;
  }
  CodeTable codeLengthTable, lengthTable, distanceTable;
  buildCodeTable(given, codeLengthTable);

  if (const Outcome outcome = readCodeLengths(codeLengthTable, hlit + 257, given);
      outcome != Outcome::goOn) {
    return outcome;
  }
  buildCodeTable(given, lengthTable);

  if (const Outcome outcome = readCodeLengths(codeLengthTable, hdist + 1, given);
      outcome != Outcome::goOn) {
    return outcome;
  }
  buildCodeTable(given, distanceTable);
  return decodeCompressedBlock(lengthTable, distanceTable);
}

// Format note, RFC 1951, 3.2.7: in the code length alphabet 0 to 15 are a length, 16 repeats the
// previous one 3 to 6 times, 17 and 18 are runs of 3 to 10 and 11 to 138 zeros.
//
// The format lets a repeat continue from the literal and length lengths into those of the
// distances. Here each list starts anew, as common compressors write them, and the part of a run
// beyond its list is dropped. `n` is at most 31 + 257, the size of the array. The loop ends because
// every symbol fills at least one place. All places below n are then filled.
Outcome Decoder::readCodeLengths(const CodeTable& codeLengthTable, std::uint32_t n,
                                 CodeLengths& given) {
  constexpr std::array<BaseAndExtra, 3> repeats = {{{3, 2}, {3, 3}, {11, 7}}};
  given.count = n;
  std::uint32_t i = 0;
  while (i < n) {
    const std::uint32_t symbol = decodeSymbol(codeLengthTable);
    if (symbol == noSymbol) {
      return Outcome::stop;
    }
    if (symbol < 16) {
      given.lengths[i] = symbol;
      ++i;
      continue;
    }
    if (symbol == 16 && i == 0) {
      return Outcome::fail;
    }
    const std::uint32_t repeated = symbol == 16 ? given.lengths[i - 1] : 0;
    const std::optional<std::uint32_t> times = readNumber(repeats, symbol - 16);
    if (!times || *times > maxSymbols - i) {
      return Outcome::fail;
    }
    std::fill_n(given.lengths.begin() + i, *times, repeated);
    i += *times;
  }
  return Outcome::goOn;
}

// Format note, RFC 1951, 3.2.2: two rules let the lengths alone define a code. Codes of one length
// are consecutive numbers, in the order of their symbols. Shorter codes come before longer ones in
// bit order. So the first code of a length follows the last code of the previous length, with a bit
// 0 appended. A symbol of length 0 does not occur and has no code.
//
// If the lengths ask for more codes than there are, some numbers are too wide for their length; no
// peeked value equals these, and they stay below 2^25. If the lengths ask for fewer, some codes are
// unknown.
void buildCodeTable(const CodeLengths& given, CodeTable& table) {
  std::array<std::uint32_t, maxCodeLength + 1> counter{};
  for (std::uint32_t symbol = 0; symbol < given.count; ++symbol) {
    if (const std::uint32_t length = given.lengths[symbol]; length != 0) {
      ++counter[length];
      table.minLength = std::min(table.minLength, length);
      table.maxLength = std::max(table.maxLength, length);
    }
  }

  std::array<std::uint32_t, maxCodeLength + 1> nextCode{}, nextEntry{};
  for (std::uint32_t length = 0; length < table.maxLength; ++length) {
    nextCode[length + 1] = (nextCode[length] + counter[length]) << 1;
    nextEntry[length + 1] = nextEntry[length] + counter[length];
  }

  for (std::uint32_t symbol = 0; symbol < given.count; ++symbol) {
    if (const std::uint32_t length = given.lengths[symbol]; length != 0) {
      table.entries[nextEntry[length]] = {length, nextCode[length], symbol};
      ++nextEntry[length];
      ++nextCode[length];
      ++table.count;
    }
  }
}

// Format note, RFC 1951, 3.2.5: the first code is one alphabet for three things: literal bytes 0 to
// 255, the end of the block, and from 257 on the length of a match, whose distance follows.
//
// An unknown code drops the block: behind it, data can't be told from noise. The loop ends because
// every known symbol takes at least one bit from the input.
Outcome Decoder::decodeCompressedBlock(const CodeTable& lengthTable,
                                       const CodeTable& distanceTable) {
  blockBuffer.fill(0);
  for (;;) {
    const std::uint32_t symbol = decodeSymbol(lengthTable);
    if (symbol == noSymbol) {
      pendingCount = 0;
      return Outcome::goOn;
    }
    if (symbol == endOfBlock) {
      return Outcome::goOn;
    }
    if (symbol > endOfBlock) {
      if (!copyMatch(symbol, distanceTable)) {
        return Outcome::fail;
      }
    } else if (pendingCount < blockBufferSize) {
      blockBuffer[pendingCount] = static_cast<std::uint8_t>(symbol);
      ++pendingCount;
    } else {
      return Outcome::fail;
    }
  }
}

// Format note, RFC 1951, 3.2.5: a match repeats earlier bytes. Its length and its distance are each
// a symbol for a range, and extra bits that choose within the range. A match may be longer than its
// distance: copied byte by byte, it repeats what it has just written ("a", length 5, distance 1, is
// "aaaaa").
//
// An unknown distance counts as 0: the bytes are copied onto themselves, and they are still 0. Only
// this case can move the position out of the input, and then no symbol can follow.
bool Decoder::copyMatch(std::uint32_t symbol, const CodeTable& distanceTable) {
  constexpr std::array<BaseAndExtra, 29> lengths = {
      {{3, 0},   {4, 0},   {5, 0},   {6, 0},   {7, 0},  {8, 0},  {9, 0},  {10, 0},
       {11, 1},  {13, 1},  {15, 1},  {17, 1},  {19, 2}, {23, 2}, {27, 2}, {31, 2},
       {35, 3},  {43, 3},  {51, 3},  {59, 3},  {67, 4}, {83, 4}, {99, 4}, {115, 4},
       {131, 5}, {163, 5}, {195, 5}, {227, 5}, {258, 0}}};
  constexpr std::array<BaseAndExtra, 30> distances = {
      {{1, 0},     {2, 0},     {3, 0},     {4, 0},      {5, 1},      {7, 1},
       {9, 2},     {13, 2},    {17, 3},    {25, 3},     {33, 4},     {49, 4},
       {65, 5},    {97, 5},    {129, 6},   {193, 6},    {257, 7},    {385, 7},
       {513, 8},   {769, 8},   {1025, 9},  {1537, 9},   {2049, 10},  {3073, 10},
       {4097, 11}, {6145, 11}, {8193, 12}, {12289, 12}, {16385, 13}, {24577, 13}}};

  const std::optional<std::uint32_t> length = readNumber(lengths, symbol - 257);
  if (!length) {
    return false;
  }
  std::optional<std::uint32_t> distance = 0;
  const std::uint32_t distanceSymbol = decodeSymbol(distanceTable);
  if (distanceSymbol != noSymbol) {
    distance = readNumber(distances, distanceSymbol);
  } else if (bytesLeft() == 0) {
    return false;
  }
  if (!distance || *distance > pendingCount || *length > blockBufferSize - pendingCount) {
    return false;
  }
  for (std::uint32_t i = 0; i < *length; ++i) {
    blockBuffer[pendingCount] = blockBuffer[pendingCount - *distance];
    ++pendingCount;
  }
  return true;
}

// False, with nothing written, if the output would fill its buffer.
bool Decoder::append(const std::uint8_t* bytes, std::size_t count) {
  if (count >= inflateBufferSize - outputCount) {
    return false;
  }
  std::copy_n(bytes, count, output + outputCount);
  outputCount += count;
  return true;
}

// Format note, RFC 1951, 3.2.2: no code is the beginning of another. So codes can be tried from the
// shortest up, and the first match is the right one. The symbols that occur most often have the
// shortest codes, so the search is mostly short.
//
// An unknown code is consumed too, at its greatest length. A table without entries knows no code
// and compares nothing; it consumes the 100 bits of its minLength.
std::uint32_t Decoder::decodeSymbol(const CodeTable& table) {
  std::uint32_t length = 0;
  std::uint32_t code = noBits;
  for (std::uint32_t i = 0; i < table.count; ++i) {
    const CodeEntry& entry = table.entries[i];
    if (entry.length != length) {
      length = entry.length;
      code = peekBits(length);  // noBits is wider than every code
    }
    if (entry.code == code) {
      skipBits(length);
      return entry.symbol;
    }
  }
  skipBits(std::max(table.minLength, table.maxLength));
  return noSymbol;
}

// The number that the row and its extra bits give. Nothing if there is no such row or the bits are
// missing.
std::optional<std::uint32_t> Decoder::readNumber(std::span<const BaseAndExtra> rows,
                                                 std::uint32_t row) {
  if (row >= rows.size()) {
    return std::nullopt;
  }
  if (rows[row].extraBits == 0) {
    return rows[row].base;
  }
  const std::uint32_t extra = readBits(rows[row].extraBits);
  if (extra == noBits) {
    return std::nullopt;
  }
  return rows[row].base + extra;
}

// Format note, RFC 1951, 3.1.1: bytes are filled from their least significant bit up. Numbers start
// with their least significant bit. Huffman codes start with their most significant bit, because
// the first bits must tell a code from the others.
std::uint32_t Decoder::readBits(std::uint32_t n) {
  if (!hasBits(n)) {
    return noBits;
  }
  std::uint32_t value = 0;
  for (std::uint32_t i = 0; i < n; ++i) {
    value |= bitAt(i) << i;
  }
  skipBits(n);
  return value;
}

std::uint32_t Decoder::peekBits(std::uint32_t n) const {
  if (!hasBits(n)) {
    return noBits;
  }
  std::uint32_t value = 0;
  for (std::uint32_t i = 0; i < n; ++i) {
    value = (value << 1) | bitAt(i);
  }
  return value;
}

// Whether more than n bits are left. The last bit of the input is never given out: it belongs to
// the trailer, so only a damaged stream can ask for it.
bool Decoder::hasBits(std::uint32_t n) const {
  return bitPosition + n < 8 * bytesLeft();
}

// The bit at `offset` bits behind the position. The caller has checked it with hasBits.
std::uint32_t Decoder::bitAt(std::uint32_t offset) const {
  const std::uint32_t position = bitPosition + offset;
  return (std::uint32_t{input[bytePosition + position / 8]} >> (position % 8)) & 1;
}

void Decoder::skipBits(std::uint32_t n) {
  bitPosition += n;
  bytePosition += bitPosition / 8;
  bitPosition %= 8;
}

std::size_t Decoder::bytesLeft() const {
  return bytePosition < inputLength ? inputLength - bytePosition : 0;
}

}  // namespace
}  // namespace kv500
