#include "platform/simulated/insurance_files.h"

#include <zlib.h>

#include <new>
#include <utility>

namespace simulated {
namespace {

// From the German health card standard.
constexpr std::size_t vdFileSize = 1250;
constexpr std::size_t pdFileSize = 850;

constexpr std::size_t vdHeaderSize = 8;
constexpr std::size_t noProtectedData = 0xFFFF;

/// With the largest memory level zlib has room for 32767 symbols before it must begin a new block.
/// A text of usual size thus becomes one DEFLATE block: readers of cards keep no history across
/// blocks.
Bytes compress(const Bytes& text) {
  constexpr int windowBitsOfGzip = 15 + 16;
  constexpr int largestMemoryLevel = 9;
  z_stream stream{};
  if (deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, windowBitsOfGzip, largestMemoryLevel,
                   Z_DEFAULT_STRATEGY) != Z_OK) {
    throw std::bad_alloc();
  }
  Bytes input = text;
  Bytes output(deflateBound(&stream, static_cast<uLong>(input.size())));
  stream.next_in = input.data();
  stream.avail_in = static_cast<uInt>(input.size());
  stream.next_out = output.data();
  stream.avail_out = static_cast<uInt>(output.size());
  deflate(&stream, Z_FINISH);
  output.resize(output.size() - stream.avail_out);
  deflateEnd(&stream);
  return output;
}

void appendBigEndian(Bytes& bytes, std::size_t value) {
  bytes.push_back(static_cast<std::uint8_t>(value >> 8 & 0xFF));
  bytes.push_back(static_cast<std::uint8_t>(value & 0xFF));
}

std::optional<Bytes> assemble(Bytes header, const Bytes& data, std::size_t usualSize) {
  Bytes file = std::move(header);
  file.insert(file.end(), data.begin(), data.end());
  const std::size_t size = file.size() <= usualSize ? usualSize : (file.size() / 256 + 1) * 256;
  if (size > largestCardFile) {
    return std::nullopt;
  }
  file.resize(size);
  return file;
}

}  // namespace

std::optional<Bytes> makeVdFile(const Bytes& xml) {
  const Bytes data = compress(xml);
  Bytes header;
  appendBigEndian(header, vdHeaderSize);
  appendBigEndian(header, vdHeaderSize + data.size() - 1);
  appendBigEndian(header, noProtectedData);
  appendBigEndian(header, noProtectedData);
  return assemble(header, data, vdFileSize);
}

std::optional<Bytes> makePdFile(const Bytes& xml) {
  const Bytes data = compress(xml);
  Bytes header;
  appendBigEndian(header, data.size());
  return assemble(header, data, pdFileSize);
}

}  // namespace simulated
