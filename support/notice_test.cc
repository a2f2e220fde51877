#include "support/notice.h"

#include "tests/world_test.h"

namespace kv500 {
namespace {

using NoticeTest = WorldTest;

TEST_F(NoticeTest, TheFirstActiveSessionGetsTheBox) {
  constexpr std::uint32_t disconnected = 4;
  const struct {
    std::vector<platform::Session> sessions;
    std::uint32_t shownIn;  ///< 0: nowhere.
  } rows[] = {
      {{}, 0},
      {{{7, disconnected}}, 0},
      {{{0, disconnected}, {5, platform::WTSActive}, {6, platform::WTSActive}}, 5},
  };
  for (const auto& row : rows) {
    newWorld();
    world().sessions.set(row.sessions);
    notifyUser("KV500", "a\n~\x7F\x80\xE4\xFF");
    const auto notices = world().sessions.notices();
    ASSERT_EQ(notices.size(), row.shownIn == 0 ? 0u : 1u);
    if (row.shownIn != 0) {
      EXPECT_EQ(notices[0].session, row.shownIn);
      EXPECT_EQ(notices[0].title, u"KALVERO  -  KV500");
      EXPECT_EQ(notices[0].text, u"a\n~\x7F\xFF80\xFFE4\xFFFF");
      EXPECT_EQ(notices[0].style, 0x10u);
    }
  }
}

TEST_F(NoticeTest, ABoxThatCannotBeShownIsNoBox) {
  for (const char* operation : {"listSessions", "WTSSendMessageW"}) {
    world().faults.fail(operation);
    EXPECT_FALSE(sendToActiveSession(u"title", u"text")) << operation;
    EXPECT_TRUE(sendToActiveSession(u"title", u"text")) << operation;
  }
}

TEST_F(NoticeTest, TheCallWaitsForTheAnswer) {
  world().sessions.holdNotices(true);
  std::atomic<bool> answered = false;
  std::thread caller([&answered] {
    notifyUser("", "");
    answered = true;
  });
  EXPECT_TRUE(eventually([] { return !world().sessions.notices().empty(); }));
  EXPECT_FALSE(answered);
  world().sessions.holdNotices(false);
  caller.join();
  EXPECT_EQ(world().sessions.notices()[0].title, u"KALVERO  -  ");
}

}  // namespace
}  // namespace kv500
