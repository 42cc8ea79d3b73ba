// Sorting in pieces: equal to a plain stable sort.

#include "trace/edit/SortTrace.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/trace/edit/EditedTrace.h"
#include "trace/edit/SortRun.h"

namespace marrowfin::testing {
namespace {

// Many records in no order, of which many share a cycle.
std::vector<Event> Shuffled(std::mt19937& random, size_t records, uint64_t cycles) {
  RandomTraceOptions options;
  options.records = records;
  std::vector<Event> events = RandomEvents(random, options);
  for (Event& event : events) {
    event.cycle = random() % cycles;
  }
  return events;
}

std::vector<Event> Sorted(std::vector<Event> events) {
  std::stable_sort(events.begin(), events.end(),
                   [](const Event& a, const Event& b) { return a.cycle < b.cycle; });
  return events;
}

// Sorts a trace, as it is made in memory.
std::string Sort(const std::string& bytes, const SortOptions& options, SortAccount& account) {
  const std::unique_ptr<RecordFeed> feed = FeedOf(bytes);
  MadeTrace made(false);
  EXPECT_TRUE(Take(SortTrace(*feed, nullptr, options, made.made), account));
  EXPECT_TRUE(IsFine(made.made.Close()));
  return made.TraceBytes();
}

TEST(SortTraceTest, Takes256MiBUnlessItIsGivenOtherwise) {
  EXPECT_EQ(SortOptions().memory, size_t{256} << 20);
}

TEST(SortTraceTest, WhatFitsIntoMemoryIsSortedAsAPlainStableSortDoes) {
  std::mt19937 random(1);
  for (const uint64_t cycles : {uint64_t{1}, uint64_t{7}, uint64_t{5000}, ~uint64_t{0}}) {
    for (const size_t records : {size_t{0}, size_t{1}, size_t{2}, size_t{20000}}) {
      const std::vector<Event> events = Shuffled(random, records, cycles);
      SortAccount account;
      EXPECT_EQ(Encode(Sorted(events)), Sort(Encode(events), {}, account));
      EXPECT_EQ(account.records, records);
      EXPECT_LE(account.runs, 1U);
    }
  }
}

TEST(SortTraceTest, WhatDoesNotFitIsSortedInPiecesAsAPlainStableSortDoes) {
  std::mt19937 random(2);
  const std::vector<Event> events = Shuffled(random, 700000, 9000);
  const std::string expected = Encode(Sorted(events));
  for (const size_t threads : {size_t{1}, size_t{2}, size_t{3}}) {
    SortOptions options;
    options.memory = SortOptions::LEAST_MEMORY;
    options.threads = threads;
    SortAccount account;
    EXPECT_TRUE(expected == Sort(Encode(events), options, account)) << threads << " threads";
    EXPECT_LT(1U, account.runs);
    EXPECT_EQ(account.records, events.size());
    EXPECT_EQ(account.firstCycle, 0U);
    EXPECT_EQ(account.lastCycle, 8999U);
  }
}

// A feed that repeats a batch of records with cycles that fall, as often as it is asked to.
class FallingFeed : public RecordFeed {
 public:
  explicit FallingFeed(uint64_t records) : left(records / Columns::CAPACITY) {
    columns->size = Columns::CAPACITY;
  }

  bool Next() override {
    for (size_t i = 0; i < columns->size; ++i) {
      columns->cycle[i] = left;
      columns->tag[i] = {static_cast<uint32_t>(i), FIRE_RECORD};
      columns->at[i] = {};
      columns->to[i] = {};
    }
    return left-- > 0;
  }
  const Columns& Batch() const override { return *columns; }
  std::span<const NoteValues* const> Notes() const override { return {}; }
  const Fault& GetFault() const override { return fault; }
  uint64_t Done() const override { return 0; }
  uint64_t All() const override { return 0; }

 private:
  std::unique_ptr<Columns> columns = std::make_unique<Columns>();
  uint64_t left;
  Fault fault;
};

// Counts what is written, and looks at nothing.
class CountingSink : public ByteSink {
 public:
  Written Write(const uint8_t* bytes, size_t size) override {
    for (size_t at = 0; at < size; at += SMALL_RECORD) {
      const uint64_t cycle = uint64_t{bytes[at + 8]} << 24 | uint64_t{bytes[at + 9]} << 16 |
                             uint64_t{bytes[at + 10]} << 8 | bytes[at + 11];
      falls += cycle < last ? 1 : 0;
      last = cycle;
    }
    all += size;
    return {size, {}};
  }

