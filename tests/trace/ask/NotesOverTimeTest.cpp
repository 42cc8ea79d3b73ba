// Activity by the values of notes, over time and by place: equal to a plain scan.

#include "trace/ask/NotesOverTime.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/trace/support/NotedTrace.h"
#include "trace/ask/NotedPlaces.h"
#include "trace/ask/TimeBins.h"
#include "trace/write/NotesWriter.h"

namespace marrowfin::testing {
namespace {

// Of more cycles than a table has cells.
NotedEvents Noted(std::mt19937& random, size_t records, bool falling) {
  RandomTraceOptions options;
  options.records = records;
  options.shape = {2, 1, 4};
  options.falling = falling;
  std::vector<Event> events = RandomEvents(random, options);
  for (size_t i = records / 2; i < (falling ? records / 2 + 3 : records); ++i) {
    events[i].cycle += 100000;
  }
  return RandomNotes(random, std::move(events));
}

struct Known {
  Known(const NotedEvents& noted, const std::string& bytes)
      : opened(noted, bytes), notes(Trace(), TraceIndex(), *opened.notes) {
    index = Made(NotesIndex::Open(Trace(), TraceIndex(), notes, *store));
  }

  const TraceSource& Trace() const { return *opened.opened.trace; }
  const Index& TraceIndex() const { return *opened.opened.index; }

  Result<NoteBins> Ask(uint32_t attribute, const ActivityQuestion& question,
                       const ProgressCallback& progress = {}) {
    return NotesOverTime(Trace(), TraceIndex(), notes, *index, attribute, question, progress);
  }

