// Filters on notes: equal to a plain scan of what was recorded.

#include "trace/ask/NotedCursor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/trace/support/NotedTrace.h"
#include "trace/ask/NotedCounter.h"

namespace marrowfin::testing {
namespace {

using ::testing::HasSubstr;

constexpr IndexLimits SHORT_SEGMENTS = {
    .segmentRecords = 1, .entryRecords = 600, .maskRecords = 1000};

NotedEvents Noted(std::mt19937& random, size_t records, bool falling = false) {
  RandomTraceOptions options;
  options.records = records;
  options.shape = {2, 1, 4};
  options.falling = falling;
  return RandomNotes(random, RandomEvents(random, options));
}

NotedFilter RandomNotedFilter(std::mt19937& random, const NotedEvents& noted) {
  NotedFilter filter;
  if (random() % 2 == 0) {
    filter.events = RandomFilter(random, noted.events, 8);
  }
  for (size_t conditions = random() % 3; conditions > 0; --conditions) {
    filter.notes.push_back(RandomCondition(random, noted));
  }
  return filter;
}

std::vector<uint64_t> Forward(NotedCursor& cursor) {
  std::vector<uint64_t> records;
  Selection found;
  while (cursor.Next(found)) {
    EXPECT_GT(found.Size(), 0U);
    for (size_t i = 0; i < found.Size(); ++i) {
      records.push_back(found.Record(i));
    }
  }
  return records;
}

std::vector<uint64_t> Backward(NotedCursor& cursor) {
  std::vector<uint64_t> records;
  Selection found;
  while (cursor.Previous(found)) {
    for (size_t i = found.Size(); i > 0; --i) {
      records.push_back(found.Record(i - 1));
    }
  }
  std::reverse(records.begin(), records.end());
  return records;
}

TEST(NotedCursorTest, WhatIsFoundEqualsAPlainScanInBothDirections) {
  std::mt19937 random(1);
  for (const bool falling : {false, true}) {
    const NotedEvents noted = Noted(random, 6000, falling);
    OpenedNotes opened(noted, NotesBytes(noted, random, 250));
    IndexAnew(opened.opened, SHORT_SEGMENTS);
    NotesOfTrace notes(*opened.opened.trace, *opened.opened.index, *opened.notes);
    size_t all = 0;
    for (int round = 0; round < 100; ++round) {
      const NotedFilter filter = RandomNotedFilter(random, noted);
      const std::vector<uint64_t> expected = Expected(noted, filter.events, filter.notes);
      NotedCursor cursor(*opened.opened.trace, *opened.opened.index, notes, filter);
      ASSERT_EQ(expected, Forward(cursor)) << "round " << round;
      ASSERT_EQ(expected, Backward(cursor)) << "round " << round;
      ASSERT_TRUE(IsFine(cursor.GetFault()));
      all += expected.size();
    }
    EXPECT_GT(all, 1000U);
  }
}

TEST(NotedCursorTest, SearchGoesOnFromWhereverTheCursorIsPlaced) {
  std::mt19937 random(2);
  const NotedEvents noted = Noted(random, 5000);
  OpenedNotes opened(noted, NotesBytes(noted, random, 250));
  NotesOfTrace notes(*opened.opened.trace, *opened.opened.index, *opened.notes);
  for (int round = 0; round < 60; ++round) {
    const NotedFilter filter = RandomNotedFilter(random, noted);
    const std::vector<uint64_t> expected = Expected(noted, filter.events, filter.notes);
    NotedCursor cursor(*opened.opened.trace, *opened.opened.index, notes, filter);
    for (int place = 0; place < 10; ++place) {
      const uint64_t record = random() % (noted.events.size() + 5);
      const auto next = std::lower_bound(expected.begin(), expected.end(), record);
      Selection found;
      cursor.Seek(record);
      ASSERT_EQ(next != expected.end(), cursor.Next(found));
      ASSERT_TRUE(next == expected.end() || found.Record(0) == *next);
      cursor.Seek(record);
      ASSERT_EQ(next != expected.begin(), cursor.Previous(found));
      ASSERT_TRUE(next == expected.begin() || found.Record(found.Size() - 1) == *(next - 1));
    }
  }
}

TEST(NotedCursorTest, CountsAndTheNthEqualAPlainScan) {
  std::mt19937 random(3);
  // More records than lie between two marks of the counter.
  const NotedEvents noted = Noted(random, 150000);
  OpenedNotes opened(noted, NotesBytes(noted, random, 20000));
  NotesOfTrace notes(*opened.opened.trace, *opened.opened.index, *opened.notes);
  for (int round = 0; round < 8; ++round) {
    const NotedFilter filter = RandomNotedFilter(random, noted);
    const std::vector<uint64_t> expected = Expected(noted, filter.events, filter.notes);
    NotedCounter counter(*opened.opened.trace, *opened.opened.index, notes, filter);
    for (int question = 0; question < 4; ++question) {
      const uint64_t record = random() % noted.events.size();
      uint64_t before = 0;
      ASSERT_TRUE(Take(counter.CountBefore(record), before));
      ASSERT_EQ(static_cast<uint64_t>(std::lower_bound(expected.begin(), expected.end(), record) -
                                      expected.begin()),
                before);
    }
    uint64_t count = 0;
    ASSERT_TRUE(Take(counter.Count(), count));
    ASSERT_EQ(expected.size(), count);
    for (int question = 0; question < 4 && !expected.empty(); ++question) {
      const uint64_t n = random() % expected.size();
      uint64_t record = 0;
      ASSERT_TRUE(Take(counter.Find(n), record));
      ASSERT_EQ(expected[n], record);
    }
    EXPECT_EQ(Fault::OUT_OF_RANGE, counter.Find(expected.size()).Why().kind);
  }
}

TEST(NotedCursorTest, CountingTellsHowFarItIsAndGoesOnAfterItWasStopped) {
  std::mt19937 random(11);
  const NotedEvents noted = Noted(random, 30000);
  const OpenedNotes opened(noted, NotesBytes(noted, random, 5000));
  NotesOfTrace notes(*opened.opened.trace, *opened.opened.index, *opened.notes);
  const NotedFilter filter = {{}, {{KIND, NoteCondition::HAS, 0, 0}}};
  NotedCounter counter(*opened.opened.trace, *opened.opened.index, notes, filter);
  int left = 2;
  uint64_t reached = 0;
  const auto stop = [&](const Progress& now) {
    EXPECT_EQ(Progress::RECORDS, now.unit);
    EXPECT_EQ(30000U, now.all);
    EXPECT_GE(now.done, reached);
    reached = now.done;
    return --left > 0;
  };
  EXPECT_EQ(Fault::CANCELLED, counter.Count(stop).Why().kind);
  const uint64_t before = reached;
  EXPECT_GT(before, 0U);
  left = 1 << 20;
  uint64_t count = 0;
  ASSERT_TRUE(Take(counter.Count(stop), count));
  EXPECT_EQ(Expected(noted, {}, filter.notes).size(), count);
  EXPECT_GT(reached, before);
}

TEST(NotedCursorTest, NotesOfAnotherTraceAnswerNoCondition) {
  std::mt19937 random(4);
  const NotedEvents noted = Noted(random, 3000);
  NotedEvents other = noted;
  ++other.events[2000].at.row;
  OpenedNotes opened(other, NotesBytes(noted, random, 250));
  NotesOfTrace notes(*opened.opened.trace, *opened.opened.index, *opened.notes);
  const NotedFilter filter = {{}, {{SIZE, NoteCondition::HAS, 0, 0}}};
  NotedCursor cursor(*opened.opened.trace, *opened.opened.index, notes, filter);
  Forward(cursor);
  EXPECT_EQ(Fault::OTHER_TRACE, cursor.GetFault().kind);
  NotedCounter counter(*opened.opened.trace, *opened.opened.index, notes, filter);
  EXPECT_EQ(Fault::OTHER_TRACE, counter.Count().Why().kind);
  // Without conditions the trace answers as before.
  NotedCursor plain(*opened.opened.trace, *opened.opened.index, notes, {});
  EXPECT_EQ(other.events.size(), Forward(plain).size());
  EXPECT_TRUE(IsFine(plain.GetFault()));
  NotedCounter plainCounter(*opened.opened.trace, *opened.opened.index, notes, {});
  uint64_t count = 0;
  EXPECT_TRUE(Take(plainCounter.Count(), count));
  EXPECT_EQ(other.events.size(), count);
}

TEST(NotedCursorTest, RecordsOfADamagedBlockMeetNoConditionAtAll) {
  std::mt19937 random(5);
  const NotedEvents noted = Noted(random, 3000);
  std::string bytes = NotesBytes(noted, random, 250);
  const NotesEntry damaged = OpenNotes(bytes)->Blocks()[3];
  bytes[damaged.offset + NOTES_BLOCK_HEAD + 9] ^= 1;
  OpenedNotes opened(noted, bytes);
  NotesOfTrace notes(*opened.opened.trace, *opened.opened.index, *opened.notes);
  for (const auto comparison : {NoteCondition::HAS, NoteCondition::HAS_NOT}) {
    const NotedFilter filter = {{}, {{KIND, comparison, 0, 0}}};
    std::vector<uint64_t> expected = Expected(noted, filter.events, filter.notes);
    std::erase_if(expected,
                  [&](uint64_t record) { return record >= damaged.low && record < damaged.high; });
    NotedCursor cursor(*opened.opened.trace, *opened.opened.index, notes, filter);
    EXPECT_EQ(expected, Forward(cursor));
    EXPECT_TRUE(IsFine(cursor.GetFault()));
  }
  EXPECT_EQ(Fault::DAMAGED_NOTES, notes.Refused().kind);
}

TEST(NotedCursorTest, ConditionOnAnAttributeThatIsNotDeclaredIsAFault) {
  std::mt19937 random(6);
  const NotedEvents noted = Noted(random, 100);
  OpenedNotes opened(noted, NotesBytes(noted, random, 250));
  NotesOfTrace notes(*opened.opened.trace, *opened.opened.index, *opened.notes);
  NotedCursor cursor(*opened.opened.trace, *opened.opened.index, notes,
                     {{}, {{NOTE_ATTRIBUTES, NoteCondition::HAS, 0, 0}}});
  Selection found;
  EXPECT_FALSE(cursor.Next(found));
  EXPECT_EQ(Fault::OUT_OF_RANGE, cursor.GetFault().kind);
}

TEST(NotedCursorTest, SearchTellsHowFarItIsAndGoesOnAfterItWasStopped) {
  std::mt19937 random(7);
  const NotedEvents noted = Noted(random, 5000);
  OpenedNotes opened(noted, NotesBytes(noted, random, 250));
  NotesOfTrace notes(*opened.opened.trace, *opened.opened.index, *opened.notes);
  const NotedFilter filter = {{}, {{PACKET, NoteCondition::EQUAL, 200, 0}}};
  uint64_t last = 0;
  bool stops = true;
  NotedCursor cursor(*opened.opened.trace, *opened.opened.index, notes, filter,
                     [&](const Progress& progress) {
                       EXPECT_EQ(Progress::RECORDS, progress.unit);
                       EXPECT_EQ(noted.events.size(), progress.all);
                       EXPECT_GE(progress.done, last);
                       last = progress.done;
                       return !stops || progress.done < 1000;
                     });
  EXPECT_TRUE(Forward(cursor).empty());
  EXPECT_EQ(Fault::CANCELLED, cursor.GetFault().kind);
  stops = false;
  last = 0;
  cursor.Seek(0);
  EXPECT_EQ(Expected(noted, filter.events, filter.notes), Forward(cursor));
  EXPECT_EQ(noted.events.size(), last);
}

}  // namespace
}  // namespace marrowfin::testing
