#include "trace/ask/BatchCursor.h"

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

std::vector<uint64_t> RecordsOf(const Selection& found) {
  std::vector<uint64_t> records;
  for (size_t i = 0; i < found.Size(); ++i) {
    records.push_back(found.Record(i));
  }
  return records;
}

TEST(BatchCursorTest, BatchesHoldExactlyTheRecordsThatMatchInBothDirections) {
  std::mt19937 random(1);
  for (const bool falling : {false, true}) {
    RandomTraceOptions options;
    options.records = 9000;
    options.shape = {2, 1, 4};
    options.falling = falling;
    const std::vector<Event> events = RandomEvents(random, options);
    Opened opened(Encode(events));
    IndexAnew(opened, SHORT_SEGMENTS);
    for (int round = 0; round < 40; ++round) {
      const EventFilter filter = RandomFilter(random, events, 8);
      const std::vector<uint64_t> expected = Expected(events, filter);
      BatchCursor cursor(*opened.trace, *opened.index, filter);
      std::vector<uint64_t> forward;
      Selection found;
      while (cursor.Next(found)) {
        const std::vector<uint64_t> records = RecordsOf(found);
        ASSERT_FALSE(records.empty());
        ASSERT_LE(found.begin, records.front());
        ASSERT_GT(found.end, records.back());
        forward.insert(forward.end(), records.begin(), records.end());
      }
      ASSERT_EQ(forward, expected) << "round " << round;
      std::vector<uint64_t> back;
      while (cursor.Previous(found)) {
        const std::vector<uint64_t> records = RecordsOf(found);
        back.insert(back.begin(), records.begin(), records.end());
      }
      ASSERT_EQ(back, expected) << "round " << round;
      ASSERT_FALSE(cursor.GetFault()) << cursor.GetFault().Text();
    }
  }
}

TEST(BatchCursorTest, BatchesGoOnFromWhereverTheCursorIsPlaced) {
  std::mt19937 random(2);
  const std::vector<Event> events = PhasedEvents(random, 9000, 8);
  Opened opened(Encode(events));
  IndexAnew(opened, SHORT_SEGMENTS);
  for (int round = 0; round < 60; ++round) {
    const EventFilter filter = RandomFilter(random, events, 8);
    const std::vector<uint64_t> expected = Expected(events, filter);
    BatchCursor cursor(*opened.trace, *opened.index, filter);
    for (int place = 0; place < 10; ++place) {
      const uint64_t record = random() % (events.size() + 5);
      const auto next = std::lower_bound(expected.begin(), expected.end(), record);
      Selection found;
      cursor.Seek(record);
      ASSERT_EQ(cursor.Next(found), next != expected.end());
      ASSERT_TRUE(next == expected.end() || found.Record(0) == *next);
      cursor.Seek(record);
      ASSERT_EQ(cursor.Previous(found), next != expected.begin());
      ASSERT_TRUE(next == expected.begin() || RecordsOf(found).back() == *(next - 1));
    }
  }
}

TEST(BatchCursorTest, RecordsOfABatchTellTheirFieldsAndWhereTheyBegin) {
  std::mt19937 random(3);
  const std::vector<Event> events = RandomEvents(random, {.records = 3000});
  Opened opened(Encode(events));
  std::vector<uint64_t> offsets;
  uint64_t offset = 0;
  for (const Event& event : events) {
    offsets.push_back(offset);
    offset += RecordSize(event.type);
  }
  EventFilter filter;
  filter.thread = 2;
  BatchCursor cursor(*opened.trace, *opened.index, filter);
  Selection found;
  size_t seen = 0;
  while (cursor.Next(found)) {
    std::vector<uint64_t> begins(found.Size());
    found.GetOffsets(begins);
    for (size_t i = 0; i < found.Size(); ++i, ++seen) {
      const TraceEvent event = found.Event(i);
      const Event& known = events[event.record];
      ASSERT_EQ(begins[i], offsets[event.record]);
      ASSERT_EQ(event.record, found.Record(i));
      ASSERT_EQ(event.cycle, known.cycle);
      ASSERT_EQ(event.thread, known.thread);
      ASSERT_EQ(event.type, known.type);
      ASSERT_EQ(event.at, known.at);
      ASSERT_EQ(event.to, known.to);
    }
  }
  EXPECT_EQ(seen, Expected(events, filter).size());
}

TEST(BatchCursorTest, WithoutConditionsEveryBatchIsWhole) {
  std::mt19937 random(4);
  const std::vector<Event> events = RandomEvents(random, {.records = 3000});
  const Opened opened(Encode(events));
  BatchCursor cursor(*opened.trace, *opened.index, {});
  Selection found;
  uint64_t next = 0;
  while (cursor.Next(found)) {
    ASSERT_EQ(found.begin, next);
    ASSERT_EQ(found.Size(), found.columns->size);
    next = found.end;
  }
  EXPECT_EQ(next, events.size());
  EXPECT_EQ(cursor.RecordsRead(), events.size());
}

}  // namespace
}  // namespace marrowfin::testing