  OpenedNotes opened;
  NotesOfTrace notes;
  std::unique_ptr<IndexStore> store = IndexInMemory();
  std::unique_ptr<NotesIndex> index;
};

// What the bins should have, by looking at every event.
void ExpectCounted(const NoteBins& bins, const NotedEvents& noted, uint32_t attribute) {
  NoteBins expected = bins;
  std::fill(expected.counts.begin(), expected.counts.end(), 0);
  for (size_t i = 0; i < noted.events.size(); ++i) {
    const Event& event = noted.events[i];
    if (bins.firsts.empty() || event.cycle < bins.firsts[0] || event.cycle > bins.last) {
      continue;
    }
    const size_t bin =
        static_cast<size_t>(std::upper_bound(bins.firsts.begin(), bins.firsts.end(), event.cycle) -
                            bins.firsts.begin() - 1);
    const std::vector<uint64_t>& values = noted.values[attribute][i];
    const auto known = values.empty()
                           ? bins.values.end()
                           : std::find(bins.values.begin(), bins.values.end(), values[0]);
    const size_t slot =
        values.empty() ? bins.None() : static_cast<size_t>(known - bins.values.begin());
    ++expected.counts[bins.At(slot, event.type - SWITCH_RECORD, bin)];
  }
  ASSERT_EQ(expected.counts, bins.counts);
}

TEST(NotesOverTimeTest, BinsEqualAPlainScan) {
  std::mt19937 random(1);
  for (const bool falling : {false, true}) {
    const NotedEvents noted = Noted(random, 9000, falling);
    Known known(noted, NotesBytes(noted, random, 300));
    const uint64_t last = known.TraceIndex().GetSummary().maxCycle;
    for (int round = 0; round < 40; ++round) {
      const uint32_t attribute = round % 2 == 0 ? KIND : SIZE;
      ActivityQuestion question;
      const uint64_t middle = random() % 2 == 0 ? 0 : 100000;
      question.first = middle + random() % 3000;
      question.last = question.first + (random() % 4 == 0 ? last : random() % 3000);
      question.bins = 1 + random() % 30;
      question.readAtMost = random() % 3 == 0 ? 0 : ~uint64_t{0};
      const Result<NoteBins> bins = known.Ask(attribute, question);
      ASSERT_TRUE(bins) << bins.Why().Text();
      ExpectCounted(*bins, noted, attribute);
      if (question.readAtMost > 0) {
        EXPECT_EQ(question.bins, bins->firsts.size());
        EXPECT_EQ(question.first, bins->firsts[0]);
      }
    }
  }
}

TEST(NotesOverTimeTest, AttributeWithTooManyValuesIsNotTold) {
  std::mt19937 random(2);
  const NotedEvents noted = Noted(random, 3000, false);
  Known known(noted, NotesBytes(noted, random, 300));
  for (const uint32_t attribute : {PACKET, CREATED, ENERGY, CONSUMES, NOTE_ATTRIBUTES}) {
    EXPECT_EQ(Fault::OUT_OF_RANGE, known.Ask(attribute, {}).Why().kind) << attribute;
  }
}

TEST(NotesOverTimeTest, NamesBeyondThoseToldApartAreCountedTogether) {
  NotedEvents noted;
  MemorySink sink;
  NotesWriter writer(sink);
  writer.Attribute(KIND_ATTRIBUTE, NoteType::NAME);
  for (uint64_t i = 0; i < 400; ++i) {
    Event event;
    event.cycle = i;
    noted.events.push_back(event);
    noted.values[KIND].push_back(i % 41 == 40 ? std::vector<uint64_t>()
                                              : std::vector<uint64_t>{i % 41});
    writer.Record(event.type, event.cycle, event.thread, event.at, event.to);
    if (i % 41 != 40) {
      EXPECT_TRUE(writer.Note(0, i % 41));
    }
  }
  EXPECT_TRUE(IsFine(writer.Close()));
  Known known(noted, {sink.Bytes().begin(), sink.Bytes().end()});
  ActivityQuestion question;
  question.first = 3;
  question.last = 350;
  question.bins = 7;
  const Result<NoteBins> bins = known.Ask(KIND, question);
  ASSERT_TRUE(bins) << bins.Why().Text();
  EXPECT_EQ(NoteTimes::MOST_VALUES, bins->values.size());
  ExpectCounted(*bins, noted, KIND);
}

TEST(NotesOverTimeTest, ReadingCanBeStopped) {
  std::mt19937 random(3);
  const NotedEvents noted = Noted(random, 9000, true);
  Known known(noted, NotesBytes(noted, random, 300));
  ActivityQuestion question;
  question.first = 1;
  question.bins = 3;
  const auto stop = [](const Progress&) { return false; };
  EXPECT_EQ(Fault::CANCELLED, known.Ask(KIND, question, stop).Why().kind);
}

TEST(NotedPlacesTest, PlacesHaveTheEventsThatAPlainScanFindsThere) {
  std::mt19937 random(4);
  const NotedEvents noted = Noted(random, 4000, false);
  Known known(noted, NotesBytes(noted, random, 300));
  for (int round = 0; round < 20; ++round) {
    const NotedFilter filter = {RandomFilter(random, noted.events, 8),
                                {RandomCondition(random, noted)}};
    EventsAtPlaces expected;
    for (const uint64_t record : Expected(noted, filter.events, filter.notes)) {
      ++expected[noted.events[record].at];
    }
    const Result<EventsAtPlaces> counts =
        CountAtPlaces(known.Trace(), known.TraceIndex(), known.notes, filter);
    ASSERT_TRUE(counts) << counts.Why().Text();
    ASSERT_EQ(expected, *counts);
  }
}

TEST(NotedPlacesTest, CountingCanBeStopped) {
  std::mt19937 random(4);
  const NotedEvents noted = Noted(random, 4000, false);
  Known known(noted, NotesBytes(noted, random, 300));
  const auto stop = [](const Progress&) { return false; };
  EXPECT_EQ(Fault::CANCELLED,
            CountAtPlaces(known.Trace(), known.TraceIndex(), known.notes, {}, stop).Why().kind);
}

}  // namespace
}  // namespace marrowfin::testing
