#include <cstring>

#include "tests/device_test.h"

namespace kv500 {
namespace {

using SettingsTest = DeviceTest;

TEST_F(SettingsTest, GoodValuesHoldAndBadOnesAreReported) {
  const std::string badPort = "Invalid value for 'Port' in config.txt!\n";
  const std::string badCall = "Invalid value for 'CallBrowser' in config.txt!\n";
  const std::string badAppend = "Invalid value for 'AppendCardId' in config.txt!\n";
  const struct {
    std::string config;
    std::uint16_t port;
    std::string reported;
  } rows[] = {
      {"", 5724, ""},
      {"Port=1024", 1024, ""},
      {"Port=32766\r\nOther=x\r\n", 32766, ""},
      {"port=1025\ncallbrowser=maybe", 5724, ""},
      {"Port=1023", 5724, badPort},
      {"Port=32767", 5724, badPort},
      {"Port=0", 5724, badPort},
      {"Port=", 5724, badPort},
      {"AllowHost= ,", 5724, "Invalid value for 'AllowHost' in config.txt!\n"},
      {"Port=18446744073709553000", 1384, ""},  // Wraps around at 2 to the 64th.
      {"Port=+2000", 5724, badPort},
      {"CallBrowser=maybe\nPort=2000\nAppendCardId=YES", 2000, badCall},
      {"AppendCardId=1\nCallBrowser=0\nPort=x", 5724, badPort + badCall + badAppend},
      {"Port=2000\nx", 5724, "Error reading config file:\n'=' missing in line 2:\n2: x\n"},
      {"Port=2000\nPort=2001", 5724, "Error reading config file:\n'Port' is set multiple times!\n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.config);
    newWorld();
    writeFile("log.txt", "");
    makeDevice(row.config);
    EXPECT_EQ(device->listenPort(), row.port);
    EXPECT_EQ(logTexts(), "### Service started! ###\n" + row.reported);
    std::string shown;
    for (const auto& notice : world().sessions.notices()) {
      EXPECT_EQ(notice.title, u"KALVERO  -  KV500");
      shown += std::string(notice.text.begin(), notice.text.end()) + "\n";
    }
    EXPECT_EQ(shown, row.reported);
  }
}

TEST_F(SettingsTest, ListensOnThisMachineOnly) {
  makeDevice();
  const std::uint32_t address = device->listenAddress();
  const std::uint8_t bytes[] = {127, 0, 0, 1};
  EXPECT_EQ(std::memcmp(&address, bytes, sizeof(bytes)), 0);
}

TEST_F(SettingsTest, TheAllowedOriginStandsInEveryAnswer) {
  makeDevice("AllowOrigin=\n");
  for (const char* request : {"GET / HTTP/1.1\n", "OPTIONS * HTTP/1.1\n"}) {
    EXPECT_NE(answerTo(request).find("\r\nAccess-Control-Allow-Origin: \r\n"), std::string::npos);
  }
}

}  // namespace
}  // namespace kv500
