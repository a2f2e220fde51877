#include "support/thread.h"

#include "support/event.h"
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

}  // namespace
}  // namespace kv500
