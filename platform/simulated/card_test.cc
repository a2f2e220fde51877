// What a simulated card promises to its makers, beyond what the service itself uses.
#include "platform/simulated/card_folder.h"

#include <algorithm>
#include <numeric>

#include "tests/world_test.h"

namespace simulated {
namespace {

constexpr char hca[] = "00A4040C06D27600000102";  // SELECT of the health care application.

std::string toHex(const Bytes& bytes) {
  constexpr char digits[] = "0123456789ABCDEF";
  std::string text;
  for (const std::uint8_t byte : bytes)
    text.append({digits[byte >> 4], digits[byte & 15]});
  return text;
}

class CardTest : public kv500::WorldTest {
 protected:
  /// The answers of a freshly inserted card, joined. "HCA" selects the application.
  std::string answers(const std::string& commands) const {
    Card card = loadCardFolder(folder);
    std::istringstream words(commands);
    std::string all;
    for (std::string word; words >> word;)
      all += toHex(card.exchange(*parseHex(word == "HCA" ? hca : word)).response) + " ";
    return all.substr(0, all.size() - 1);
  }
  /// What is wrong with the folder, without the path of `named` at the beginning.
  static std::string fault(const std::filesystem::path& named, const std::filesystem::path& given) {
    try {
      loadCardFolder(given);
    } catch (const CardFolderError& error) {
      const std::string path = named.string() + ": ";
      return error.message.substr(error.message.starts_with(path) ? path.size() : 0);
    }
    return "";
  }
};

TEST_F(CardTest, AnswersAsACardDoes) {
  std::string counting;
  for (int i = 0; i < 600; ++i)
    counting += static_cast<char>(i % 251);  // No two blocks of 256 bytes are the same.
  writeFile("EF.GDO", "012");
  writeFile("EF.StatusVD", "");
  writeFile("EF.VD", counting);
  writeFile("VD.xml", std::string(65537, ' '));  // Too large, if it were read.
  writeFile("overrides.txt",
            "# A comment.\r\n\r\n00b0820005 6a81\r\n00B0820005\t6A88 \r\n"
            "00A4040C06D2760000010200 9000\r\n00 01");
  const struct {
    std::string commands, answers;
  } rows[] = {
      // Commands that are no short APDU of the two instructions.
      {"00B082 00A4000C023F 00A4000C023F000000 00A4000C013F", "6700 6700 6700 6700"},
      {"00B08200 00B08200010000 80B082000C 0084000008", "6700 6700 6E00 6D00"},
      // The selection lasts; a failed selection changes nothing.
      {"00A40000023F0000 00A4010C023F00 00A4000F023F00", "9000 6A86 6A86"},
      {"00A4000C022F02 00A4000C022F03 00A4020C023F00", "9000 6A82 6A82"},
      {"HCA 00A4000C022F02 00A4040C02D276 00B0820103", "9000 6A82 6A82 0102039000"},
      {"HCA 00A4040C 00B0820001 HCA 00A4000C 00B0820001", "9000 9000 309000 9000 9000 309000"},
      // Reading: the ends of a file, and which file is read.
      {"00B0820003 00B0820004 00B0820000", "3031329000 3031326282 3031329000"},
      {"00B0820200 00B0820202 00B0820300", "329000 326282 6B00"},
      {"00B0830000 00B0A20000 00B0000000 00B0800000", "6A82 6A86 6986 6986"},
      {"00A4020C022F02 00B0000201", "9000 329000"},
      {"00B0820001 00B0830000 00B0800201", "309000 6A82 329000"},
      {"00B0820001 00A4000C023F00 00B0000000", "309000 9000 6986"},
      {"HCA 00B08C0000 00A4000C02D002 00B0025602", "9000 6B00 9000 60619000"},
      {"HCA 00B0820001 00B0025703 00B0010002 00B07FFF00", "9000 009000 616282 05069000 6B00"},
      // Overrides: in turn, the last one stays, and without an effect on the card.
      {"00B0820005 00B0820005 00B0820005 00", "6A81 6A88 6A88 01"},
      {"00A4040C06D2760000010200 00B0820001", "9000 309000"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(answers(row.commands), row.answers) << row.commands;
  Card card = loadCardFolder(folder);
  std::string all;
  for (const char* command : {hca, "00B0820001", "00B0820005", "", "00B0000001", "00B0820005"}) {
    if (*command == '\0')
      card.reset();  // The turns of the overrides go on.
    all += toHex(card.exchange(*parseHex(command)).response) + " ";
  }
  EXPECT_EQ(all, "9000 009000 6A81 6700 6986 6A88 ");
  EXPECT_EQ(toHex(card.exchange(*parseHex("00B0820001")).response), "309000");
}

TEST_F(CardTest, InsuranceFilesEndWithTheLastByteThatTheirHeaderCounts) {
  const auto number = [](const Bytes& file, std::size_t at) {
    return static_cast<std::size_t>(file[at] << 8 | file[at + 1]);
  };
  for (const std::size_t size : {4u, 494u, 1978u, 3500u}) {
    const std::string text = kv500::denseText(size);
    const Bytes pd = makePdFile({text.begin(), text.end()}).value();
    const Bytes data(pd.begin() + 2, pd.end());
    ASSERT_EQ(number(pd, 0), data.size());
    EXPECT_EQ(data[10] & 1, 1) << "the first DEFLATE block is the last one";
    EXPECT_EQ(static_cast<std::size_t>(data.end()[-3] << 8 | data.end()[-4]), size);
    Bytes expected{0, 8, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF};
    expected.insert(expected.end(), data.begin(), data.end());
    Bytes vd = makeVdFile({text.begin(), text.end()}).value();
    EXPECT_EQ(number(vd, 2), vd.size() - 1);
    vd[2] = vd[3] = 0;
    EXPECT_EQ(vd, expected);
    // With the protected data behind the general data.
    vd = makeVdFile({text.begin(), text.end()}, Bytes{'x'}).value();
    EXPECT_EQ(number(vd, 4), number(vd, 2) + 1);
    EXPECT_EQ(number(vd, 6), vd.size() - 1);
    const auto border = vd.begin() + static_cast<std::ptrdiff_t>(number(vd, 4));
    EXPECT_EQ(Bytes(vd.begin() + 8, border), data);
    const Bytes other = makePdFile({'x'}).value();
    EXPECT_EQ(Bytes(border, vd.end()), Bytes(other.begin() + 2, other.end()));
  }
}

TEST_F(CardTest, DefaultsFitTheKindOfCard) {
  EXPECT_EQ(answers("00B0820000 HCA 00B08C0000"), "5A0A999900000012345678909000 6A82 6A82");
  const Bytes otherAtr = loadCardFolder(folder).atr();
  writeFile("EF.PD", "raw");
  EXPECT_EQ(answers("00B0820000 HCA 00B08C0000 00B0820000 00B0810000"),
            "5A0A802769999912345678909000 9000 "
            "303230313930313031303030303030005002000000300000049000 6A82 7261779000");
  // The files that a health card has besides. Nobody can read the protected data.
  EXPECT_EQ(answers("00B0910002 00B09D0002 00A4000C022F11 00A4000C022F01"),
            "EF2B9000 E0109000 9000 9000");
  EXPECT_EQ(answers("HCA 00B0830000 00B0010000 00A4020C02D003 00B0000001"),
            "9000 6982 6982 9000 6982");
  for (const Bytes& atr : {otherAtr, loadCardFolder(folder).atr()})  // ISO/IEC 7816-3: checksum.
    EXPECT_EQ(std::accumulate(atr.begin(), atr.end(), 0, std::bit_xor<>()), 0x3B);
  EXPECT_NE(otherAtr, loadCardFolder(folder).atr());
  writeFile("ATR", "3b 9F\r\n\t00\r\n");
  EXPECT_EQ(loadCardFolder(folder).atr(), (Bytes{0x3B, 0x9F, 0x00}));
}

TEST_F(CardTest, SaysWhatIsWrongWithAFolder) {
  const std::string longest(2 * 65538, '0');
  EXPECT_NO_THROW(parseOverrides("00 " + longest));
  const std::string wait = "line 2: \"wait\" needs a number of milliseconds, 0 to 600000";
  const struct {
    std::string name, content, message;
  } rows[] = {
      {"EF.VD", std::string(32769, ' '), "is larger than 32768 bytes"},
      {"VD.xml", std::string(65537, ' '), "is larger than 65536 bytes"},
      {"PD.xml", kv500::denseText(65536), "takes more room than a card has, even when compressed"},
      {"ATR", "", "an ATR has 1 to 33 bytes, this one has 0"},
      {"ATR", std::string(68, '3'), "an ATR has 1 to 33 bytes, this one has 34"},
      {"ATR", "3B-00", "is not hexadecimal text with two digits a byte"},
      {"overrides.txt", std::string(1048577, '\n'), "is larger than 1048576 bytes"},
      {"overrides.txt", "\n00A 90",
       "line 2: the command is not hexadecimal with two digits a byte"},
      {"overrides.txt", "#\n00A4", "line 2: nothing says what happens at the command"},
      {"overrides.txt", "\n00A4 FAIL",
       "line 2: the response is neither hexadecimal nor \"fail\", \"wait N\" or \"remove\""},
      {"overrides.txt", "\n00A4 90 00",
       "line 2: more words than a command and what happens; bytes stand without blanks"},
      {"overrides.txt", "\n00A4 " + longest + "00",
       "line 2: the response is longer than 65538 bytes"},
      {"overrides.txt", "\n00A4 wait\n", wait},
      {"overrides.txt", "\n00A4 wait 5 6", wait},
      {"overrides.txt", "\n00A4 wait 5s", wait},
      {"overrides.txt", "\n00A4 wait 600001", wait},
      {"overrides.txt", "\n00A4 wait 99999999999", wait},
  };
  for (const auto& row : rows) {
    writeFile(row.name, row.content);
    EXPECT_EQ(fault(folder / row.name, folder), row.message);
    std::filesystem::remove(folder / row.name);
  }
  std::filesystem::create_directory(folder / "ATR");
  EXPECT_EQ(fault(folder / "ATR", folder), "is not a file");
  writeFile("file", "");
  EXPECT_EQ(fault(folder / "file", folder / "file"), "is not a folder");
  EXPECT_EQ(fault(folder / "no", folder / "no"), "there is no such folder");
}

}  // namespace
}  // namespace simulated
