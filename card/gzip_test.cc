#include "card/gzip.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <iterator>
#include <string>
#include <vector>

namespace kv500 {
namespace {

// Decodes from and to heap blocks of exact size, so that a sanitizer sees every access outside.
std::string decode(const ByteVector& member) {
  const ByteVector exact(member.begin(), member.end());
  ByteVector output(inflateBufferSize, 0xEE);
  output.resize(inflateGzip(exact.data(), exact.size(), output.data()));
  EXPECT_EQ(output, gunzipBytes(exact));
  return {output.begin(), output.end()};
}

constexpr std::uint32_t distance = 1000;  // distance + n stands for the distance symbol n

// A gzip member built bit by bit, with zeros for CRC32 and ISIZE.
class Member {
 public:
  Member& number(std::uint32_t value, std::uint32_t n) {
    for (std::uint32_t i = 0; i < n; ++i, ++used) {
      if (used % 8 == 0) {
        bytes.push_back(0);
      }
      bytes.back() = static_cast<std::uint8_t>(bytes.back() | ((value >> i & 1) << used % 8));
    }
    return *this;
  }
  Member& code(std::uint32_t value, std::uint32_t n) {
    while (n > 0) {
      number(value >> --n & 1, 1);
    }
    return *this;
  }
  Member& stored(bool final, const std::string& text, std::size_t len) {
    number(final, 3).number(0, (8 - used % 8) % 8).number(static_cast<std::uint32_t>(len), 16);
    number(0x5555, 16);  // no complement of LEN
    for (const char c : text) {
      number(static_cast<std::uint8_t>(c), 8);
    }
    return *this;
  }
  Member& stored(bool final, const std::string& text) { return stored(final, text, text.size()); }
  Member& fixed(bool final, const std::vector<std::uint32_t>& symbols) {
    number(final, 1).number(1, 2);
    for (const std::uint32_t s : symbols) {
      if (s >= distance) {
        code(s - distance, 5);
      } else if (s < 256) {
        s < 144 ? code(0x30 + s, 8) : code(0x190 + s - 144, 9);
      } else {
        s < 280 ? code(s - 256, 7) : code(0xC0 + s - 280, 8);
      }
    }
    return *this;
  }
  // A dynamic block of 257 + hlit and 1 lengths. The lengths 0 to 3 and the repeats 16, 17, 18 have
  // the codes 0 to 6; the code 7 is unknown.
  Member& dynamic(bool final, std::uint32_t hlit) {
    number(final, 1).number(2, 2).number(hlit, 5).number(0, 5).number(15, 4);
    for (const char c : std::string("3333000000000303030")) {
      number(static_cast<std::uint32_t>(c - '0'), 3);
    }
    return *this;
  }
  Member& zeros(std::uint32_t n) {
    for (; n > 138; n -= 138) {
      code(6, 3).number(127, 7);
    }
    return code(6, 3).number(n - 11, 7);
  }
  // 'A' has the code 0, the end of the block 10, a match of length 3 has 110; 111 is unknown.
  Member& sparse(bool final) {
    return dynamic(final, 1).zeros(65).code(1, 3).zeros(190).code(2, 3).code(3, 3);
  }
  Member& ones(std::size_t n) {
    while (n-- > 0) {
      number(1, 1);
    }
    return *this;
  }
  // Ones until the input ends `bytes` after the start of the current byte.
  Member& endIn(std::size_t bytes) { return ones((used / 8 + bytes) * 8 - used); }
  // The bytes so far, without a trailer. Zeros fill the last byte.
  ByteVector raw() const { return bytes; }
  operator ByteVector() const {
    ByteVector result = bytes;
    result.resize(result.size() + 8);
    return result;
  }

