#include "card/card_kind.h"
#include "card/commands.h"
#include "card/insurance_data.h"
#include "tests/world_test.h"

namespace kv500 {
namespace {

/// The commands to a card; one letter stands for each.
const std::map<std::string, char> commandLetters = {
    {"00A4000C023F00", 'M'},          // SELECT MF
    {"00B082000C", 'G'},              // READ BINARY of EF.GDO
    {"00A4040C06D27600000102", 'H'},  // SELECT HCA
    {"00B08C0019", 'S'},              // READ BINARY of EF.StatusVD
    {"00B0820008", 'v'},  // READ BINARY of EF.VD's header; of EF.GDO with another length
    {"00B0820000", 'V'},  // READ BINARY of EF.VD's start
    {"00B0810000", 'P'},  // READ BINARY of EF.PD's start
    {"00B0010000", '1'},  // READ BINARY of further blocks
    {"00B0020000", '2'},
};

std::string hexText(const ByteVector& bytes) {
  std::ostringstream text;
  text << std::hex << std::uppercase;
  for (const std::uint8_t byte : bytes) {
    text << (byte >> 4) << (byte & 0xF);
  }
  return text.str();
}

/// A card without a reader. `sent` holds the commands that it got.
class CardAtHand final : public CardChannel {
 public:
  /// `overrides` has one line per command, with the command's letter instead of its bytes.
  explicit CardAtHand(const std::string& overrides, const std::string& vd = vdXml,
                      const std::string& pd = pdXml("A123456789"))
      : card(healthCard(vd, pd, inBytes(overrides))) {}

  bool transmitApdu(const ByteVector& command, ByteVector& response) override {
    const auto letter = commandLetters.find(hexText(command));
    sent += letter != commandLetters.end() ? std::string(1, letter->second) : hexText(command);
    const simulated::Exchange exchange = card.exchange(command);
    isGone |= exchange.outcome == simulated::Exchange::Outcome::Removed;
    if (isGone || exchange.outcome == simulated::Exchange::Outcome::Failed) {
      return false;
    }
    response = exchange.response;
    return true;
  }
  bool readAtr(ByteVector& value) override {
    value = card.atr();
    return hasAtr;
  }

  simulated::Card card;
  bool hasAtr = true;
  bool isGone = false;
  std::string sent;

