#include "trace/ask/EventCounter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "tests/trace/support/Filters.h"
#include "tests/trace/support/Opened.h"
#include "tests/trace/support/RandomTrace.h"

namespace marrowfin::testing {
namespace {

constexpr IndexLimits SHORT_SEGMENTS = {
    .segmentRecords = 1, .entryRecords = 600, .maskRecords = 1000};

void ExpectCounts(const Opened& opened, const std::vector<Event>& events, const EventFilter& filter,
                  std::mt19937& random) {
  const std::vector<uint64_t> expected = Expected(events, filter);
  EventCounter counter(*opened.trace, *opened.index, filter);
  const Result<CountBounds> estimate = counter.Estimate();
  ASSERT_TRUE(estimate) << estimate.Why().Text();
  EXPECT_LE(estimate->least, expected.size());
  EXPECT_GE(estimate->most, expected.size());
  for (int question = 0; question < 8; ++question) {
    const uint64_t record = random() % (events.size() + 100);
    const auto before = std::lower_bound(expected.begin(), expected.end(), record);
    const Result<uint64_t> counted = counter.CountBefore(record);
    ASSERT_TRUE(counted) << counted.Why().Text();
    ASSERT_EQ(*counted, static_cast<uint64_t>(before - expected.begin())) << record;
    const uint64_t n = random() % (expected.size() + 1);
    const Result<uint64_t> found = counter.Find(n);
    if (n < expected.size()) {
      ASSERT_TRUE(found) << found.Why().Text();
      ASSERT_EQ(*found, expected[n]);
    } else {
      ASSERT_EQ(found.Why().kind, Fault::OUT_OF_RANGE);
    }
    const Result<CountBounds> later = counter.Estimate();
    ASSERT_TRUE(later);
    EXPECT_LE(later->least, expected.size());
    EXPECT_GE(later->most, expected.size());
  }
  const Result<uint64_t> all = counter.Count();
  ASSERT_TRUE(all) << all.Why().Text();
  EXPECT_EQ(*all, expected.size());
}

TEST(EventCounterTest, CountsAndFindsWhatMatchesWhateverTheFilter) {
  std::mt19937 random(1);
  for (int round = 0; round < 8; ++round) {
    RandomTraceOptions options;
    options.records = 1 + random() % 8000;
    options.shape = {2, 1, 4};
    options.falling = round % 3 == 0;
    const std::vector<Event> events =
        round % 2 == 0 ? RandomEvents(random, options) : PhasedEvents(random, options.records, 8);
    Opened opened(Encode(events));
    if (round > 1) {
      IndexAnew(opened, SHORT_SEGMENTS);
    }
    for (int question = 0; question < 25; ++question) {
      ExpectCounts(opened, events, RandomFilter(random, events, 8), random);
      ASSERT_FALSE(HasFatalFailure()) << "round " << round << ", question " << question;
    }
  }
}

TEST(EventCounterTest, ThreadsThatAreNotToldApartAreCountedAllTheSame) {
  std::mt19937 random(2);
  std::vector<Event> events = RandomEvents(random, {.records = 3 * Summary::MAX_THREADS});
  for (size_t i = 0; i < events.size(); ++i) {
    events[i].thread = static_cast<uint32_t>(i % (Summary::MAX_THREADS + 500));
  }
  Opened opened(Encode(events));
  IndexAnew(opened, SHORT_SEGMENTS);
  ASSERT_GT(opened.index->GetSummary().otherThreads, 0U);
  for (const uint32_t thread : {5U, 64U, 4000U, 4200U, 4500U, 9999U}) {
    EventFilter filter;
    filter.thread = thread;
    ExpectCounts(opened, events, filter, random);
    EXPECT_EQ(*EventCounter(*opened.trace, *opened.index, filter).IsTold(), thread < 4160);
  }
}

TEST(EventCounterTest, IndexTellsRecordsByThreadAndTypeAndWhatUnitsOfARegionDid) {
  std::mt19937 random(3);
  const std::vector<Event> events = RandomEvents(random, {.records = 9000, .shape = {2, 1, 4}});
  Opened opened(Encode(events));
  IndexAnew(opened, SHORT_SEGMENTS);
  const auto isTold = [&](const EventFilter& filter) {
    return *EventCounter(*opened.trace, *opened.index, filter).IsTold();
  };
  EventFilter filter;
  EXPECT_TRUE(isTold(filter));
  filter.thread = 3;
  EXPECT_TRUE(isTold(filter));
  filter.sends = false;
  filter.firstRecord = 777;
  EXPECT_TRUE(isTold(filter));
  filter.region = Region{{1, 1}, {5, 5}};
  EXPECT_FALSE(isTold(filter)) << "of a region the threads are not counted";
  filter.thread.reset();
  EXPECT_TRUE(isTold(filter));
  filter.sends = true;
  EXPECT_FALSE(isTold(filter)) << "some messages stay within the region";
}

TEST(EventCounterTest, ReadingThatIsStoppedGoesOnWhereItWas) {
  std::mt19937 random(4);
  const std::vector<Event> events = RandomEvents(random, {.records = 9000, .shape = {2, 1, 4}});
  Opened opened(Encode(events));
  IndexAnew(opened, SHORT_SEGMENTS);
  EventFilter filter;
  filter.region = Region{{1, 1}, {5, 5}};
  filter.thread = 2;
  filter.firstRecord = 100;
  const std::vector<uint64_t> expected = Expected(events, filter);
  EventCounter counter(*opened.trace, *opened.index, filter);
  uint64_t last = 0;
  size_t stops = 0;
  for (;;) {
    int calls = 0;
    const Result<uint64_t> count = counter.Count([&](const Progress& progress) {
      EXPECT_EQ(progress.all, events.size() - 100);
      EXPECT_EQ(progress.unit, Progress::RECORDS);
      EXPECT_GE(progress.done, last) << "nothing is read twice";
      last = progress.done;
      return ++calls < 6;
    });
    if (count) {
      EXPECT_EQ(*count, expected.size());
      break;
    }
    ASSERT_EQ(count.Why().kind, Fault::CANCELLED);
    ASSERT_LT(++stops, 100U);
  }
  EXPECT_GT(stops, 2U);
  EXPECT_GT(last, 8000U);
  bool asked = false;
  const auto ask = [&](const Progress&) { return asked = true; };
  EXPECT_EQ(*counter.Find(expected.size() / 2, ask), expected[expected.size() / 2]);
  EXPECT_EQ(*counter.CountBefore(5000, ask),
            static_cast<uint64_t>(std::lower_bound(expected.begin(), expected.end(), 5000) -
                                  expected.begin()));
  EXPECT_FALSE(asked) << "all is known by then";
}

TEST(EventCounterTest, TraceThatWasWrittenAnewIsNotCounted) {
  std::mt19937 random(5);
  const std::vector<Event> events = RandomEvents(random, {.records = 3000});
  Opened opened(Encode(events));
  IndexAnew(opened, SHORT_SEGMENTS);
  EventCounter counter(*opened.trace, *opened.index, {});
  ASSERT_TRUE(counter.Count());
  WriteFile(opened.name, Encode(RandomEvents(random, {.records = 3100})));
  EXPECT_EQ(counter.Count().Why().kind, Fault::CHANGED);
  EXPECT_EQ(counter.Find(3).Why().kind, Fault::CHANGED);
}

}  // namespace
}  // namespace marrowfin::testing
