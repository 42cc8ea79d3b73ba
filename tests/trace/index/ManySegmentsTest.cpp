// Activity in traces of so many segments that nodes of 256 of them and more are part of the answer,
// against plain counts.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "tests/support/Files.h"
#include "tests/trace/support/Opened.h"
#include "tests/trace/support/RandomTrace.h"
#include "trace/ask/ActivityReader.h"

namespace marrowfin::testing {
namespace {

// Segments as short as they can be, one of each batch: as many of them as a trace of millions of
// records has otherwise. The array is small, since a segment has more records than a large one has
// elements.
constexpr IndexLimits SHORT = {.segmentRecords = 1};

// An array that grows while the trace goes on, with one element that is busier than all others.
std::vector<Event> GrowingEvents(size_t records) {
  std::mt19937 random(1);
  std::vector<Event> events;
  for (const uint32_t clusters : {1U, 2U, 4U}) {
    RandomTraceOptions options;
    options.records = records / 3;
    options.shape = {clusters, 1, 2};
    options.firstCycle = events.empty() ? 0 : events.back().cycle;
    options.perCycle = 30;
    const std::vector<Event> part = RandomEvents(random, options);
    events.insert(events.end(), part.begin(), part.end());
  }
  for (size_t i = 0; i < events.size(); i += 3) {
    events[i] = {FIRE_RECORD, events[i].cycle, 1, {1, 1}, {}};
  }
  return events;
}

class ManySegmentsTest : public ::testing::Test {
 protected:
  ManySegmentsTest() : events(GrowingEvents(180000)) {}

  void MakeIndex(size_t records, IndexLimits limits) {
    WriteFile(name, Encode({events.begin(), events.begin() + static_cast<ptrdiff_t>(records)}));
    trace = OpenTrace(name);
    ASSERT_TRUE(trace);
    ASSERT_TRUE(IsFine(Index::Build(*trace, name + ".mfindex", {}, limits)));
    index = Made(Index::Load(*trace, name + ".mfindex"));
    ASSERT_TRUE(index);
  }

  // One count of each unit, by looking at every event.
  std::vector<uint64_t> PlainCounts(uint64_t first, uint64_t last, Activity activity) const {
    const ActivityReader reader(*trace, *index);
    const std::vector<Place>& places = index->GetSummary().switchPlaces;
    const size_t columns = reader.ColumnCount();
    std::vector<uint64_t> counts(activity == TRANSMISSIONS ? places.size()
                                                           : columns * reader.RowCount());
    const uint32_t type = activity == FIRES           ? FIRE_RECORD
                          : activity == TRANSMISSIONS ? SWITCH_RECORD
                                                      : SEND_RECORD;
    for (uint64_t i = first; i < last; ++i) {
      const Place place = activity == RECEIVES ? events[i].to : events[i].at;
      if (events[i].type == type) {
        const auto found = std::find(places.begin(), places.end(), place);
        ++counts[activity == TRANSMISSIONS ? static_cast<size_t>(found - places.begin())
                                           : place.row * columns + place.column];
      }
    }
    return counts;
  }

  void ExpectPlainCounts(uint64_t first, uint64_t last) const {
    const ActivityReader reader(*trace, *index);
    for (const Activity activity : {FIRES, SENDS, RECEIVES, TRANSMISSIONS}) {
      std::vector<uint64_t> counts;
      ASSERT_TRUE(IsFine(reader.Count(first, last, activity, counts)));
      ASSERT_EQ(counts, PlainCounts(first, last, activity))
          << "records " << first << " to " << last << ", activity " << activity;
    }
  }

  // Ranges with any ends, and those whose ends lie at boundaries or right beside them.
  void ExpectPlainCountsOfRandomRanges(int ranges) const {
    std::mt19937 random(2);
    const auto boundaries = index->Boundaries();
    const uint64_t records = index->GetSummary().records;
    const auto end = [&]() -> uint64_t {
      const uint64_t near = boundaries[random() % boundaries.size()].record + random() % 3 - 1;
      return random() % 2 == 0 ? random() % (records + 1) : std::min(near, records);
    };
    for (int i = 0; i < ranges; ++i) {
      const uint64_t one = end();
      const uint64_t other = end();
      ASSERT_NO_FATAL_FAILURE(ExpectPlainCounts(std::min(one, other), std::max(one, other)));
    }
    ASSERT_NO_FATAL_FAILURE(ExpectPlainCounts(0, records));
  }

  std::vector<Event> events;
  TempDir folder;
  std::string name = folder.File("t");
  std::unique_ptr<TraceSource> trace;
  std::unique_ptr<Index> index;
};

TEST_F(ManySegmentsTest, CountsOfAnyRangeAreThoseOfItsRecords) {
  MakeIndex(events.size(), SHORT);
  ASSERT_GT(index->Boundaries().size(), 512U + 64U);
  ExpectPlainCountsOfRandomRanges(40);
}

TEST_F(ManySegmentsTest, CountsUpToEveryPowerOfSegmentsAreThoseOfTheirRecords) {
  MakeIndex(events.size(), SHORT);
  for (size_t b = 1; b <= index->Boundaries().size(); b *= 2) {
    const uint64_t record = index->Boundaries()[b - 1].record;
    ExpectPlainCounts(0, record);
    ExpectPlainCounts(1, record + 1);
    ExpectPlainCounts(record, index->Boundaries().back().record);
  }
}

TEST_F(ManySegmentsTest, CountsAreRightWhereAFullTableLeftBoundariesOut) {
  IndexLimits limits = SHORT;
  limits.boundaries = 512;
  MakeIndex(events.size(), limits);
  ASSERT_GT(index->Boundaries().size(), 256U);
  ASSERT_LE(index->Boundaries().size(), 512U);
  ExpectPlainCountsOfRandomRanges(30);
}

// The nodes that the rest of the trace is added to come out of the file.
TEST_F(ManySegmentsTest, CountsAreRightWhereAnIndexOfManySegmentsWasExtended) {
  for (const size_t records : {size_t{66000}, size_t{132000}}) {
    MakeIndex(records, SHORT);
    const size_t before = index->Boundaries().size();
    ASSERT_GT(before, records / 260);
    WriteFile(name, Encode(events));
    trace = OpenTrace(name);
    index = OpenIndex(*trace);
    ASSERT_TRUE(index);
    ASSERT_GT(index->Boundaries().size(), before) << "it was built anew";
    ExpectPlainCountsOfRandomRanges(20);
  }
}

}  // namespace
}  // namespace marrowfin::testing