 private:
  static std::string inBytes(const std::string& overrides) {
    std::string text = "\n" + overrides;
    for (const auto& [bytes, letter] : commandLetters) {
      const std::string line = {'\n', letter, ' '};
      for (std::size_t at = text.find(line); at != text.npos; at = text.find(line, at)) {
        text.replace(at + 1, 1, bytes);
      }
    }
    return text;
  }
};

/// A response: these data in hexadecimal, padded with 11 to that many bytes, and a status word.
std::string response(const std::string& data, std::size_t size, const std::string& status) {
  std::string text = data;
  while (text.size() < 2 * size) {
    text += "11";
  }
  return text + status;
}

TEST(CardReading, TellsHealthCardsFromOthers) {
  constexpr auto health = CardKind::HealthCard;
  constexpr auto other = CardKind::OtherCard;
  constexpr auto unreadable = CardKind::Unreadable;
  const struct {
    std::string overrides;
    CardKind kind;
    std::string sent;
  } rows[] = {
      {"", health, "MG"},
      {"M 9001", health, "MG"},
      {"M 6A82", health, "MH"},
      {"M fail", health, "MH"},
      {"M 6A82\nH 9001", health, "MH"},
      {"M 6A82\nH 6A82", other, "MH"},
      {"M 6A82\nH fail", unreadable, "MH"},
      {"M fail\nH fail", unreadable, "MH"},
      {"M remove", unreadable, "MH"},
      {"G 6A82", other, "MG"},
      {"G fail", health, "MGH"},
      {"G 90", health, "MGH"},  // A response without a status word is a failed exchange.
      {"G 6C0C\nG 5A0A80279000", health, "MGG"},
      {"G 6C0C\nG 6C0C", other, "MGG"},
      {"G 6C0C\nG fail\nH 6A82", other, "MGGH"},
      {"G 6108", health, "MGv"},
      {"G 6C08\nv 5A0A80276282", health, "MGv"},
      {"G 5A0A809000", other, "MG"},
      {"G 5A0A802700", other, "MG"},  // The status word is not data.
      {"G 5A0A80279000", health, "MG"},
      {"G 5A0A80276282", health, "MG"},
      {"G 5A0A8026009000", other, "MG"},
      {"G 5A0A8127009000", other, "MG"},
      {"G 00008027009000", health, "MG"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.overrides);
    CardAtHand card(row.overrides);
    EXPECT_EQ(detectCardKind(card), row.kind);
    EXPECT_EQ(card.sent, row.sent);
  }
  CardAtHand card("");
  card.hasAtr = false;
  EXPECT_EQ(detectCardKind(card), unreadable);
  EXPECT_EQ(card.sent, "");
}

TEST(CardReading, EveryLimitHasTwoSides) {
  const struct {
    std::string overrides;
    bool isRead;
    std::string sent;
  } rows[] = {
      {"", true, "HSvVHSP1"},
      {"H 6A82", false, "H"},
      {"H fail", false, "H"},
      {"S 6A82", true, "HSvVHSP1"},
      {"S fail", false, "HS"},
      // The header of EF.VD: four offsets. The sum of the two lengths is 0 to 32768.
      {"v fail", false, "HSv"},
      {"v 00080010FFFFFFFF6282", false, "HSv"},
      {"v 00080010FFFFFF9000", false, "HSv"},
      {"v 00000000000000009000", true, "HSvVHSP1"},
      {"v 00090008FFFFFFFF9000", false, "HSv"},
      {"v 00010000000000019000", true, "HSvVHSP1"},
      {"v 00008000FFFFFFFF9000\n1 fail", false, "HSvV1"},
      {"v 00008001FFFFFFFF9000", false, "HSv"},
      {"v 0000FFFF0000FFFF9000", false, "HSv"},
      // The first read of EF.VD: 8 to 270 bytes. If it covers the length, it is the only read.
      {"V 6A82", false, "HSvV"},
      {"V " + response("", 7, "9000"), false, "HSvV"},
      {"V " + response("", 8, "9000") + "\n1 fail", false, "HSvV1"},
      {"V " + response("", 270, "9000"), false, "HSvVHSP1"},
      {"V " + response("", 271, "9000"), false, "HSvV"},
      {"V " + response("", 256, "6281"), false, "HSvV"},
      {"v 000800F8001000189000\nV " + response("", 256, "9000") + "\n1 fail", false, "HSvVHSP1"},
      {"v 000800F9001000189000\nV " + response("", 256, "9000") + "\n1 fail", false, "HSvV1"},
      // The first read of EF.PD: 3 to 270 bytes, with a length of 256 to 32768 in them.
      {"P 01009000", false, "HSvVHSP"},
      {"P 0100119000\n1 fail", false, "HSvVHSP1"},
      {"P " + response("0120", 270, "9000") + "\n1 fail", false, "HSvVHSP1"},
      {"P " + response("0120", 271, "9000"), false, "HSvVHSP"},
      {"P " + response("0120", 256, "6A82"), false, "HSvVHSP"},
      {"P " + response("00FF", 200, "9000"), false, "HSvVHSP"},
      {"P " + response("0100", 200, "9000") + "\n1 fail", false, "HSvVHSP1"},
      {"P " + response("8000", 256, "9000") + "\n1 fail", false, "HSvVHSP1"},
      {"P " + response("8001", 256, "9000"), false, "HSvVHSP"},
      // A length that ends with a block, and one more byte.
      {"P " + response("01FE", 256, "9000") + "\n1 " + response("", 256, "9000"), false,
       "HSvVHSP1"},
      {"P " + response("01FF", 256, "9000") + "\n1 " + response("", 256, "9000"), false,
       "HSvVHSP12"},
      // Further blocks: 3 to 270 bytes with any status.
      {"1 11119000", false, "HSvVHSP1"},
      {"1 6A82", false, "HSvVHSP1"},
      {"1 1111116A82\n2 fail", false, "HSvVHSP12"},
      {"P " + response("0400", 256, "9000") + "\n1 " + response("", 270, "6282") + "\n2 fail",
       false, "HSvVHSP12"},
      {"1 " + response("", 271, "9000"), false, "HSvVHSP1"},
      {"V remove", false, "HSvV"},
      {"1 remove", false, "HSvVHSP1"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.overrides.substr(0, 60));
    CardAtHand card(row.overrides);
    std::string daten = "kept";
    EXPECT_EQ(readInsuranceData(card, daten), row.isRead);
    EXPECT_EQ(daten == "kept", !row.isRead);
    EXPECT_EQ(card.sent, row.sent);
  }
}

TEST(CardReading, NoOffsetPassesTheHighestThatACommandCanName) {
  std::string overrides = "P " + response("8000", 256, "9000") + "\n";
  for (std::uint8_t block = 1; block <= 0x80; ++block) {
    overrides += "00B0" + hexText({block}) + "0000 1111119000\n";
  }
  CardAtHand card(overrides);
  std::string cardId;
  EXPECT_FALSE(readCardId(card, cardId));
  EXPECT_TRUE(card.sent.ends_with("00B07F0000"));
}

TEST(CardReading, ComposesBothFilesOrNothing) {
  const std::string large = denseText(900);
  const struct {
    std::string vd, pd, daten;
  } rows[] = {
      {"<VD><N>" + large + "</N></VD>", "<PD><P>" + large + "</P></PD>",
       "{\n\"AllgemeineVersicherungsdaten\":\n{\n\"N\":\"" + large +
           "\"\n},\n\"PersoenlicheVersicherungsdaten\":\n{\n\"P\":\"" + large + "\"\n}\n}"},
      {"<VD/>", pdXml("A"), ""},
      {"<VD><N>", pdXml("A"), ""},
      {"<VD>" + std::string(3600, ' ') + "<N/></VD>", pdXml("A"), ""},
      {vdXml, "<PD>" + large, ""},
  };
  for (const auto& row : rows) {
    CardAtHand card("", row.vd, row.pd);
    std::string daten;
    EXPECT_EQ(readInsuranceData(card, daten), !row.daten.empty()) << row.vd;
    EXPECT_EQ(daten, row.daten);
  }
}

TEST(CardReading, TheIdOfACardStandsInItsPersonalData) {
  const struct {
    std::string overrides, pd, id;
  } rows[] = {
      {"", pdXml("A123456789"), "A123456789"},
      {"", pdXml(""), ""},
      {"", "<PD>" + denseText(500), ""},
      {"P fail", pdXml("A"), "kept"},
      {"P " + response("0120", 270, "9000") + "\n1 " + response("", 270, "9000"), pdXml("A"),
       "kept"},
  };
  for (const auto& row : rows) {
    CardAtHand card(row.overrides, vdXml, row.pd);
    std::string cardId = "kept";
    EXPECT_EQ(readCardId(card, cardId), row.id.starts_with("A")) << row.pd;
    EXPECT_EQ(cardId, row.id) << row.pd;
    EXPECT_TRUE(card.sent.starts_with("HSP")) << card.sent;
  }
}

TEST(CardReading, AFailedExchangeLeavesTheOutputsAsTheyWere) {
  CardAtHand card("M fail\nG 61\nH 61626A82");
  ByteVector answer{1, 2, 3};
  StatusWord status{4, 5};
  EXPECT_FALSE(exchangeApdu(card, selectMf, answer, status));
  EXPECT_FALSE(exchangeApdu(card, readBinaryGdo, answer, status)) << "one byte";
  EXPECT_EQ(answer, (ByteVector{1, 2, 3}));
  EXPECT_EQ(status.sw1 << 8 | status.sw2, 0x0405);
  EXPECT_TRUE(exchangeApdu(card, selectHca, answer, status));
  EXPECT_EQ(answer, (ByteVector{0x61, 0x62}));
  EXPECT_EQ(status.sw1 << 8 | status.sw2, 0x6A82);
}

}  // namespace
}  // namespace kv500