 private:
  static constexpr std::uint8_t header[10] = {0x1F, 0x8B, 8};
  ByteVector bytes{std::begin(header), std::end(header)};
  std::size_t used = 80;
};

// A member whose first block is valid and holds "AB".
Member ab() {
  return Member().stored(false, "AB");
}

// After "AB" a final block with the codes 00 for FE, 01 for FF and 10 for the end of the block. The
// run that gives them their length continues to the symbol 257, beyond the end of the list.
Member excess() {
  return ab().dynamic(true, 0).zeros(254).code(2, 3).code(4, 3).number(0, 2).code(1, 3);
}

// After "AB" a block without literal codes, whose list is one run of `zeros`.
Member noLiterals(bool final, std::uint32_t hlit, std::uint32_t zeros) {
  return ab().dynamic(final, hlit).zeros(zeros).code(1, 3);
}

struct Case {
  const char* name;
  ByteVector member;
  std::string expected;
};

void check(const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    EXPECT_EQ(decode(c.member), c.expected) << c.name;
  }
}

ByteVector compress(const std::string& text, int level, int strategy = Z_DEFAULT_STRATEGY,
                    gz_header* header = nullptr, std::size_t flushAt = 0) {
  ByteVector result(2 * text.size() + 1000);
  ByteVector input(text.begin(), text.end());
  z_stream z{};
  EXPECT_EQ(deflateInit2(&z, level, Z_DEFLATED, 15 + 16, 8, strategy), Z_OK);
  if (header != nullptr) {
    deflateSetHeader(&z, header);
  }
  z.next_in = input.data();
  z.next_out = result.data();
  z.avail_out = static_cast<uInt>(result.size());
  if (flushAt != 0) {
    z.avail_in = static_cast<uInt>(flushAt);
    EXPECT_EQ(deflate(&z, Z_FULL_FLUSH), Z_OK);
  }
  z.avail_in = static_cast<uInt>(text.size() - flushAt);
  EXPECT_EQ(deflate(&z, Z_FINISH), Z_STREAM_END);
  result.resize(z.total_out);
  deflateEnd(&z);
  return result;
}

std::string sampleText(std::size_t size) {
  std::string text = "<?xml version=\"1.0\" encoding=\"ISO-8859-15\"?><Person>aaaaaaaaaaaa";
  for (std::uint32_t i = 1; text.size() < size; i = i * 1103515245 + 12345) {
    text += "<Name>" + std::to_string(i >> 12) + "</Name>\xE4\xFC";
  }
  return text.substr(0, size);
}

TEST(Gzip, GivesBackWhatCommonCompressorsPackUpTo3599Bytes) {
  std::string noise;
  for (std::uint32_t i = 1; noise.size() < 3599; i = i * 1103515245 + 12345) {
    noise += static_cast<char>(i >> 16);
  }
  for (const std::string& text : {std::string("x"), std::string(3599, 'a'), sampleText(700),
                                  sampleText(3599), sampleText(3600), noise, noise + "x"}) {
    const std::string expected = text.size() < 3600 ? text : "";
    for (int level = 0; level <= 9; ++level) {
      for (const std::size_t flushAt : {std::size_t{0}, text.size() / 2, text.size() - 1}) {
        EXPECT_EQ(decode(compress(text, level, Z_DEFAULT_STRATEGY, nullptr, flushAt)), expected);
      }
    }
    for (const int strategy : {Z_FILTERED, Z_HUFFMAN_ONLY, Z_RLE, Z_FIXED}) {
      EXPECT_EQ(decode(compress(text, 6, strategy)), expected) << strategy;
    }
  }
  for (std::size_t length = 3; length <= 258; ++length) {
    const std::string text(length + 1, 'a');
    EXPECT_EQ(decode(compress(text, 6, Z_FIXED)), text) << length;
  }
  for (std::size_t distance = 1; distance < 3590; distance += 1 + distance / 8) {
    const std::string text = noise.substr(0, distance) + noise.substr(0, 9);
    EXPECT_EQ(decode(compress(text, 6, Z_FIXED)), text) << distance;
  }
}

TEST(Gzip, PassesOverHeaderFields) {
  Bytef extra[600] = {};
  Bytef name[] = "PD.xml", comment[] = "";
  for (int fields = 0; fields < 32; ++fields) {
    gz_header header{};
    header.text = fields & 1;
    header.hcrc = fields >> 1 & 1;
    header.extra = fields & 4 ? extra : nullptr;
    header.extra_len = sizeof extra;
    header.name = fields & 8 ? name : nullptr;
    header.comment = fields & 16 ? comment : nullptr;
    const ByteVector member = compress(sampleText(300), 9, Z_DEFAULT_STRATEGY, &header);
    ASSERT_EQ(member[3], fields);
    EXPECT_EQ(decode(member), sampleText(300)) << fields;
  }
}

TEST(Gzip, RefusesWhatIsNoHeader) {
  const auto with = [](std::size_t index, std::uint8_t value) {
    ByteVector member = Member().stored(true, "ABCDEFGH");
    member[index] = value;
    return member;
  };
  const ByteVector sixLeft = Member().fixed(true, {'A', 256}).endIn(4).raw();
  ByteVector named = sixLeft;
  named[3] = 8;
  named.insert(named.begin() + 10, {'n', 0});
  check({{"sound", with(9, 255), "ABCDEFGH"},
         {"ID1", with(0, 0x1E), ""},
         {"ID2", with(1, 0x8C), ""},
         {"CM", with(2, 7), ""},
         {"reserved flag", with(3, 32), ""},
         {"XLEN behind the end", with(3, 4), ""},
         {"text without end", with(3, 8), ""},
         {"empty", {}, ""},
         {"6 bytes left", sixLeft, "A"},
         {"5 bytes left", ByteVector(sixLeft.begin(), sixLeft.end() - 1), ""},
         {"6 bytes left behind a name", named, "A"},
         {"5 bytes left behind a name", ByteVector(named.begin(), named.end() - 1), ""}});
}

TEST(Gzip, JoinsBlocksUntilTheFinalOne) {
  const std::vector<std::uint32_t> overlap = {'x', 'y', 260, distance + 1, 256};
  const std::vector<std::uint32_t> toTheBit = {200, 200, 200, 200, 200, 200, 256};
  check({{"three kinds of block",
          ab().fixed(false, overlap).sparse(true).code(1, 3).code(0b0110010, 7), "ABxyxyxyxyAAAA"},
         {"reserved type behind the final block", ab().stored(true, "C").number(7, 3), "ABC"},
         {"second member", ab().fixed(true, {'C', 256}).stored(true, "D"), "ABC"},
         {"no final block, 5 bytes left", ab().fixed(false, {'C', 256}).endIn(5).raw(), ""},
         {"no final block, 4 bytes left", ab().fixed(false, {'C', 256}).endIn(4).raw(), "ABC"},
         {"stored to the last byte", ab().stored(true, "CD").raw(), "ABCD"},
         {"code to the last bit", ab().fixed(true, toTheBit).raw(), "AB"},
         {"code before the last bit", ab().fixed(true, toTheBit).number(0, 1).raw(),
          "AB" + std::string(6, '\xC8')},
         {"run beyond its list", excess().code(0b000110, 6), "AB\xFE\xFF"},
         {"what such a run gave", excess().code(0b0011010, 7), "AB"}});
}

TEST(Gzip, DropsABlockWithAnUnknownCode) {
  const auto dropped = [](bool final) { return ab().sparse(final).code(1, 3).code(0b0111, 4); };
  check({{"final block", dropped(true).fixed(true, {'C', 256}), "AB"},
         {"only block", Member().sparse(true).code(1, 3).code(0b0111, 4), ""},
         {"sound block behind it", dropped(false).fixed(true, {'C', 256}), "ABC"},
         {"5 bytes left", dropped(false).endIn(5).raw(), ""},
         {"4 bytes left", dropped(false).endIn(4).raw(), "AB"},
         {"end of the input", ab().fixed(true, {'C', 'D', 'E', 'F', 'G'}).number(0, 5).raw(), "AB"},
         {"no literal codes, 100 bits consumed",
          noLiterals(false, 0, 257).ones(100).fixed(true, {'C', 256}), "ABC"}});
}

TEST(Gzip, StopsAtAnUnknownCodeLength) {
  check({{"of a literal", ab().dynamic(false, 0).code(7, 3).fixed(true, {'C', 256}), "AB"},
         {"of a distance", ab().sparse(false).code(7, 3).fixed(true, {'C', 256}), "AB"},
         {"in the first block", Member().dynamic(true, 0).code(7, 3), ""},
         {"no codes", ab().number(4, 3).number(0, 26).ones(100).fixed(true, {'C', 256}), "AB"}});
}

TEST(Gzip, TakesAnUnknownDistanceForZero) {
  using std::string_literals::operator""s;
  const auto noDistances = [] { return ab().sparse(true).code(0, 3).code(0b0110, 4); };
  check({{"unknown code", ab().sparse(true).code(1, 3).code(0b01101010, 8), "ABA\0\0\0A"s},
         {"no codes, 100 bits consumed", noDistances().ones(100).code(0b010, 3), "ABA\0\0\0A"s},
         {"no codes, fewer bits left", noDistances(), ""}});
}

TEST(Gzip, FailsAtWhatHasNoMeaning) {
  std::vector<std::uint32_t> nearlyFull(4096, 'A');
  nearlyFull.insert(nearlyFull.end(), {257, distance, 256});
  check({{"4200 literals", Member().fixed(true, std::vector<std::uint32_t>(4200, 'A')), ""},
         {"4099 bytes, the last by a match", Member().fixed(true, nearlyFull), ""},
         {"reserved type", ab().fixed(false, {'C', 256}).number(6, 3), ""},
         {"length symbol 286", ab().fixed(true, {'C', 286, distance, 256}), ""},
         {"length symbol 287", ab().fixed(true, {'C', 287, distance, 256}), ""},
         {"distance symbol 30", ab().fixed(true, {'C', 257, distance + 30, 256}), ""},
         {"distance symbol 31", ab().fixed(true, {'C', 257, distance + 31, 256}), ""},
         {"distance before the block", ab().fixed(true, {'C', 257, distance + 1, 256}), ""},
         {"repeat to 288", noLiterals(true, 31, 288).ones(100), "AB"},
         {"repeat beyond 288", noLiterals(true, 31, 289).ones(100), ""},
         {"repeat of nothing", ab().dynamic(true, 0).code(4, 3).ones(100), ""},
         {"repeat of the last literal's length", ab().sparse(true).code(4, 3).ones(100), ""},
         {"end in a length", ab().fixed(true, {'C', 'C', 'C', 284}).raw(), ""},
         {"end in a distance", ab().fixed(true, {'C', 'C', 'C', 257, distance + 28}).raw(), ""},
         {"end in a repeat", ab().dynamic(true, 0).code(6, 3).raw(), ""},
         {"end in HCLEN's lengths", ab().number(5, 3).number(0, 10).number(15, 27).raw(), ""},
         {"end in NLEN",
          ab().fixed(false, {200, 200, 200, 200, 256}).number(0, 32).number(0, 2).raw(), ""},
         {"end in a stored block", ab().stored(true, "CD", 3).raw(), ""}});
}

}  // namespace
}  // namespace kv500
