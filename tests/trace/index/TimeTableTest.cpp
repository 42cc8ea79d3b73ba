#include "trace/index/TimeTable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <random>

#include "trace/base/Bytes.h"
#include "trace/index/TimeCounter.h"

namespace marrowfin::testing {
namespace {

struct Counted {
  uint64_t cycle;
  uint32_t thread;
  uint32_t type;
  uint64_t records;
};

constexpr uint64_t LAST_CYCLE = ~uint64_t{0};

void Add(TimeTable& table, const Counted& counted) {
  table.Add(counted.cycle,
            TimeTable::ColumnOf(table.AddThread(counted.thread), TimeTable::TypeOf(counted.type)),
            counted.records);
}

void AddAll(TimeTable& table, const std::vector<Counted>& all) {
  for (const Counted& counted : all) {
    Add(table, counted);
  }
}

TimeTable TableOf(const std::vector<Counted>& all, size_t cells = TimeTable::CELLS) {
  TimeTable table(cells);
  AddAll(table, all);
  return table;
}

// Cycles around a place that moves on, falls back and leaps.
std::vector<Counted> RandomCounts(std::mt19937_64& random, size_t size) {
  std::vector<Counted> all;
  uint64_t place = random() >> random() % 64;
  for (size_t i = 0; i < size; ++i) {
    const uint64_t leap = random() % 200 == 0 ? random() >> random() % 64 : random() % 4;
    place = random() % 3 == 0 ? place - leap : place + leap;
    all.push_back({place, static_cast<uint32_t>(random() % 24 * 50),
                   static_cast<uint32_t>(SWITCH_RECORD + random() % 3), 1 + random() % 3});
  }
  return all;
}

// What a table says, by cell number and column, for comparison with plain counting.
typedef std::map<std::pair<uint64_t, size_t>, uint64_t> Model;

Model ModelOf(const TimeTable& table) {
  Model model;
  for (size_t cell = 0; cell < table.Cells(); ++cell) {
    for (size_t column = 0; column < TimeTable::COLUMNS; ++column) {
      if (table.Count(column, cell) > 0) {
        model[{table.First() + cell, column}] = table.Count(column, cell);
      }
    }
  }
  return model;
}

Model CountPlainly(const std::vector<Counted>& all, unsigned shift) {
  std::vector<uint32_t> threads;
  Model model;
  for (const Counted& counted : all) {
    auto known = std::find(threads.begin(), threads.end(), counted.thread);
    if (known == threads.end() && threads.size() < 16) {
      known = threads.insert(threads.end(), counted.thread);
    }
    const size_t slot = known == threads.end() ? 16 : static_cast<size_t>(known - threads.begin());
    if (counted.records > 0) {
      model[{counted.cycle >> shift, slot * 4 + counted.type - 2}] += counted.records;
    }
  }
  return model;
}

TEST(TimeTableTest, EveryRecordIsInTheCellOfItsCycle) {
  std::mt19937_64 random(1);
  for (const size_t capacity : {2, 16, 1024, 16384}) {
    for (int round = 0; round < 20; ++round) {
      const std::vector<Counted> all = RandomCounts(random, 500);
      const TimeTable table = TableOf(all, capacity);
      ASSERT_LE(table.Cells(), capacity);
      ASSERT_EQ(ModelOf(table), CountPlainly(all, table.Shift()))
          << capacity << " cells, round " << round;
    }
  }
}

TEST(TimeTableTest, CellsAreAsNarrowAsTheBoundAllowsInWhateverOrderRecordsCome) {
  std::mt19937_64 random(2);
  for (int round = 0; round < 50; ++round) {
    std::vector<Counted> all = RandomCounts(random, 300);
    for (Counted& counted : all) {
      counted.thread = 0;
    }
    const TimeTable table = TableOf(all, 64);
    const auto [first, last] = std::minmax_element(
        all.begin(), all.end(), [](const auto& a, const auto& b) { return a.cycle < b.cycle; });
    const unsigned shift = table.Shift();
    EXPECT_LE((last->cycle >> shift) - (first->cycle >> shift), 63U);
    EXPECT_TRUE(shift == 0 || (last->cycle >> (shift - 1)) - (first->cycle >> (shift - 1)) > 63);
    EXPECT_EQ(table.First(), first->cycle >> shift);
    EXPECT_EQ(table.First() + table.Cells() - 1, last->cycle >> shift);
    std::shuffle(all.begin(), all.end(), random);
    EXPECT_EQ(TableOf(all, 64).Encode(), table.Encode());
  }
}

TEST(TimeTableTest, ThreadsThatComeFirstAreToldApartAndAllOthersCountedTogether) {
  TimeTable table;
  for (uint32_t i = 0; i < 20; ++i) {
    Add(table, {5, 1000 - i, FIRE_RECORD, i + 1});
  }
  ASSERT_EQ(table.Threads().size(), TimeTable::THREADS);
  EXPECT_EQ(table.Threads()[3], 997U);
  EXPECT_EQ(table.Count(TimeTable::ColumnOf(3, TimeTable::TypeOf(FIRE_RECORD)), 0), 4U);
  EXPECT_EQ(table.Count(TimeTable::ColumnOf(TimeTable::OTHERS, TimeTable::TypeOf(FIRE_RECORD)), 0),
            17U + 18 + 19 + 20);
}

TEST(TimeTableTest, CountsBeyond32BitsAreKept) {
  constexpr uint64_t MANY = uint64_t{1} << 32;
  TimeTable table(4);
  const size_t column = TimeTable::ColumnOf(0, 0);
  Add(table, {0, 0, SWITCH_RECORD, MANY - 1});
  Add(table, {1, 0, SWITCH_RECORD, MANY - 1});
  Add(table, {1, 0, SWITCH_RECORD, 1});
  EXPECT_EQ(table.Count(column, 0), MANY - 1);
  EXPECT_EQ(table.Count(column, 1), MANY);
  Add(table, {4, 0, SWITCH_RECORD, 5 * MANY});
  EXPECT_EQ(table.Shift(), 1U);
  EXPECT_EQ(table.Count(column, 0), 2 * MANY - 1);
  EXPECT_EQ(table.Count(column, 2), 5 * MANY);
  TimeTable::Sums sums = {};
  sums[column] = 10;
  table.AddCells(0, 3, sums);
  EXPECT_EQ(sums[column], 7 * MANY + 9);
  const std::optional<TimeTable> back = TimeTable::Decode(table.Encode());
  ASSERT_TRUE(back);
  EXPECT_EQ(back->Count(column, 2), 5 * MANY);
}

TEST(TimeTableTest, RangesAddUpTheirCellsWhereverTheTableBegins) {
  std::mt19937_64 random(3);
  for (int round = 0; round < 100; ++round) {
    const TimeTable table = TableOf(RandomCounts(random, 200), 64);
    const size_t from = random() % (table.Cells() + 1);
    const size_t to = random() % (table.Cells() + 1);
    TimeTable::Sums sums;
    sums.fill(7);
    table.AddCells(from, to, sums);
    for (size_t column = 0; column < TimeTable::COLUMNS; ++column) {
      uint64_t sum = 7;
      for (size_t cell = from; cell < to; ++cell) {
        sum += table.Count(column, cell);
      }
      ASSERT_EQ(sums[column], sum);
    }
  }
}

TEST(TimeTableTest, SeriesOfRecordsAreAddedLikeRecordsOneByOne) {
  std::mt19937_64 random(9);
  for (int round = 0; round < 20; ++round) {
    TimeTable each(64);
    TimeTable single(64);
    std::vector<uint64_t> cycles;
    std::vector<uint8_t> columns;
    for (const Counted& counted : RandomCounts(random, 300)) {
      single.AddThread(counted.thread);
      each.AddThread(counted.thread);
      const size_t slot = single.SlotOf(static_cast<uint32_t>(random() % 24 * 50));
      cycles.push_back(counted.cycle);
      columns.push_back(
          static_cast<uint8_t>(TimeTable::ColumnOf(slot, random() % TimeTable::TYPES)));
      single.Add(cycles.back(), columns.back(), 1);
      if (random() % 20 == 0) {
        each.AddEach(cycles, columns);
        cycles.clear();
        columns.clear();
      }
    }
    each.AddEach(cycles, columns);
    ASSERT_EQ(each.Encode(), single.Encode());
  }
}

TEST(TimeTableTest, SeriesOfRecordsOverflowIntoUpperHalves) {
  const size_t column = TimeTable::ColumnOf(TimeTable::OTHERS, 1);
  const std::vector<uint64_t> cycles(3, 1);
  const std::vector<uint8_t> columns(3, static_cast<uint8_t>(column));
  TimeTable full(4);
  full.Add(1, column, 0xFFFFFFFE);
  full.AddEach(cycles, columns);
  EXPECT_EQ(full.Count(column, 0), uint64_t{0xFFFFFFFE} + 3);
  // The same where the count came from another table or moved meanwhile.
  TimeTable other(4);
  other.Add(1, column, 0xFFFFFFFE);
  TimeTable sum(4);
  ASSERT_TRUE(sum.Merge(other));
  sum.AddEach(std::vector<uint64_t>{900}, std::vector<uint8_t>{columns[0]});
  sum.AddEach(cycles, columns);
  EXPECT_EQ(sum.Count(column, 0), uint64_t{0xFFFFFFFE} + 3);
}

TEST(TimeTableTest, TablesOfAnyWidthsAreMerged) {
  std::mt19937_64 random(8);
  for (int round = 0; round < 50; ++round) {
    std::vector<Counted> all = RandomCounts(random, 200);
    const std::vector<Counted> more = RandomCounts(random, random() % 200);
    TimeTable table(32);
    TimeTable other(128);
    for (uint32_t thread = 0; thread < 24; ++thread) {
      table.AddThread(thread * 50);
      other.AddThread(thread * 50);
    }
    AddAll(table, all);
    AddAll(other, more);
    ASSERT_TRUE(table.Merge(other));
    EXPECT_GE(table.Shift(), other.Shift());
    std::map<std::pair<uint64_t, uint32_t>, uint64_t> expected;
    all.insert(all.end(), more.begin(), more.end());
    for (const Counted& counted : all) {
      expected[{counted.cycle >> table.Shift(), counted.type}] += counted.records;
    }
    for (const auto& [key, records] : expected) {
      uint64_t sum = 0;
      for (size_t slot = 0; slot < TimeTable::SLOTS; ++slot) {
        sum += table.Count(TimeTable::ColumnOf(slot, TimeTable::TypeOf(key.second)),
                           static_cast<size_t>(key.first - table.First()));
      }
      ASSERT_EQ(sum, records);
    }
  }
}

TEST(TimeTableTest, TablesThatTellOtherThreadsApartAreNotMerged) {
  TimeTable table = TableOf({{0, 7, FIRE_RECORD, 1}});
  EXPECT_FALSE(table.Merge(TableOf({{0, 8, FIRE_RECORD, 1}})));
  EXPECT_FALSE(table.Merge(TableOf({{0, 8, FIRE_RECORD, 1}, {0, 7, FIRE_RECORD, 1}})));
  EXPECT_EQ(table.Encode(), TableOf({{0, 7, FIRE_RECORD, 1}}).Encode());
  EXPECT_TRUE(table.Merge(TableOf({{0, 7, FIRE_RECORD, 1}, {0, 8, FIRE_RECORD, 1}})));
  EXPECT_TRUE(table.Merge(TableOf({{0, 7, FIRE_RECORD, 1}})));
  EXPECT_EQ(table.Encode(), TableOf({{0, 7, FIRE_RECORD, 3}, {0, 8, FIRE_RECORD, 1}}).Encode());
}

TEST(TimeTableTest, ClearedTableKeepsThreadsAndCountsAnewInCellsAsWideAsThoseBefore) {
  const std::vector<Counted> old = {{0, 7, FIRE_RECORD, uint64_t{1} << 40},
                                    {999, 8, SEND_RECORD, 3}};
  for (const unsigned wider : {0U, 4U}) {
    TimeTable table = TableOf(old, 16);
    const TimeTable before =
        TableOf({{0, 7, FIRE_RECORD, 1}, {999U << wider, 7, FIRE_RECORD, 1}}, 16);
    table.ClearFor(before);
    EXPECT_EQ(table.Cells(), 0U);
    EXPECT_EQ(table.Shift(), before.Shift());
    EXPECT_EQ(table.Threads().size(), 2U);
    Add(table, {0, 8, FIRE_RECORD, 1});
    Add(table, {999, 8, FIRE_RECORD, 2});
    EXPECT_EQ(
        ModelOf(table),
        CountPlainly({{0, 7, FIRE_RECORD, 0}, {0, 8, FIRE_RECORD, 1}, {999, 8, FIRE_RECORD, 2}},
                     before.Shift()));
  }
}

TEST(TimeTableTest, BytesTellTheTableAsItWas) {
  std::mt19937_64 random(4);
  std::vector<TimeTable> tables = {
      TimeTable(), TableOf({{LAST_CYCLE, 3, SEND_RECORD, 1}}),
      TableOf({{0, 3, SEND_RECORD, 1}, {LAST_CYCLE, 4, FIRE_RECORD, 2}})};
  for (int round = 0; round < 20; ++round) {
    tables.push_back(TableOf(RandomCounts(random, 400)));
  }
  for (const TimeTable& table : tables) {
    const std::vector<uint8_t> bytes = table.Encode();
    EXPECT_LE(bytes.size(), TimeTable::LARGEST);
    const std::optional<TimeTable> back = TimeTable::Decode(bytes);
    ASSERT_TRUE(back);
    EXPECT_EQ(back->Shift(), table.Shift());
    EXPECT_EQ(back->First(), table.First());
    EXPECT_EQ(back->Cells(), table.Cells());
    EXPECT_TRUE(std::ranges::equal(back->Threads(), table.Threads()));
    EXPECT_EQ(ModelOf(*back), ModelOf(table));
  }
}

TEST(TimeTableTest, EveryByteCounts) {
  std::mt19937_64 random(5);
  std::vector<uint8_t> bytes = TableOf(RandomCounts(random, 50), 32).Encode();
  for (size_t size = 0; size < bytes.size(); ++size) {
    EXPECT_FALSE(TimeTable::Decode({bytes.data(), size})) << size;
  }
  bytes.push_back(0);
  EXPECT_FALSE(TimeTable::Decode(bytes));
}

// A table of one thread with a single column, written by hand.
struct Written {
  uint64_t shift = 3;
  uint64_t first = 7;
  uint64_t cells = 2;
  std::vector<uint64_t> threads = {9};
  uint64_t width = 1;
  std::vector<uint8_t> counts = {1, 2};

