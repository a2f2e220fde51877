// Hostile gzip members, unchanged and behind a valid header.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>

#include "card/gzip.h"

namespace {

constexpr std::uint8_t header[10] = {0x1F, 0x8B, 8};

void decode(const kv500::ByteVector& member) {
  if (kv500::gunzipBytes(member).size() >= kv500::inflateBufferSize) {
    std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  decode({data, data + size});
  kv500::ByteVector member(std::begin(header), std::end(header));
  member.insert(member.end(), data, data + size);
  decode(member);
  return 0;
}
