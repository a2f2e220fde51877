#include "support/config_file.h"

#include "tests/world_test.h"

namespace kv500 {
namespace {

class ConfigFileTest : public WorldTest {
 protected:
  /// What each getter gives for a setting of the file (text, number, switch), or the error.
  static std::string valueOf(const std::string& name, const std::string& fileName = "config.txt") {
    try {
      const ConfigFile config(fileName);
      std::string text = "kept";
      std::uint64_t number = 0;
      bool isOn = false, isNumber = true, isSwitch = true;
      const bool isSet = config.getString(name, text);
      EXPECT_EQ(config.getInteger(name, isNumber, number), isSet);
      EXPECT_EQ(config.getBool(name, isSwitch, isOn), isSet);
      return !isSet ? "absent, " + text
                    : text + "|" + (isNumber ? std::to_string(number) : "") + "|" +
                          (isSwitch ? isOn ? "on" : "off" : "");
    } catch (const ConfigException& fault) {
      return (fault.isReportable() ? "reported: " : "silent: ") + fault.message;
    }
  }
};

TEST_F(ConfigFileTest, EveryLineIsASettingOrAFault) {
  const struct {
    std::string content, name, value;
  } rows[] = {
      {"", "a", "absent, kept"},
      {"URL=page?a=b", "URL", "page?a=b||"},
      {"URL=", "URL", "||"},
      {"\n  \t\n # note\n#URL=no\n \t URL=x \n", "URL", "x ||"},
      {"Port = 5724\n", "Port ", " 5724||"},
      {"a=1\r\nb=2\r\n", "a", "1|1|"},
      {"a=1\rb=2\n", "a", "1\rb=2||"},
      {"\ra=\"q\" # no comment\n", "a", "\"q\" # no comment||"},
      {"port=1\nPort=2\nPort =3\n", "Port", "2|2|"},
      {"port=1", "Port", "absent, kept"},
      {"\xEF\xBB\xBFPort=1\n", "\xEF\xBB\xBFPort", "1|1|"},
      {"b\xFF=\xE4\xA4", "b\xFF", "\xE4\xA4||"},
      {"a=1\n=x\n", "a", "reported: Name is missing in line 2:\n2:=x"},
      {"\n#\n\t\n  abc\nd\n", "a", "reported: '=' missing in line 4:\n4:   abc"},
      {"a=1\n a=2\n", "a", "reported: 'a' is set multiple times!"},
      {"a=1\r\nb \r\n", "a", "reported: '=' missing in line 2:\n2: b "},
      {{"a=1\n\0", 5}, "a", {"reported: '=' missing in line 2:\n2: \0", 37}},
  };
  for (const auto& row : rows) {
    writeFile("config.txt", row.content);
    EXPECT_EQ(valueOf(row.name), row.value) << row.content;
  }
  std::filesystem::create_directory(folder / "directory");
  writeFile("large", std::string((1 << 20) + 1, '#'));
  for (const std::string fileName : {"absent", "directory", "large"}) {
    EXPECT_EQ(valueOf("a", fileName), "silent: Could not open file") << fileName;
  }
}

TEST_F(ConfigFileTest, NumbersAreRunsOfDigitsAndSwitchesEightWords) {
  for (const std::string value : {"007|7|",
                                  "5724 ||",
                                  "+7||",
                                  "-7||",
                                  "7.0||",
                                  "0x7||",
                                  "\xB2||",
                                  "y||on",
                                  "YES||on",
                                  "tRuE||on",
                                  "1|1|",
                                  "0|0|",
                                  "Enable||on",
                                  "yes ||",
                                  "N||off",
                                  "no||off",
                                  "False||off",
                                  "yess||",
                                  "18446744073709551617|1|",
                                  "DISABLE||off"}) {
    writeFile("config.txt", "n=" + value.substr(0, value.find('|')));
    EXPECT_EQ(valueOf("n"), value);
  }
}

}  // namespace
}  // namespace kv500
