#include "support/log.h"

#include "tests/world_test.h"

namespace kv500 {
namespace {

using LogTest = WorldTest;

TEST_F(LogTest, AppendsCompleteLinesWithCarriageReturns) {
  world().calendarTime = 1551787749;  // 05-03-2019 in every time zone.
  writeFile("log.txt", "from an earlier run\r\n");
  openLog();
  logMessage("two\nlines \xE4\n", "");
  const std::string stamp = logTimestamp();
  EXPECT_EQ(stamp.size(), sizeof("dd-mm-yyyy hh:mm:ss") - 1);
  EXPECT_EQ(stamp.substr(0, 11), "05-03-2019 ");
  EXPECT_EQ(stamp.substr(16), ":09");
  EXPECT_EQ(readFile("log.txt"), "from an earlier run\r\n[" + stamp +
                                     "] ### Service started! ###\r\n[" + stamp +
                                     "] two\r\nlines \xE4\r\n\r\n");
}

TEST_F(LogTest, AKeyPassesOnceInFiveMinutes) {
  constexpr std::int64_t limit = 300000;  // Milliseconds.
  static std::int64_t start = 0;          // Later than in an earlier run of this test.
  start += 3 * limit;
  openLog();
  const struct {
    std::int64_t tick;
    std::string text, key;
    bool written;
  } rows[] = {
      {0, "a1", "a", true},
      {1000, "a2", "a", false},
      {1000, "b1", "b", true},
      {2000, "same", "", true},
      {2000, "same", "", true},
      {limit - 1, "a3", "a", false},
      {limit, "a4", "a", true},           // A dropped message has not extended the limit,
      {2 * limit - 1, "a5", "a", false},  // but a written one has.
      {2 * limit, "a6", "a", true},
  };
  std::string expected = "### Service started! ###\n";
  for (const auto& row : rows) {
    world().clockTime = start + row.tick;
    logMessage(row.text, row.key);
    expected += row.written ? row.text + "\n" : "";
  }
  EXPECT_EQ(logTexts(), expected);
}

TEST_F(LogTest, WithoutALogTheProgramGoesOn) {
  std::filesystem::create_directory(folder / "log.txt");
  openLog();
  logMessage("nobody will read this", "key");
  EXPECT_TRUE(std::filesystem::is_directory(folder / "log.txt"));
}

}  // namespace
}  // namespace kv500
