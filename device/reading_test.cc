#include "tests/device_test.h"

namespace kv500 {
namespace {

std::string hexText(const simulated::Bytes& bytes) {
  std::ostringstream text;
  text << std::hex << std::uppercase;
  for (const std::uint8_t byte : bytes) {
    text << (byte >> 4) << (byte & 0xF);
  }
  return text.str();
}

/// A response: these data in hexadecimal, filled up with 11 to so many bytes, and a status word.
std::string response(const std::string& data, std::size_t size, const std::string& status) {
  std::string text = data;
  while (text.size() < 2 * size) {
    text += "11";
  }
  return text + status;
}

const std::string selectMf = "00A4000C023F00";
const std::string readGdo = "00B082000C";
const std::string selectHca = "00A4040C06D27600000102";
const std::string readStatusVd = "00B08C0019";
const std::string readVdHeader = "00B0820008";
const std::string readVd = "00B0820000";
const std::string readPd = "00B0810000";
const std::string block1 = "00B0010000";
const std::string block2 = "00B0020000";

class ReadingTest : public DeviceTest {
 protected:
  /// Reads a card with these overrides: "data", "null" or "error". `commands` holds what was sent.
  std::string read(const std::string& overrides, const std::string& vd = vdXml) {
    simulated::resetWorld();
    makeDevice();
    attachReader();
    world().readers.insert(healthCard(vd, pdXml("A123456789"), overrides));
    commands.clear();
    world().readers.setTrace(
        [this](const auto& command, const auto&) { commands.push_back(hexText(command)); });
    EXPECT_EQ(state(), "card");
    const std::string answer = ask("read");
    const bool isNull = answer.ends_with("\"daten\": null}");
    const bool isOk = answer.find("\"status\": \"OK\"") != std::string::npos;
    EXPECT_TRUE(isOk || isNull) << answer;
    return !isOk ? "error" : isNull ? "null" : "data";
  }

