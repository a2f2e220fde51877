#include "platform/simulated/card.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace simulated {
namespace {

constexpr char selectMf[] = "00A4000C023F00";
constexpr char selectHca[] = "00A4040C06D27600000102";

std::string toHex(const Bytes& bytes) {
  constexpr char digits[] = "0123456789ABCDEF";
  std::string text;
  for (const std::uint8_t byte : bytes)
    text.append({digits[byte >> 4], digits[byte & 15]});
  return text;
}

/// A master file with EF.GDO (10 bytes of 11) and one application with a file of 600 bytes that
/// count up modulo 251, so that no two blocks of 256 are alike, and an empty one.
Card makeCard(std::string_view overrides = "") {
  Bytes counting(600);
  for (std::size_t i = 0; i < counting.size(); ++i)
    counting[i] = static_cast<std::uint8_t>(i % 251);
  return Card(
      {0x3B}, {{}, {{0x2F02, 0x02, Bytes(10, 0x11)}}},
      {{{0xD2, 0x76, 0x00, 0x00, 0x01, 0x02}, {{0xD002, 0x02, counting}, {0xD00C, 0x0C, {}}}}},
      parseOverrides(overrides));
}

std::string answer(Card& card, std::string_view command) {
  const Exchange exchange = card.exchange(parseHex(command).value());
  EXPECT_EQ(exchange.outcome, Exchange::Outcome::Answered) << command;
  return toHex(exchange.response);
}

std::string play(Card& card, const std::vector<std::string_view>& commands) {
  std::string last;
  for (const std::string_view command : commands)
    last = answer(card, command);
  return last;
}

TEST(Card, AnswersTheLastOfSeveralCommandsAfterPowerUp) {
  const std::string gdo(20, '1');
  const struct {
    std::vector<std::string_view> commands;
    std::string answer;
  } rows[] = {
      // What is no short APDU.
      {{""}, "6700"},
      {{"00B082"}, "6700"},
      {{"00A4000C023F"}, "6700"},
      {{"00A4000C023F000000"}, "6700"},
      {{"00A4000C013F"}, "6700"},
      {{"00B08200"}, "6700"},
      {{"00B08200010000"}, "6700"},
      {{"80B082000C"}, "6E00"},
      {{"0084000008"}, "6D00"},
      // Selection.
      {{selectMf}, "9000"},
      {{"00A40000023F0000"}, "9000"},
      {{"00A4010C023F00"}, "6A86"},
      {{"00A4000F023F00"}, "6A86"},
      {{"00A4000C022F02"}, "9000"},
      {{"00A4000C022F03"}, "6A82"},
      {{"00A4020C023F00"}, "6A82"},
      {{selectHca, "00A4000C022F02"}, "6A82"},
      {{selectHca, "00A4040C", "00B0820000"}, gdo + "9000"},
      {{selectHca, "00A4000C", "00B0820000"}, gdo + "9000"},
      {{"00A4040C05D276000001"}, "6A82"},
      // Reading: the status words at the end of the file, and which file is read.
      {{"00B0820000"}, gdo + "9000"},
      {{"00B082000A"}, gdo + "9000"},
      {{"00B082000B"}, gdo + "6282"},
      {{"00B0820900"}, "119000"},
      {{"00B0820902"}, "116282"},
      {{"00B0820A00"}, "6B00"},
      {{"00B0830000"}, "6A82"},
      {{"00B0A20000"}, "6A86"},
      {{"00B0000000"}, "6986"},
      {{"00B0800000"}, "6986"},
      {{"00A4020C022F02", "00B0000801"}, "119000"},
      {{"00B0820001", "00B0000901"}, "119000"},
      {{"00B0820001", "00B0800901"}, "119000"},
      {{"00B0820001", "00B0830000", "00B0000901"}, "119000"},
      {{"00B0820001", selectMf, "00B0000000"}, "6986"},
      {{selectHca, "00B0820103"}, "0102039000"},
      {{selectHca, "00B08C0000"}, "6B00"},
      {{selectHca, "00A4000C02D002", "00B0025602"}, "60619000"},
      {{selectHca, "00A4000C02D002", "00B0025703"}, "616282"},
      {{selectHca, "00A4000C02D002", "00B07FFF00"}, "6B00"},
      // A failed selection leaves the selected application alone.
      {{selectHca, "00A4040C02D276", "00B0820103"}, "0102039000"},
  };
  for (const auto& row : rows) {
    Card card = makeCard();
    EXPECT_EQ(play(card, row.commands), row.answer) << row.commands.back();
  }
}

TEST(Card, GivesALongFileInBlocks) {
  Card card = makeCard();
  answer(card, selectHca);
  const std::string first = answer(card, "00B0820000");
  const std::string second = answer(card, "00B0010000");
  const std::string third = answer(card, "00B0020000");
  ASSERT_EQ(first.size() + second.size() + third.size(), 2 * 600u + 3 * 4u);
  EXPECT_EQ(first.substr(0, 6), "000102");
  EXPECT_EQ(second.substr(0, 6), "050607");
  EXPECT_EQ(second.substr(2 * 256), "9000");
  EXPECT_EQ(third, answer(card, "00B0020058"));
  EXPECT_EQ(third.substr(third.size() - 8), "60619000");
}

TEST(Card, ResetSelectsTheMasterFileAndKeepsTheTurnsOfOverrides) {
  Card card = makeCard("00B0820001 6A81\n00B0820001 6A88\n");
  EXPECT_EQ(play(card, {selectHca, "00B0820101", "00B0820001"}), "6A81");
  card.reset();
  EXPECT_EQ(answer(card, "00B0000001"), "6986");
  EXPECT_EQ(answer(card, "00B0820002"), "11119000");
  EXPECT_EQ(answer(card, "00B0820001"), "6A88");
}

TEST(Overrides, HoldInTurnAndChangeNothingOnTheCard) {
  Card card = makeCard(
      "# Selecting the application is refused at first, then slow.\r\n"
      "\r\n"
      "00a4040c06d27600000102 6a82\r\n"
      "00A4040C06D27600000102\t9000 \r\n"
      "00A4040C06D27600000102 wait 600000\r\n"
      "00B0820001 fail\n"
      "00B0820002 remove\n"
      "00B0820003 90\n"
      "00 01");
  EXPECT_EQ(answer(card, selectHca), "6A82");
  EXPECT_EQ(play(card, {selectHca, "00B0820004"}), "111111119000") << "the master file is left";
  for (int i = 0; i < 2; ++i) {
    const Exchange late = card.exchange(parseHex(selectHca).value());
    EXPECT_EQ(late.delay, std::chrono::minutes(10));
    EXPECT_EQ(toHex(late.response), "9000");
  }
  EXPECT_EQ(answer(card, "00B0820004"), "000102039000") << "a late answer is the normal one";
  EXPECT_EQ(card.exchange(parseHex("00B0820001").value()).outcome, Exchange::Outcome::Failed);
  EXPECT_EQ(card.exchange(parseHex("00B0820002").value()).outcome, Exchange::Outcome::Removed);
  EXPECT_EQ(answer(card, "00B0820003"), "90");
  EXPECT_EQ(answer(card, "00"), "01");
}

TEST(Overrides, RefuseABadLineByItsNumber) {
  const std::string longest(2 * 65538, '0');
  EXPECT_NO_THROW(parseOverrides("00 " + longest));
  const struct {
    std::string line;
    std::string_view message;
  } rows[] = {
      {"00B082000", "command is not hex"},
      {"xx 9000", "command is not hex"},
      {"00B0820000", "nothing says"},
      {"00B0820000 900", "response is neither"},
      {"00B0820000 FAIL", "response is neither"},
      {"00B0820000 90 00", "without blanks"},
      {"00B0820000 wait", "\"wait\" needs"},
      {"00B0820000 wait 5 6", "\"wait\" needs"},
      {"00B0820000 wait -1", "\"wait\" needs"},
      {"00B0820000 wait 5s", "\"wait\" needs"},
      {"00B0820000 wait 600001", "\"wait\" needs"},
      {"00B0820000 wait 99999999999999999999", "\"wait\" needs"},
      {"00B0820000 " + longest + "00", "longer than 65538"},
  };
  for (const auto& row : rows) {
    try {
      parseOverrides("# comment\n\n00B0820000 9000\n" + row.line + "\n00 00\n");
      ADD_FAILURE() << row.line;
    } catch (const OverridesError& error) {
      EXPECT_EQ(error.line, 4u);
      EXPECT_NE(error.message.find(row.message), std::string::npos) << error.message;
    }
  }
}

}  // namespace
}  // namespace simulated
