#include "support/thread.h"

#include "support/event.h"
#include "support/log.h"
#include "support/process_end.h"
#include "tests/world_test.h"

namespace kv500 {
namespace {

using ThreadTest = WorldTest;

TEST_F(ThreadTest, StartsOnceAndOnlyCloseMakesItFree) {
  const Event event(Event::Reset::Auto);
  const auto setIt = [](void* argument) { static_cast<const Event*>(argument)->set(); };
  void* const argument = const_cast<Event*>(&event);
  Thread thread;
  world().faults.fail("CreateThread");
  EXPECT_FALSE(thread.start(setIt, argument));
  EXPECT_FALSE(thread.running);
  EXPECT_TRUE(thread.start(setIt, argument));
  EXPECT_EQ(platform::WaitForSingleObject(thread.handle, 5000), platform::WAIT_OBJECT_0);
  EXPECT_TRUE(event.isSet());
  EXPECT_FALSE(event.isSet()) << "an auto-reset event lets one wait through";
  EXPECT_TRUE(thread.running);
  EXPECT_FALSE(thread.start(setIt, argument));
  thread.close();
  EXPECT_FALSE(thread.running);
  EXPECT_EQ(thread.handle, 0u);
}

TEST_F(ThreadTest, AFailureThatNobodyHandlesEndsTheProcess) {
  openLog();
  world().onExit = [](std::uint32_t exitCode) { throw ProcessEnded{exitCode}; };
  const Event event(Event::Reset::Manual);
  for (const char* operation : {"CreateEventA", "SetEvent", "WaitForSingleObject"}) {
    world().faults.fail(operation);
  }
  unsigned ends = 0;
  for (const std::function<void()>& work : std::initializer_list<std::function<void()>>{
           [] { Event{Event::Reset::Manual}; }, [&] { event.set(); }, [&] { event.isSet(); },
           [] { throw std::bad_alloc(); }, [] {}}) {
    try {
      endProcessOnFailure(work);
    } catch (const ProcessEnded& end) {
      EXPECT_EQ(end.exitCode, 1u);
      ++ends;
    }
  }
  EXPECT_EQ(ends, 4u);
  EXPECT_EQ(logTexts(),
            "### Service started! ###\nCould not create event\nCould not set event\n"
            "Could not check event\nOut of memory\n");
}

}  // namespace
}  // namespace kv500