  std::vector<std::string> commands;
};

TEST_F(ReadingTest, SendsExactlyTheseCommands) {
  EXPECT_EQ(read(""), "data");
  const std::vector<std::string> expected{selectMf,     readGdo, selectHca, readStatusVd,
                                          readVdHeader, readVd,  selectHca, readStatusVd,
                                          readPd,       block1};
  EXPECT_EQ(commands, expected);
  EXPECT_EQ(read("", "<VD><N>" + denseText(900) + "</N></VD>"), "data");
  EXPECT_EQ(commands[6], block1) << "a larger EF.VD takes further blocks";
}

TEST_F(ReadingTest, TellsHealthCardsFromOthers) {
  const std::string health = "5A0A8027";
  const struct {
    std::string overrides, result, lastCommand;
  } rows[] = {
      {selectMf + " 9001", "data", block1},
      {selectMf + " 6A82", "data", block1},
      {selectMf + " fail", "data", block1},
      {selectMf + " 6A82\n" + selectHca + " 6A82", "null", selectHca},
      {selectMf + " 6A82\n" + selectHca + " fail", "error", selectHca},
      {selectMf + " fail\n" + selectHca + " fail", "error", selectHca},
      {selectMf + " remove", "error", selectMf},
      {readGdo + " 6A82", "null", readGdo},
      {readGdo + " fail", "data", block1},
      {readGdo + " 90", "data", block1},  // No status word is a failed exchange.
      {readGdo + " 6C0C\n" + readGdo + " " + health + "9000", "data", block1},
      {readGdo + " 6C0C\n" + readGdo + " fail\n" + selectHca + " 6A82", "null", selectHca},
      {readGdo + " 6108", "data", block1},
      {readGdo + " 6105\n00B0820005 6282", "null", "00B0820005"},
      {readGdo + " 5A0A809000", "null", readGdo},
      {readGdo + " " + health + "9000", "data", block1},
      {readGdo + " " + health + "6282", "data", block1},
      {readGdo + " 5A0A8026009000", "null", readGdo},
      {readGdo + " 00008027009000", "data", block1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.overrides);
    EXPECT_EQ(read(row.overrides), row.result);
    EXPECT_EQ(commands.back(), row.lastCommand);
  }
}

TEST_F(ReadingTest, EveryLimitHasTwoSides) {
  const struct {
    std::string overrides, result, lastCommand;
  } rows[] = {
      {selectHca + " 6A82", "error", selectHca},
      {selectHca + " fail", "error", selectHca},
      {readStatusVd + " 6A82", "data", block1},
      {readStatusVd + " fail", "error", readStatusVd},
      // The header of EF.VD: four offsets, whose sum of lengths is 0 to 32768.
      {readVdHeader + " fail", "error", readVdHeader},
      {readVdHeader + " 00080010FFFFFFFF6282", "error", readVdHeader},
      {readVdHeader + " 00080010FFFFFF9000", "error", readVdHeader},
      {readVdHeader + " 00000000000000009000", "data", block1},
      {readVdHeader + " 00090008FFFFFFFF9000", "error", readVdHeader},
      {readVdHeader + " 00010000000000019000", "data", block1},
      {readVdHeader + " 00008000FFFFFFFF9000", "error", "00B0050000"},
      {readVdHeader + " 00008001FFFFFFFF9000", "error", readVdHeader},
      {readVdHeader + " 0000FFFF0000FFFF9000", "error", readVdHeader},
      // The first read of EF.VD: 8 to 270 bytes.
      {readVd + " " + response("", 7, "9000"), "error", readVd},
      {readVd + " " + response("", 8, "9000") + "\n" + block1 + " fail", "error", block1},
      {readVd + " " + response("", 270, "9000"), "error", block1},
      {readVd + " " + response("", 271, "9000"), "error", readVd},
      {readVd + " " + response("", 256, "6281"), "error", readVd},
      // The first read of EF.PD: 3 to 270 bytes, and a length of 256 to 32768 in them.
      {readPd + " 01009000", "error", readPd},
      {readPd + " 0100119000\n" + block1 + " fail", "error", block1},
      {readPd + " " + response("0120", 270, "9000") + "\n" + block1 + " fail", "error", block1},
      {readPd + " " + response("0120", 271, "9000"), "error", readPd},
      {readPd + " " + response("0120", 256, "6A82"), "error", readPd},
      {readPd + " " + response("00FF", 200, "9000"), "error", readPd},
      {readPd + " " + response("0100", 200, "9000") + "\n" + block1 + " fail", "error", block1},
      {readPd + " " + response("8000", 256, "9000") + "\n" + block1 + " fail", "error", block1},
      {readPd + " " + response("8001", 256, "9000"), "error", readPd},
      // Further blocks: 3 to 270 bytes with whatever status.
      {readPd + " " + response("0400", 256, "9000") + "\n" + block1 + " 11119000", "error", block1},
      {readPd + " " + response("0400", 256, "9000") + "\n" + block1 + " 1111116A82\n" + block2 +
           " fail",
       "error", block2},
      {readPd + " " + response("0400", 256, "9000") + "\n" + block1 + " " +
           response("", 270, "6282") + "\n" + block2 + " fail",
       "error", block2},
      {readPd + " " + response("0400", 256, "9000") + "\n" + block1 + " " +
           response("", 271, "9000"),
       "error", block1},
      {block1 + " 6A82", "error", block1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.overrides.substr(0, 60));
    EXPECT_EQ(read(row.overrides), row.result);
    EXPECT_EQ(commands.back(), row.lastCommand);
  }
}

TEST_F(ReadingTest, NoOffsetPassesTheHighestThatACommandCanName) {
  std::string overrides = readPd + " " + response("8000", 256, "9000") + "\n";
  for (std::uint8_t block = 1; block <= 0x80; ++block) {
    overrides += "00B0" + hexText({block}) + "0000 1111119000\n";
  }
  EXPECT_EQ(read(overrides), "error");
  EXPECT_EQ(commands.back(), "00B07F0000");
}

TEST_F(ReadingTest, NothingIsLeftOfACardThatCannotBeRead) {
  for (const char* overrides : {"00B0820000 remove", "00B0010000 remove", "00B0010000 fail"}) {
    EXPECT_EQ(read(overrides), "error") << overrides;
  }
  EXPECT_EQ(read("", "<VD/>"), "error") << "a root without children";
  EXPECT_EQ(read("", "<VD><N>"), "error") << "no XML";
  EXPECT_EQ(read("", "<VD>" + std::string(3600, ' ') + "<N/></VD>"), "error") << "too long";
  EXPECT_EQ(read(""), "data") << "the next card is read";
  world().faults.fail("SCardGetAttrib");
  EXPECT_NE(ask("read").find("\"status\": \"ERROR\""), std::string::npos);
  EXPECT_EQ(logTexts().find("A123"), std::string::npos);
}

TEST_F(ReadingTest, EveryFailedExchangeEndsInAnErrorAndTheNextReadWorks) {
  EXPECT_EQ(read(""), "data");
  const auto exchanges = static_cast<unsigned>(commands.size());
  for (unsigned n = 0; n < exchanges; ++n) {
    world().faults.fail("SCardTransmit",
                        Faults::Plan{.code = platform::SCARD_E_NOT_TRANSACTED, .skip = n});
    const std::string answer = ask("read");
    // Without EF.GDO the application's presence decides, and the card is read all the same.
    const bool recovers = n < 2;
    EXPECT_EQ(answer.find("\"status\": \"OK\"") != std::string::npos, recovers) << n << answer;
    EXPECT_NE(ask("read").find("A123456789"), std::string::npos) << n;
  }
}

}  // namespace
}  // namespace kv500