  uint64_t all = 0;
  uint64_t falls = 0;
  uint64_t last = 0;
};

TEST(SortTraceTest, MoreRunsThanBuffersFitIntoMemoryAreMergedInSeveralRounds) {
  constexpr uint64_t RECORDS = uint64_t{6} << 20;
  FallingFeed feed(RECORDS);
  CountingSink sink;
  NewTrace made(sink, nullptr);
  SortOptions options;
  options.memory = SortOptions::LEAST_MEMORY;
  SortAccount account;
  ASSERT_TRUE(Take(SortTrace(feed, nullptr, options, made), account));
  ASSERT_TRUE(IsFine(made.Close()));
  EXPECT_EQ(account.records, RECORDS);
  EXPECT_LT(32U, account.runs);  // of 16 MiB half is for buffers of 256 KiB
  EXPECT_EQ(sink.all, RECORDS * SMALL_RECORD);
  EXPECT_EQ(sink.falls, 0U);
}

TEST(SortTraceTest, NotesStayWithTheirRecordsAndNameThemByTheirNewNumbers) {
  std::mt19937 random(3);
  for (const size_t records : {size_t{3000}, size_t{90000}}) {
    const RandomNoted trace(random, records, true);
    const OpenedNotes opened = trace.Open();
    NotesOfTrace notes(*opened.opened.trace, *opened.opened.index, *opened.notes);
    const auto feed = FeedFrom(*opened.opened.trace, *opened.opened.index, notes);
    MadeTrace made(true);
    SortOptions options;
    options.memory = SortOptions::LEAST_MEMORY;
    SortAccount account;
    ASSERT_TRUE(Take(SortTrace(*feed, opened.notes.get(), options, made.made), account));
    EXPECT_EQ(account.runs > 1, records > 3000);
    const Contents whole =
        ContentsOf(Encode(trace.noted.events), std::string(trace.bytes.begin(), trace.bytes.end()));
    const Contents expected = whole.Picked(InOrder(trace.noted.events));
    const Contents sorted = made.Close();
    EXPECT_NE(expected.events, whole.events);
    ASSERT_TRUE(expected.events == sorted.events);
    ASSERT_TRUE(expected.notes == sorted.notes);
    ASSERT_TRUE(expected.samples == sorted.samples);
  }
}

TEST(SortTraceTest, ATraceThatBreaksOffIsSortedUpToThere) {
  std::mt19937 random(4);
  const std::vector<Event> events = Shuffled(random, 1000, 50);
  SortAccount account;
  EXPECT_EQ(Encode(Sorted(events)), Sort(Encode(events) + "cut", {}, account));
  EXPECT_EQ(account.end.kind, Fault::CUT_RECORD);
  EXPECT_EQ(account.end.record, 1000U);
}

TEST(SortTraceTest, ProgressMayStopItAnywhere) {
  std::mt19937 random(5);
  const std::string bytes = Encode(Shuffled(random, 700000, 9000));
  SortOptions options;
  options.memory = SortOptions::LEAST_MEMORY;
  size_t calls = 0;
  const auto sort = [&](size_t stopAt) {
    const std::unique_ptr<RecordFeed> feed = FeedOf(bytes);
    MadeTrace made(false);
    calls = 0;
    return SortTrace(*feed, nullptr, options, made.made,
                     [&](const Progress&) { return ++calls != stopAt; })
        .Why();
  };
  ASSERT_TRUE(IsFine(sort(0)));
  const size_t all = calls;
  ASSERT_LT(3U, all);
  // How often it tells how far it is depends on how its threads share the processors.
  for (size_t stopAt = 1; stopAt < all; ++stopAt) {
    const Fault fault = sort(stopAt);
    EXPECT_TRUE(fault.kind == Fault::CANCELLED || (calls <= stopAt && stopAt > 3))
        << "at call " << stopAt << " of " << calls;
  }
}

TEST(SortTraceTest, ARunThatIsInOrderStaysAsItIs) {
  std::mt19937 random(6);
  const std::vector<Event> events = Sorted(Shuffled(random, 5000, 300));
  const std::string bytes = Encode(events);
  const std::unique_ptr<RecordFeed> feed = FeedOf(bytes);
  SortRun run(1 << 20, false);
  EXPECT_FALSE(run.Fill(*feed, 0));
  run.Sort();
  ASSERT_EQ(run.Size(), events.size());
  for (size_t i = 0; i < events.size(); ++i) {
    ASSERT_EQ(run.Record(i).cycle, events[i].cycle);
    ASSERT_EQ(run.Record(i).at, events[i].at);
  }
}

}  // namespace
}  // namespace marrowfin::testing
