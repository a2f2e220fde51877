#include "support/thread.h"

#include "support/event.h"
#include "support/log.h"
#include "support/process_end.h"
#include "tests/world_test.h"

namespace kv500 {
namespace {

using ThreadTest = WorldTest;

TEST_F(ThreadTest, StartsOnceAndOnlyCloseMakesItFree) {
  const Event event(Event::Reset::Manual);
  const auto setIt = [](void* argument) { static_cast<const Event*>(argument)->set(); };
  void* const argument = const_cast<Event*>(&event);
  Thread thread;
  world().faults.fail("CreateThread");
  EXPECT_FALSE(thread.start(setIt, argument, "refused"));
  EXPECT_FALSE(thread.running);
  EXPECT_TRUE(thread.start(setIt, argument, "runs"));
  EXPECT_EQ(platform::WaitForSingleObject(thread.handle, 5000), platform::WAIT_OBJECT_0);
  EXPECT_TRUE(event.isSet());
  EXPECT_TRUE(thread.running);
  EXPECT_FALSE(thread.start(setIt, argument, "runs already"));
  thread.close();
  EXPECT_FALSE(thread.running);
  EXPECT_EQ(thread.handle, 0u);
}

TEST_F(ThreadTest, EventsRaiseTheirFailures) {
  const auto textOf = [](const std::function<void()>& work) -> std::string {
    try {
      work();
    } catch (const std::string& text) {
      return text;
    }
    return "none";
  };
  const Event event(Event::Reset::Auto);
  world().faults.fail("CreateEventA");
  world().faults.fail("SetEvent");
  world().faults.fail("WaitForSingleObject");
  EXPECT_EQ(textOf([] { Event{Event::Reset::Manual}; }), "Could not create event");
  EXPECT_EQ(textOf([&event] { event.set(); }), "Could not set event");
  EXPECT_EQ(textOf([&event] { event.isSet(); }), "Could not check event");
  event.set();
  EXPECT_TRUE(event.isSet());
  EXPECT_FALSE(event.isSet()) << "an auto-reset event lets one wait through";
}

TEST_F(ThreadTest, AFailureThatNobodyHandlesEndsTheProcess) {
  openLog();
  world().onExit = [](std::uint32_t exitCode) { throw ProcessEnded{exitCode}; };
  const auto exitCodeOf = [](const std::function<void()>& work) {
    try {
      endProcessOnFailure(work);
    } catch (const ProcessEnded& end) {
      return static_cast<int>(end.exitCode);
    }
    return -1;
  };
  EXPECT_EQ(exitCodeOf([] {}), -1);
  EXPECT_EQ(exitCodeOf([] { throw std::string("Could not open port"); }), 1);
  EXPECT_EQ(exitCodeOf([] { throw std::bad_alloc(); }), 1);
  EXPECT_EQ(logTexts(), "### Service started! ###\nCould not open port\nUnhandled exception\n");
}

}  // namespace
}  // namespace kv500
