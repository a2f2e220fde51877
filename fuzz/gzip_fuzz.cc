// Hostile gzip members, and the way back of whatever a sound compressor packs.
#include <zlib.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>

#include "card/gzip.h"

namespace {

constexpr std::uint8_t header[10] = {0x1F, 0x8B, 8};

void require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

void decodeAnything(const kv500::ByteVector& member) {
  require(kv500::gunzipBytes(member).size() < kv500::inflateBufferSize);
}

void packAndDecode(const kv500::ByteVector& text, int level, int strategy) {
  kv500::ByteVector member(2 * text.size() + 1000);
  kv500::ByteVector input = text;
  z_stream z{};
  require(deflateInit2(&z, level, Z_DEFLATED, 15 + 16, 8, strategy) == Z_OK);
  z.next_in = input.data();
  z.avail_in = static_cast<uInt>(input.size());
  z.next_out = member.data();
  z.avail_out = static_cast<uInt>(member.size());
  require(deflate(&z, Z_FINISH) == Z_STREAM_END);
  member.resize(z.total_out);
  deflateEnd(&z);
  require(kv500::gunzipBytes(member) == text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  decodeAnything({data, data + size});

  kv500::ByteVector member(std::begin(header), std::end(header));
  member.insert(member.end(), data, data + size);
  decodeAnything(member);

  if (size > 0) {
    const std::size_t count = std::min(size - 1, kv500::inflateBufferSize - 1);
    packAndDecode({data + 1, data + 1 + count}, data[0] % 10, data[0] / 10 % 5);
  }
  return 0;
}
