#include "device/browser_command.h"
#include "tests/device_test.h"

namespace kv500 {
namespace {

TEST(BrowserCommand, IsQuotedAndNothingIsEscaped) {
  const struct {
    std::string command, url, id, line;
  } rows[] = {
      {"C:\\b.exe", "http://x/?id=", "A1", "\"C:\\b.exe\" \"http://x/?id=A1\""},
      {"b", "http://x/", "", "\"b\" \"http://x/\""},
      {"b", "", "A1", "\"b\""},
      {"", "u", "A1", "\"\" \"uA1\""},
      {"b", "a\" \"c", "A \xE4%\\", "\"b\" \"a\" \"cA \xE4%\\\""},
      // A forged card must not get out of the quotation marks.
      {"b", "u=", "A\" --option \"", "\"b\" \"u=\""},
      {"b", "u=", "A\n1", "\"b\" \"u=\""},
      {"b", "u=", "A\x7F", "\"b\" \"u=\""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(browserCommandLine(row.command, row.url, row.id), row.line);
  }
}

class WatcherTest : public DeviceTest {
 protected:
  void insertCard(const std::string& id = "A123456789") {
    world().readers.insert(healthCard(vdXml, pdXml(id)));
  }
  /// Waits until the watcher has made that many more polls.
  static void waitForPolls(unsigned count) {
    const auto polls = [] {
      return world().faults.calls("SCardStatusA") + world().faults.calls("SCardConnectA");
    };
    const unsigned wanted = polls() + count;
    EXPECT_TRUE(eventually([&] { return polls() >= wanted; }));
  }
  static std::size_t starts() { return world().sessions.startedPrograms().size(); }

  const std::string config =
      "CallBrowser=yes\nAppendCardId=yes\nURL=http://x/?id=\nBrowserCommand=b";
};

TEST_F(WatcherTest, ANewCardStartsTheBrowserOnceWithItsId) {
  makeDevice(config, true);
  attachReader();
  insertCard();
  EXPECT_TRUE(eventually([] { return starts() == 1; }));
  EXPECT_EQ(world().sessions.startedPrograms()[0], "\"b\" \"http://x/?id=A123456789\"");
  ask("close");
  const auto begin = std::chrono::steady_clock::now();
  waitForPolls(8);
  const auto elapsed = std::chrono::steady_clock::now() - begin;
  EXPECT_GT(elapsed, std::chrono::milliseconds(7 * 250));
  EXPECT_LT(elapsed, std::chrono::milliseconds(15 * 250));
  EXPECT_EQ(starts(), 1u) << "neither a card that stays nor a closed connection is a new card";
}

TEST_F(WatcherTest, PollsOfShortAbsencesAddUpToFive) {
  makeDevice(config, true);
  attachReader();
  insertCard();
  EXPECT_TRUE(eventually([] { return starts() == 1; }));
  const struct {
    unsigned polls;  ///< So many polls in a row find no card.
    std::size_t starts;
  } absences[] = {{4, 1}, {1, 2}, {1, 2}};
  for (const auto& absence : absences) {
    world().faults.fail("SCardConnectA", Faults::Plan{.code = platform::SCARD_E_NO_SMARTCARD,
                                                      .times = absence.polls - 1});
    world().faults.fail("SCardStatusA", Faults::Plan{.code = platform::SCARD_W_REMOVED_CARD});
    waitForPolls(absence.polls + 2);
    EXPECT_EQ(starts(), absence.starts);
  }
}

TEST_F(WatcherTest, WithoutAnIdTheBrowserStartsAllTheSame) {
  const struct {
    std::string config, overrides, started;
    bool asksTheCard;
  } rows[] = {
      {config, "00B0810000 6A82", "\"b\" \"http://x/?id=\"", true},
      {config, "00B082000C 6A82", "\"b\" \"http://x/?id=\"", true},
      {"CallBrowser=y\nURL=u\nBrowserCommand=b", "", "\"b\" \"u\"", false},
      {"CallBrowser=y\nAppendCardId=y\nBrowserCommand=b", "", "\"b\"", true},
      {"CallBrowser=n\nAppendCardId=y\nURL=u\nBrowserCommand=b", "", "", false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.config + row.overrides);
    newWorld();
    makeDevice(row.config, true);
    attachReader();
    world().readers.insert(healthCard(vdXml, pdXml("A1"), row.overrides));
    if (!row.started.empty()) {
      EXPECT_TRUE(eventually([] { return starts() == 1; }));
      EXPECT_EQ(world().sessions.startedPrograms()[0], row.started);
    }
    waitForPolls(2);
    EXPECT_EQ(starts(), row.started.empty() ? 0u : 1u);
    EXPECT_EQ(world().faults.calls("SCardTransmit") > 0, row.asksTheCard);
  }
}

TEST_F(WatcherTest, AFailedStartIsNotTriedAgain) {
  for (const char* operation : {"listSessions", "WTSQueryUserToken", "DuplicateTokenEx",
                                "CreateEnvironmentBlock", "CreateProcessAsUserA"}) {
    SCOPED_TRACE(operation);
    newWorld();
    makeDevice(config, true);
    world().faults.fail(operation);
    attachReader();
    insertCard();
    EXPECT_TRUE(eventually([&] { return world().faults.calls(operation) == 1; }));
    waitForPolls(2);
    EXPECT_EQ(starts(), 0u);
    EXPECT_EQ(world().faults.calls("listSessions"), 1u);
    EXPECT_TRUE(logTexts().ends_with("### Service started! ###\n")) << logTexts();
  }
}

}  // namespace
}  // namespace kv500
