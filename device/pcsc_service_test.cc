#include "device/reader_list.h"
#include "tests/device_test.h"

namespace kv500 {
namespace {

TEST(ReaderList, BothPartsOfTheNameCountExactly) {
  const struct {
    std::string list;
    unsigned count;
    std::string name;
  } rows[] = {
      {"", 0, ""},
      {std::string(1, '\0'), 0, ""},
      {std::string("brenvolt GmbH KV500 0\0\0", 23), 1, "brenvolt GmbH KV500 0"},
      {std::string("Other\0x KV500 brenvolt GmbH\0\0", 29), 1, "x KV500 brenvolt GmbH"},
      {std::string("brenvolt GmbH\0KV500\0Brenvolt GmbH KV500\0brenvolt GmbH kv500\0\0", 61), 0,
       ""},
      {std::string("KV500brenvolt GmbH\0KV500brenvolt GmbH2\0KV500brenvolt GmbH3\0\0", 60), 2,
       "KV500brenvolt GmbH2"},
      {"KV500 brenvolt GmbH without an end", 1, "KV500 brenvolt GmbH without an end"},
      {std::string("\0KV500 brenvolt GmbH\0\0", 22), 0, ""},
  };
  for (const auto& row : rows) {
    const ReaderMatch match = findReaders({row.list.begin(), row.list.end()}, "KV500");
    EXPECT_EQ(match.matchCount, row.count) << row.list;
    EXPECT_EQ(match.matchName, row.name);
  }
}

/// Runs the loop on a thread of the test. A pass takes a second.
class PcscServiceTest : public DeviceTest {
 protected:
  ~PcscServiceTest() override { stop(); }

  void startLoop() {
    // Long after anything that another test has logged under a key.
    world().clockTime = laterTime += 1'000'000;
    makeDevice();
    world().onExit = [](std::uint32_t exitCode) { throw ProcessEnded{exitCode}; };
    loop = std::thread([this] {
      try {
        service.runGuarded();
      } catch (const ProcessEnded& end) {
        exitCode = static_cast<int>(end.exitCode);
      }
    });
  }
  void stop() {
    if (loop.joinable()) {
      stopEvent.set();
      loop.join();
    }
  }
  bool reaches(const std::string& wanted) {
    return eventually([&] { return state() == wanted; });
  }
  void waitForPasses(unsigned count) {
    const unsigned wanted = world().faults.calls("SCardListReadersA") + 2 * count;
    EXPECT_TRUE(eventually([&] { return world().faults.calls("SCardListReadersA") >= wanted; }));
  }

  static inline std::int64_t laterTime = 0;
  std::thread loop;
  std::atomic<int> exitCode = -1;
};

TEST_F(PcscServiceTest, BringsTheReaderInAndGivesItUpAtTheStop) {
  world().readers.addReader("Another reader");
  world().readers.plug();
  world().readers.insert(healthCard(vdXml, pdXml("A")));
  startLoop();
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  EXPECT_EQ(world().faults.calls("SCardEstablishContext"), 0u) << "not in the first second";
  EXPECT_TRUE(eventually([this] { return device->isReaderPresent(); }));
  stop();
  EXPECT_FALSE(device->isReaderPresent());
  EXPECT_EQ(exitCode, -1);
  EXPECT_GE(world().faults.calls("SCardReleaseContext"), 1u);
}

TEST_F(PcscServiceTest, TwoReadersAreNoneAndAreToldOnce) {
  world().readers.plug();
  world().readers.plug();
  startLoop();
  waitForPasses(2);
  EXPECT_EQ(state(), "none");
  EXPECT_EQ(world().sessions.notices().size(), 1u);
  EXPECT_EQ(world().sessions.notices()[0].text, u"Only one KV500 can be connected!");
  world().readers.unplug();
  EXPECT_TRUE(reaches("reader"));
  world().readers.plug();
  EXPECT_TRUE(reaches("none"));
  // After a list error the next pair of readers causes a notice again.
  world().faults.fail("SCardListReadersA", Faults::Plan{.code = 0x1F});
  waitForPasses(2);
  EXPECT_EQ(world().sessions.notices().size(), 2u);
}

TEST_F(PcscServiceTest, StartsTheSmartcardServiceAndOutlivesItsRestart) {
  world().readers.plug();
  world().readers.insert(healthCard(vdXml, pdXml("A")));
  world().readers.stopService();
  startLoop();
  EXPECT_TRUE(reaches("card"));
  world().readers.stopService();
  EXPECT_TRUE(eventually([this] { return !device->isReaderPresent(); })) << "with nobody asking";
  EXPECT_TRUE(reaches("card"));
  EXPECT_EQ(logTexts(), "### Service started! ###\nTrying to start Smartcard service...\n")
      << "once in 5 minutes";
}

TEST_F(PcscServiceTest, OtherListErrorsMakeANewContext) {
  world().readers.plug();
  world().readers.insert(healthCard(vdXml, pdXml("A")));
  startLoop();
  EXPECT_TRUE(reaches("card"));
  world().faults.fail("SCardListReadersA",
                      Faults::Plan{.code = platform::SCARD_E_NO_READERS_AVAILABLE});
  waitForPasses(1);
  EXPECT_EQ(world().faults.calls("SCardEstablishContext"), 1u);
  EXPECT_EQ(world().faults.calls("SCardDisconnect"), 0u) << "a reader is brought in once";
  world().faults.fail("SCardListReadersA", Faults::Plan{.code = 0x1F});
  world().faults.fail("SCardListReadersA", Faults::Plan{.code = 0x20, .skip = 1});
  waitForPasses(3);
  EXPECT_EQ(world().faults.calls("SCardEstablishContext"), 3u);
  EXPECT_EQ(logTexts(), "### Service started! ###\nPCSC error 0x0000001f\n");
}

TEST_F(PcscServiceTest, ASmartcardServiceThatCannotBeStartedIsToldInABox) {
  world().readers.breakService();
  startLoop();
  EXPECT_TRUE(eventually([this] { return exitCode == 0; }));
  EXPECT_TRUE(logTexts().ends_with("\nSmartcard service not running!\n")) << logTexts();
  ASSERT_EQ(world().sessions.notices().size(), 1u);
  EXPECT_EQ(world().sessions.notices()[0].text,
            u"The Smartcard service is not running and could not be started automatically!\n\n"
            u"Please contact the support for further information and help.");
}

}  // namespace
}  // namespace kv500