  bool Passes() const {
    ByteWriter out;
    for (const uint64_t number : {shift, first, cells, uint64_t{threads.size()}}) {
      out.Number(number);
    }
    for (const uint64_t thread : threads) {
      out.Number(thread);
    }
    out.Number(width);
    out.Raw(counts.data(), counts.size());
    for (size_t column = 1; column < 3 * (threads.size() + 1); ++column) {
      out.Number(0);
    }
    return TimeTable::Decode(out.Bytes()).has_value();
  }
};

TEST(TimeTableTest, BytesThatContradictThemselvesAreNoTable) {
  EXPECT_TRUE(Written().Passes());
  EXPECT_TRUE((Written{.threads = {9, 0xFFFFFFFF}}.Passes()));
  EXPECT_FALSE((Written{.shift = 64}.Passes()));
  EXPECT_FALSE((Written{.shift = ~uint64_t{0}}.Passes()));
  EXPECT_TRUE((Written{.shift = 0, .first = LAST_CYCLE - 1}.Passes()));
  EXPECT_FALSE((Written{.shift = 0, .first = LAST_CYCLE}.Passes())) << "a cell behind all cycles";
  EXPECT_FALSE((Written{.first = uint64_t{1} << 61}.Passes()));
  EXPECT_FALSE((Written{.cells = 3}.Passes()));
  EXPECT_FALSE((Written{.cells = 16385, .counts = std::vector<uint8_t>(16385, 1)}.Passes()));
  EXPECT_TRUE((Written{.cells = 16384, .counts = std::vector<uint8_t>(16384, 1)}.Passes()));
  EXPECT_FALSE((Written{.threads = {9, 9}}.Passes())) << "a thread twice";
  EXPECT_FALSE((Written{.threads = {uint64_t{1} << 32}}.Passes()));
  EXPECT_FALSE((Written{.threads = std::vector<uint64_t>(17, 1)}.Passes()));
  EXPECT_FALSE((Written{.width = 2}.Passes()));
  EXPECT_FALSE((Written{.width = 9, .counts = std::vector<uint8_t>(18, 1)}.Passes()));
  EXPECT_TRUE((Written{.width = 8, .counts = std::vector<uint8_t>(16, 1)}.Passes()));
  EXPECT_FALSE((Written{.counts = {0, 2}}.Passes())) << "nothing in the first cell";
  EXPECT_FALSE((Written{.counts = {1, 0}}.Passes())) << "nothing in the last one";
}

TEST(TimeTableTest, RandomBytesAreReadWithoutHarm) {
  std::mt19937_64 random(6);
  const std::vector<uint8_t> sound = TableOf(RandomCounts(random, 50), 32).Encode();
  for (int round = 0; round < 2000; ++round) {
    std::vector<uint8_t> bytes = sound;
    for (size_t changes = 1 + random() % 4; changes > 0; --changes) {
      bytes[random() % bytes.size()] = static_cast<uint8_t>(random());
    }
    if (const std::optional<TimeTable> table = TimeTable::Decode(bytes)) {
      EXPECT_LE(table->Cells(), TimeTable::CELLS);
      EXPECT_LE(table->Threads().size(), TimeTable::THREADS);
    }
  }
}

// The same records, as batches of random sizes.
class TimeCounterTest : public ::testing::Test {
 protected:
  // Adds the records from `from` on.
  void AddBatches(TimeCounter& counter, size_t from) {
    while (from < all.size()) {
      columns->Clear();
      const size_t most = 1 + random() % Columns::CAPACITY;
      uint64_t last = all[from].cycle;
      for (size_t i = from; i < all.size() && columns->size < most; ++i) {
        columns->fell |= all[i].cycle < last;
        last = all[i].cycle;
        columns->cycle[columns->size] = all[i].cycle;
        columns->tag[columns->size] = {all[i].thread, all[i].type};
        columns->sends += all[i].type == SEND_RECORD ? 1 : 0;
        columns->switches += all[i].type == SWITCH_RECORD ? 1 : 0;
        ++columns->size;
      }
      summarizer.AddAllButThreads(*columns);
      counter.Add(*columns, summarizer);
      from += columns->size;
    }
  }

