#include "support/log.h"

#include <vector>

#include "tests/world_test.h"

namespace kv500 {
namespace {

using LogTest = WorldTest;
constexpr std::int64_t limit = 300000;  // Milliseconds.

TEST_F(LogTest, AppendsCompleteLinesWithCarriageReturns) {
  // 05-03-2019 in every time zone.
  world().calendarTime = 1551787749;
  writeFile("log.txt", "from an earlier run\r\n");
  openLog();
  logMessage("two\nlines \xE4\n", "");
  const std::string log = readFile("log.txt");
  EXPECT_EQ(logTexts(), "from an earlier run\n### Service started! ###\ntwo\nlines \xE4\n\n");
  EXPECT_EQ(log.find("\r\n[05-03-2019 "), 19u) << log;
  EXPECT_EQ(logTimestamp().size(), 19u);
  std::size_t lineFeeds = 0;
  for (std::size_t at = log.find('\n'); at != std::string::npos; at = log.find('\n', at + 1)) {
    EXPECT_EQ(log[at - 1], '\r');
    ++lineFeeds;
  }
  EXPECT_EQ(lineFeeds, 5u);
}

TEST_F(LogTest, AKeyPassesOnceInFiveMinutes) {
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
      {limit, "a4", "a", true},  // A dropped message has not pushed the limit further out,
      {limit + 999, "b2", "b", false},
      {limit + 1000, "b3", "b", true},
      {2 * limit - 1, "a5", "a", false},  // and a written one has.
      {2 * limit, "a6", "a", true},
  };
  std::string expected = "### Service started! ###\n";
  for (const auto& row : rows) {
    world().clockTime = row.tick;
    logMessage(row.text, row.key);
    expected += row.written ? row.text + "\n" : "";
  }
  EXPECT_EQ(logTexts(), expected);
}

TEST_F(LogTest, LinesOfManyThreadsNeverMix) {
  openLog();
  std::vector<std::thread> writers;
  for (char name = 'a'; name < 'i'; ++name) {
    writers.emplace_back([name] {
      for (int i = 0; i < 200; ++i) {
        logMessage(std::string(60, name), "");
      }
    });
  }
  for (std::thread& writer : writers) {
    writer.join();
  }
  std::istringstream lines(logTexts());
  std::string line;
  std::getline(lines, line);
  int count = 0;
  for (; std::getline(lines, line); ++count) {
    EXPECT_EQ(line, std::string(60, line[0]));
  }
  EXPECT_EQ(count, 8 * 200);
}

TEST_F(LogTest, WithoutALogTheProgramGoesOn) {
  std::filesystem::create_directory(folder / "log.txt");
  openLog();
  logMessage("nobody will read this", "key");
  EXPECT_TRUE(std::filesystem::is_directory(folder / "log.txt"));
}

}  // namespace
}  // namespace kv500
