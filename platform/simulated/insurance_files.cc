#include "platform/simulated/insurance_files.h"

#include <zlib.h>

#include <new>
#include <utility>

namespace simulated {
namespace {

// From the German health card standard.
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

void append(Bytes& bytes, const Bytes& more) {
  bytes.insert(bytes.end(), more.begin(), more.end());
}

std::optional<Bytes> fitting(Bytes file) {
  return file.size() <= largestCardFile ? std::optional(std::move(file)) : std::nullopt;
}

}  // namespace

std::optional<Bytes> makeVdFile(const Bytes& xml, const std::optional<Bytes>& protectedXml) {
  const Bytes data = compress(xml);
  const Bytes protectedData = protectedXml ? compress(*protectedXml) : Bytes{};
  const std::size_t end = vdHeaderSize + data.size();
  Bytes file;
  appendBigEndian(file, vdHeaderSize);
  appendBigEndian(file, end - 1);
  appendBigEndian(file, protectedXml ? end : noProtectedData);
  appendBigEndian(file, protectedXml ? end + protectedData.size() - 1 : noProtectedData);
  append(file, data);
  append(file, protectedData);
  return fitting(std::move(file));
}

std::optional<Bytes> makePdFile(const Bytes& xml) {
  const Bytes data = compress(xml);
  Bytes file;
  appendBigEndian(file, data.size());
  append(file, data);
  return fitting(std::move(file));
}

}  // namespace simulated