  // Long stretches of a cycle among those that change with every record, or that only rise.
  void Draw(bool falling) {
    summarizer = Summarizer();
    all.clear();
    uint64_t cycle = random() % 1000;
    const size_t size = 3000;
    for (unsigned stay = 0; all.size() < size; --stay) {
      if (stay == 0) {
        stay = random() % 2 == 0 ? 1 : 1 + static_cast<unsigned>(random() % 400);
        const uint64_t step = random() % 50 == 0 ? random() % 5000 : random() % 9;
        cycle = falling && random() % 4 == 0 && cycle > step ? cycle - step : cycle + step;
      }
      all.push_back({cycle, static_cast<uint32_t>(random() % 30 * 5),
                     static_cast<uint32_t>(SWITCH_RECORD + random() % 3), 1});
    }
  }

  std::mt19937_64 random{7};
  std::vector<Counted> all;
  std::unique_ptr<Columns> columns = std::make_unique<Columns>();
  Summarizer summarizer;
};

TEST_F(TimeCounterTest, BatchesAreCountedLikeRecordsOneByOne) {
  for (int round = 0; round < 40; ++round) {
    Draw(round % 2 == 0);
    TimeCounter counter(TimeTable(256));
    AddBatches(counter, 0);
    ASSERT_EQ(counter.Get().Encode(), TableOf(all, 256).Encode()) << "round " << round;
  }
}

TEST_F(TimeCounterTest, TableCanBeLookedAtBetweenBatches) {
  Draw(true);
  TimeCounter counter(TimeTable(256));
  const std::vector<Counted> whole = all;
  all.resize(1500);
  AddBatches(counter, 0);
  EXPECT_EQ(counter.Get().Encode(), TableOf(all, 256).Encode());
  all = whole;
  AddBatches(counter, 1500);
  EXPECT_EQ(counter.Get().Encode(), TableOf(all, 256).Encode());
}

TEST_F(TimeCounterTest, CountingGoesOnFromATable) {
  for (int round = 0; round < 20; ++round) {
    Draw(round % 2 == 0);
    const std::vector<Counted> whole = all;
    all.resize(random() % all.size());
    const size_t from = all.size();
    TimeCounter before(TimeTable(256));
    AddBatches(before, 0);
    TimeCounter counter(before.Get());
    all = whole;
    AddBatches(counter, from);
    ASSERT_EQ(counter.Get().Encode(), TableOf(all, 256).Encode()) << "from " << from;
  }
}

TEST_F(TimeCounterTest, WhatIsCountedInPartsAddsUpAndSoDoThreads) {
  for (int round = 0; round < 20; ++round) {
    Draw(round % 2 == 0);
    Summarizer plain;
    TimeTable sum(256);
    TimeCounter part(TimeTable(256));
    const std::vector<Counted> whole = all;
    for (size_t from = 0; from < whole.size();) {
      all.resize(std::min(whole.size(), from + random() % 1000));
      AddBatches(part, from);
      part.TellThreads(summarizer);
      ASSERT_TRUE(sum.Merge(part.Get()));
      part.ClearFor(sum);
      from = all.size();
      all = whole;
    }
    for (const Counted& counted : whole) {
      plain.AddThread(counted.thread, counted.type, 1);
    }
    ASSERT_EQ(sum.Encode(), TableOf(all, 256).Encode()) << "round " << round;
    ASSERT_TRUE(std::ranges::equal(summarizer.ThreadCounts(), plain.ThreadCounts()));
    ASSERT_EQ(summarizer.Get().largeThreads, plain.Get().largeThreads);
  }
}

}  // namespace
}  // namespace marrowfin::testing
