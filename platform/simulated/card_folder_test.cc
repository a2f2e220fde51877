#include "platform/simulated/card_folder.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <chrono>
#include <fstream>
#include <functional>
#include <numeric>

namespace simulated {
namespace {

namespace fs = std::filesystem;

/// A folder of its own for each test, gone when the test ends.
class CardFolder : public ::testing::Test {
 protected:
  CardFolder() {
    do {
      const auto now = std::chrono::system_clock::now().time_since_epoch().count();
      folder_ = fs::temp_directory_path() / ("card-folder-" + std::to_string(now));
    } while (!fs::create_directory(folder_));
  }
  ~CardFolder() override { fs::remove_all(folder_); }

  void write(const std::string& name, std::string_view content) {
    std::ofstream(folder_ / name, std::ios::binary) << content;
  }

  fs::path folder_;
};

std::string answer(Card& card, std::string_view command) {
  const Bytes response = card.exchange(parseHex(command).value()).response;
  return std::string(response.begin(), response.end());
}

/// A file's content, read in blocks until its end, by short file identifier in the application
/// or, for EF.GDO, in the master file.
std::string content(Card& card, bool application, const std::string& shortIdentifier) {
  answer(card, application ? "00A4040C06D27600000102" : "00A4000C023F00");
  std::string all;
  std::string block = answer(card, "00B08" + shortIdentifier + "0000");
  for (int i = 1; block.size() > 2; ++i) {
    all += block.substr(0, block.size() - 2);
    const Bytes next = {0x00, 0xB0, static_cast<std::uint8_t>(i), 0x00, 0x00};
    const Bytes response = card.exchange(next).response;
    block.assign(response.begin(), response.end());
  }
  EXPECT_EQ(block, all.empty() ? "\x6A\x82" : std::string("\x6B\x00", 2));
  return all;
}

unsigned bigEndian(const std::string& file, std::size_t at) {
  return static_cast<std::uint8_t>(file.at(at)) * 256u + static_cast<std::uint8_t>(file.at(at + 1));
}

/// The text of exactly one gzip member; "damaged" if the bytes are anything else.
std::string gunzip(std::string bytes) {
  std::string text(100000, '\0');
  z_stream stream{};
  inflateInit2(&stream, 15 + 16);
  stream.next_in = reinterpret_cast<Bytef*>(bytes.data());
  stream.avail_in = static_cast<uInt>(bytes.size());
  stream.next_out = reinterpret_cast<Bytef*>(text.data());
  stream.avail_out = static_cast<uInt>(text.size());
  const bool whole = inflate(&stream, Z_FINISH) == Z_STREAM_END && stream.avail_in == 0;
  text.resize(text.size() - stream.avail_out);
  inflateEnd(&stream);
  return whole ? text : "damaged";
}

/// Text that hardly compresses: `size` letters out of 64.
std::string noise(std::size_t size) {
  std::string text;
  for (std::uint32_t state = 1; text.size() < size; state = state * 1664525 + 1013904223)
    text += static_cast<char>(' ' + (state >> 26));
  return text;
}

TEST_F(CardFolder, MakesTheInsuranceFilesFromXml) {
  const struct {
    std::string text;
    std::size_t pdSize, vdSize;
  } rows[] = {
      {"<a/>", 850, 1250}, {noise(1200), 1024, 1250}, {noise(3599), 2816, 2816}, {"", 850, 1250}};
  for (const auto& row : rows) {
    write("VD.xml", row.text);
    write("PD.xml", row.text);
    Card card = loadCardFolder(folder_);

    const std::string pd = content(card, true, "1");
    ASSERT_EQ(pd.size(), row.pdSize);
    const unsigned length = bigEndian(pd, 0);
    EXPECT_EQ(gunzip(pd.substr(2, length)), row.text);
    EXPECT_EQ(pd.find_first_not_of('\0', 2 + length), std::string::npos);
    EXPECT_EQ(static_cast<int>(pd[2 + 10]) & 1, 1) << "the first DEFLATE block is the last one";

    const std::string vd = content(card, true, "2");
    ASSERT_EQ(vd.size(), row.vdSize);
    EXPECT_EQ(bigEndian(vd, 0), 8u);
    EXPECT_EQ(vd.substr(4, 4), "\xFF\xFF\xFF\xFF");
    const unsigned last = bigEndian(vd, 2);
    EXPECT_EQ(gunzip(vd.substr(8, last - 8 + 1)), row.text);
    EXPECT_EQ(vd.find_first_not_of('\0', last + 1), std::string::npos);
  }
}

TEST_F(CardFolder, RawFilesStandAsTheyAre) {
  write("EF.GDO", "gdo");
  write("EF.StatusVD", "status");
  write("EF.VD", "raw general");
  write("VD.xml", noise(60000));  // Would be too large, were it looked at.
  write("EF.PD", "raw personal");
  write("ATR", "3b 9F\r\n\t00\r\n");
  write("overrides.txt", "00B0820001 6A81\n");
  Card card = loadCardFolder(folder_);
  EXPECT_EQ(content(card, false, "2"), "gdo");
  EXPECT_EQ(content(card, true, "C"), "status");
  EXPECT_EQ(content(card, true, "2"), "raw general");
  EXPECT_EQ(content(card, true, "1"), "raw personal");
  EXPECT_EQ(card.atr(), (Bytes{0x3B, 0x9F, 0x00}));
  EXPECT_EQ(answer(card, "00B0820001"), "\x6A\x81");
}

TEST_F(CardFolder, DefaultsFitTheKindOfCard) {
  const auto checksum = [](const Bytes& atr) {
    return std::accumulate(atr.begin() + 1, atr.end(), 0, std::bit_xor<>());
  };
  write("EF.StatusVD", "lies in the application that isn't there");
  Card other = loadCardFolder(folder_);
  EXPECT_EQ(answer(other, "00A4040C06D27600000102"), "\x6A\x82");
  EXPECT_EQ(content(other, false, "C"), "");
  const std::string otherGdo = content(other, false, "2");
  EXPECT_EQ(otherGdo.size(), 12u);
  EXPECT_NE(otherGdo.substr(2, 2), "\x80\x27");
  EXPECT_EQ(checksum(other.atr()), 0);

  fs::remove(folder_ / "EF.StatusVD");
  write("PD.xml", "<a/>");
  Card health = loadCardFolder(folder_);
  const std::string gdo = content(health, false, "2");
  EXPECT_EQ(gdo.size(), 12u);
  EXPECT_EQ(gdo.substr(0, 4), "\x5A\x0A\x80\x27");
  EXPECT_EQ(content(health, true, "C").size(), 25u);
  EXPECT_EQ(content(health, true, "2"), "") << "no VD was given";
  EXPECT_EQ(checksum(health.atr()), 0);
  EXPECT_NE(health.atr(), other.atr());
}

TEST_F(CardFolder, SaysWhatIsWrong) {
  const struct {
    std::string name, content, message;
  } rows[] = {
      {"EF.VD", noise(32769), "is larger than 32768 bytes"},
      {"VD.xml", noise(65537), "is larger than 65536 bytes"},
      {"PD.xml", noise(65536), "takes more room than a card has, even when compressed"},
      {"ATR", "", "an ATR has 1 to 33 bytes, this one has 0"},
      {"ATR", std::string(68, '3'), "an ATR has 1 to 33 bytes, this one has 34"},
      {"ATR", "3B-00", "is not hexadecimal text with two digits a byte"},
      {"overrides.txt", "\n00A4 wait\n",
       "line 2: \"wait\" needs a number of milliseconds, 0 to 600000"},
      {"overrides.txt", std::string(1048577, '\n'), "is larger than 1048576 bytes"},
  };
  const auto expectError = [](const fs::path& folder, const fs::path& named,
                              const std::string& message) {
    try {
      loadCardFolder(folder);
      ADD_FAILURE() << named << " passes; expected: " << message;
    } catch (const CardFolderError& error) {
      EXPECT_EQ(error.message, named.string() + ": " + message);
    }
  };
  for (const auto& row : rows) {
    write(row.name, row.content);
    expectError(folder_, folder_ / row.name, row.message);
    fs::remove(folder_ / row.name);
  }
  for (const char* name : {"EF.PD", "ATR", "overrides.txt"}) {
    fs::create_directory(folder_ / name);
    expectError(folder_, folder_ / name, "is not a file");
    fs::remove(folder_ / name);
  }
  write("file", "");
  expectError(folder_ / "file", folder_ / "file", "is not a folder");
  expectError(folder_ / "absent", folder_ / "absent", "there is no such folder");
}

TEST(ExampleCards, AreWhatTheirReadmeSays) {
  const fs::path examples = KV500_EXAMPLE_CARDS;
  for (const char* name : {"mustermann", "familienversichertes-kind", "sonderzeichen"}) {
    Card card = loadCardFolder(examples / name);
    const std::string pd = content(card, true, "1");
    const std::string vd = content(card, true, "2");
    EXPECT_GE(bigEndian(pd, 0), 256u) << name;  // Shorter personal data are refused by readers.
    EXPECT_TRUE(gunzip(pd.substr(2, bigEndian(pd, 0))).ends_with("chertendatenXML>")) << name;
    EXPECT_TRUE(gunzip(vd.substr(8, bigEndian(vd, 2) - 7)).ends_with("gsdatenXML>")) << name;
  }
  Card damaged = loadCardFolder(examples / "beschaedigt");
  const std::string pd = content(damaged, true, "1");
  EXPECT_GE(bigEndian(pd, 0), 256u);
  EXPECT_EQ(gunzip(pd.substr(2, bigEndian(pd, 0))), "damaged");

  Card bank = loadCardFolder(examples / "bankkarte");
  EXPECT_EQ(answer(bank, "00A4040C06D27600000102"), "\x6A\x82");
  EXPECT_EQ(content(bank, false, "2").substr(2, 2), "\x67\x28");
}

}  // namespace
}  // namespace simulated
