#include "support/config_file.h"

#include "tests/world_test.h"

namespace kv500 {
namespace {

using ConfigFileTest = WorldTest;

TEST_F(ConfigFileTest, TakesNamesAndValuesAsTheyStand) {
  const struct {
    std::string content, name, value;
  } rows[] = {
      {"URL=page?a=b", "URL", "page?a=b"},
      {"URL=", "URL", ""},
      {"\n  \t\n # URL=no\n \t URL=x \n", "URL", "x "},
      {"Port = 5724\n", "Port ", " 5724"},
      {"a=1\r\nb=2\r\n", "a", "1"},
      {"a=1\rb=2\n", "a", "1\rb=2"},
      {"\ra=\"q\" # no comment\n", "a", "\"q\" # no comment"},
      {"port=1\nPort=2\nPort =3\n", "Port", "2"},
      {"\xEF\xBB\xBFPort=1\n", "\xEF\xBB\xBFPort", "1"},
      {"b\xFF=\xE4\xA4", "b\xFF", "\xE4\xA4"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.content);
    writeFile("config.txt", row.content);
    std::string value;
    EXPECT_TRUE(ConfigFile("config.txt").getString(row.name, value));
    EXPECT_EQ(value, row.value);
  }
}

TEST_F(ConfigFileTest, StopsAtTheFirstFault) {
  const struct {
    std::string content, message;
  } rows[] = {
      {"a=1\n=x\n", "Name is missing in line 2:\n2:=x"},
      {"\n#\n\t\n  abc\nd\n", "'=' missing in line 4:\n4:   abc"},
      {"a=1\n a=2\n", "'a' is set multiple times!"},
      {"a=1\r\nb \r\n", "'=' missing in line 2:\n2: b "},
      {std::string("a=1\n\0", 5), "'=' missing in line 2:\n2: " + std::string(1, '\0')},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.content);
    writeFile("config.txt", row.content);
    try {
      const ConfigFile config("config.txt");
      ADD_FAILURE() << "no fault was found";
    } catch (const ConfigException& fault) {
      EXPECT_TRUE(fault.reportable);
      EXPECT_EQ(fault.message, row.message);
    }
  }
}

TEST_F(ConfigFileTest, AFileThatCannotBeOpenedIsNothingToReport) {
  std::filesystem::create_directory(folder / "directory");
  writeFile("large", std::string((1 << 20) + 1, '#'));
  for (const std::string name : {"absent", "directory", "large"}) {
    try {
      const ConfigFile config(name);
      ADD_FAILURE() << name;
    } catch (const ConfigException& fault) {
      EXPECT_FALSE(fault.reportable);
      EXPECT_EQ(fault.message, "Could not open file");
    }
  }
  writeFile("empty", "");
  std::string value = "kept";
  EXPECT_FALSE(ConfigFile("empty").getString("a", value));
  EXPECT_EQ(value, "kept");
}

TEST_F(ConfigFileTest, NumbersAreRunsOfDigits) {
  const struct {
    std::string text;
    bool valid;
    std::uint64_t value;
  } rows[] = {
      {"007", true, 7},   {"5724 ", false, 0}, {"", false, 0},    {"+7", false, 0},
      {"-7", false, 0},   {"7.0", false, 0},   {"0x7", false, 0}, {"18446744073709551617", true, 1},
      {"\xB2", false, 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    writeFile("config.txt", "n=" + row.text + "\n");
    const ConfigFile config("config.txt");
    bool valid = !row.valid;
    std::uint64_t value = 0;
    EXPECT_TRUE(config.getInteger("n", valid, value));
    EXPECT_EQ(valid, row.valid);
    EXPECT_EQ(value, row.value);
    EXPECT_FALSE(config.getInteger("N", valid, value));
  }
}

TEST_F(ConfigFileTest, SwitchesAreEightWordsInAnyCase) {
  const struct {
    std::string text;
    bool valid, value;
  } rows[] = {
      {"y", true, true},      {"YES", true, true}, {"tRuE", true, true},   {"Enable", true, true},
      {"N", true, false},     {"no", true, false}, {"False", true, false}, {"DISABLE", true, false},
      {"1", false, false},    {"0", false, false}, {"", false, false},     {"yes ", false, false},
      {"yess", false, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    writeFile("config.txt", "b=" + row.text + "\n");
    bool valid = !row.valid;
    bool value = !row.value;
    EXPECT_TRUE(ConfigFile("config.txt").getBool("b", valid, value));
    EXPECT_EQ(valid, row.valid);
    EXPECT_EQ(value, row.valid ? row.value : !row.value);
  }
}

}  // namespace
}  // namespace kv500
