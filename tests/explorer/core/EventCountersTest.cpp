#include "explorer/core/EventCounters.h"

#include <gtest/gtest.h>

#include <memory>

#include "tests/support/TraceText.h"
#include "tests/trace/support/Opened.h"

namespace marrowfin::testing {
namespace {

class EventCountersTest : public ::testing::Test {
 protected:
  static EventFilter OfThread(uint32_t thread) {
    EventFilter filter;
    filter.thread = thread;
    return filter;
  }

  void Use(uint32_t thread) { counters.Put(counters.Take(OfThread(thread))); }

  const Opened opened{TraceBytes("fire 1 0 0 0\nfire 2 1 1 0\n")};
  int made = 0;  // counters
  EventCounters counters{*opened.trace, [this] {
                           ++made;
                           return OpenIndex(*opened.trace);
                         }};
};

TEST_F(EventCountersTest, TheSameFilterHasTheSameCounterOnceItIsBack) {
  Use(0);
  Use(0);
  EXPECT_EQ(made, 1);
  std::unique_ptr<EventCounters::Kept> lent = counters.Take(OfThread(0));
  const std::unique_ptr<EventCounters::Kept> another = counters.Take(OfThread(0));
  EXPECT_EQ(made, 2) << "one question at a time has it";
}

TEST_F(EventCountersTest, OfMoreFiltersThanAreKeptTheOneUsedLongestAgoGoes) {
  static_assert(EventCounters::MOST == 4);
  for (const uint32_t thread : {0, 1, 2, 3, 0, 3, 2, 1, 0}) {
    Use(thread);
  }
  EXPECT_EQ(made, 4);
  Use(4);
  EXPECT_EQ(made, 5);
  for (const uint32_t thread : {0, 1, 2, 4}) {
    Use(thread);
  }
  EXPECT_EQ(made, 5);
  Use(3);
  EXPECT_EQ(made, 6);
}

}  // namespace
}  // namespace marrowfin::testing
