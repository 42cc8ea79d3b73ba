// What is cut out of a trace: equal to a plain pick of what was recorded.

#include "trace/edit/CutTrace.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/trace/edit/EditedTrace.h"
#include "trace/edit/MergeTraces.h"

namespace marrowfin::testing {
namespace {

// Cuts a part of a trace with its notes, and closes it.
Contents Cut(const OpenedNotes& opened, const CutQuestion& question, CutAccount* told = nullptr) {
  NotesOfTrace notes(*opened.opened.trace, *opened.opened.index, *opened.notes);
  MadeTrace made(true);
  CutAccount account;
  EXPECT_TRUE(Take(
      CutTrace(*opened.opened.trace, *opened.opened.index, &notes, question, made.made), account));
  if (told != nullptr) {
    *told = account;
  }
  return made.Close();
}

Contents Whole(const OpenedNotes& opened) { return Cut(opened, {}); }

TEST(CutTraceTest, ACutIsWhatTheFilterLetsThroughWithItsNotes) {
  std::mt19937 random(1);
  for (const bool falling : {false, true}) {
    const RandomNoted trace(random, 6000, falling);
    const OpenedNotes opened = trace.Open();
    const Contents whole = Whole(opened);
    ASSERT_TRUE(whole.events == trace.noted.events);
    size_t all = 0;
    for (int round = 0; round < 30; ++round) {
      CutQuestion question;
      question.filter.events = RandomFilter(random, trace.noted.events, 8);
      if (round % 3 == 0) {
        question.filter.notes.push_back(RandomCondition(random, trace.noted));
      }
      const std::vector<uint64_t> records =
          Expected(trace.noted, question.filter.events, question.filter.notes);
      CutAccount account;
      Contents cut = Cut(opened, question, &account);
      EXPECT_EQ(account.records, records.size());
      const Contents expected = whole.Picked(records);
      ASSERT_TRUE(expected.events == cut.events) << "round " << round;
      ASSERT_TRUE(expected.notes == cut.notes) << "round " << round;
      all += records.size();
    }
    EXPECT_LT(1000U, all);
  }
}

TEST(CutTraceTest, TheFirstAndTheLastRecordsAreThoseOfTheFilter) {
  std::mt19937 random(2);
  const RandomNoted trace(random, 3000, false);
  const OpenedNotes opened = trace.Open();
  CutQuestion question;
  question.filter.events.sends = false;
  std::vector<uint64_t> records = Expected(trace.noted, question.filter.events, {});
  question.mostRecords = 77;
  question.tellsNext = true;
  CutAccount account;
  const Contents head = Cut(opened, question, &account);
  EXPECT_TRUE(head.events == Whole(opened).Picked({records.begin(), records.begin() + 77}).events);
  EXPECT_EQ(account.next, records[77]);
  question.last = true;
  const Contents tail = Cut(opened, question, &account);
  EXPECT_TRUE(tail.notes == Whole(opened).Picked({records.end() - 77, records.end()}).notes);
  EXPECT_EQ(account.next, std::nullopt);
  question.mostRecords = 0;
  EXPECT_TRUE(Cut(opened, question).events.empty());
}

TEST(CutTraceTest, TheFirstRecordsTakeTheSamplesBeforeTheRecordBehindThem) {
  std::mt19937 random(7);
  const RandomNoted trace(random, 3000, false);
  const OpenedNotes opened = trace.Open();
  const Contents whole = Whole(opened);
  CutQuestion question;
  question.mostRecords = 1500;
  const Contents head = Cut(opened, question);
  ASSERT_EQ(head.events.size(), 1500U);
  std::vector<CounterSample> expected;
  for (const CounterSample& sample : whole.samples) {
    if (sample.cycle < whole.events[1500].cycle) {
      expected.push_back(sample);
    }
  }
  EXPECT_FALSE(expected.empty());
  EXPECT_TRUE(head.samples == expected);
}

TEST(CutTraceTest, PiecesOfSomeBytesHoldAllOfIt) {
  std::mt19937 random(3);
  const RandomNoted trace(random, 3000, false);
  const OpenedNotes opened = trace.Open();
  Contents all;
  CutQuestion question;
  question.mostBytes = 5000;
  question.tellsNext = true;
  for (std::optional<uint64_t> next = 0; next;) {
    question.from = *next;
    CutAccount account;
    const Contents piece = Cut(opened, question, &account);
    EXPECT_FALSE(piece.events.empty());
    EXPECT_LE(Encode(piece.events).size(), 5000U);
    EXPECT_TRUE(!account.next || Encode(piece.events).size() > 5000 - LARGE_RECORD);
    all.events.insert(all.events.end(), piece.events.begin(), piece.events.end());
    all.samples.insert(all.samples.end(), piece.samples.begin(), piece.samples.end());
    next = account.next;
  }
  EXPECT_TRUE(all.events == trace.noted.events);
  EXPECT_EQ(all.samples.size(), Whole(opened).samples.size());
}

TEST(CutTraceTest, ALeadInIsACopyOfTheFirstRecordWithoutNotes) {
  std::mt19937 random(4);
  const RandomNoted trace(random, 500, false);
  const OpenedNotes opened = trace.Open();
  CutQuestion question;
  question.filter.events.firstRecord = 100;
  const Contents plain = Cut(opened, question);
  question.leadIn = true;
  CutAccount account;
  const Contents led = Cut(opened, question, &account);
  EXPECT_EQ(account.records, 400U);
  ASSERT_EQ(led.events.size(), 401U);
  EXPECT_EQ(led.events[0], trace.noted.events[100]);
  EXPECT_TRUE(led.notes[0].empty());
  EXPECT_TRUE(std::equal(plain.events.begin(), plain.events.end(), led.events.begin() + 1));
}

TEST(CutTraceTest, SamplesGoAlongOfTheCyclesAndPlacesThatAreAskedFor) {
  std::mt19937 random(5);
  const RandomNoted trace(random, 3000, false);
  const OpenedNotes opened = trace.Open();
  const Contents whole = Whole(opened);
  ASSERT_LT(20U, whole.samples.size());
  const uint64_t middle = whole.samples[whole.samples.size() / 2].cycle;
  CutQuestion question;
  question.filter.events.firstCycle = middle;
  question.filter.events.region = Region{{0, 0}, {3, 3}};
  const Contents cut = Cut(opened, question);
  std::vector<CounterSample> expected;
  for (const CounterSample& sample : whole.samples) {
    if (sample.cycle >= middle && question.filter.events.region->Has(sample.at)) {
      expected.push_back(sample);
    }
  }
  EXPECT_EQ(cut.samples, expected);
  EXPECT_LT(expected.size(), whole.samples.size());
}

// The traces of both files, merged.
Contents Merged(const std::vector<const MadeTrace*>& parts, std::string* bytes) {
  std::vector<std::unique_ptr<OpenedNotes>> opened;
  std::vector<std::unique_ptr<NotesOfTrace>> notes;
  std::vector<std::unique_ptr<RecordFeed>> feeds;
  std::vector<MergedTrace> traces;
  for (const MadeTrace* const part : parts) {
    NotedEvents events;
    events.events = ContentsOf(part->TraceBytes(), "").events;
    opened.push_back(std::make_unique<OpenedNotes>(events, part->NotesBytes()));
    const Opened& file = opened.back()->opened;
    notes.push_back(
        std::make_unique<NotesOfTrace>(*file.trace, *file.index, *opened.back()->notes));
    feeds.push_back(FeedFrom(*file.trace, *file.index, *notes.back()));
    traces.push_back({feeds.back().get(), opened.back()->notes.get()});
  }
  MadeTrace made(true);
  EXPECT_TRUE(IsFine(MergeTraces(traces, made.made).Why()));
  const Contents contents = made.Close();
  *bytes = made.TraceBytes();
  return contents;
}

TEST(CutTraceTest, MergingCutsThatFollowEachOtherMakesTheTraceAgain) {
  std::mt19937 random(6);
  const RandomNoted trace(random, 3000, false);
  const OpenedNotes opened = trace.Open();
  NotesOfTrace notes(*opened.opened.trace, *opened.opened.index, *opened.notes);
  const Contents whole = Whole(opened);
  for (int round = 0; round < 10; ++round) {
    const uint64_t at = whole.events[random() % whole.events.size()].cycle + random() % 2;
    MadeTrace first(true);
    MadeTrace second(true);
    CutQuestion question;
    question.filter.events.lastCycle = at;
    ASSERT_TRUE(IsFine(
        CutTrace(*opened.opened.trace, *opened.opened.index, &notes, question, first.made).Why()));
    question.filter.events = EventFilter();
    question.filter.events.firstCycle = at + 1;
    ASSERT_TRUE(IsFine(
        CutTrace(*opened.opened.trace, *opened.opened.index, &notes, question, second.made).Why()));
    first.Close();
    second.Close();
    std::string bytes;
    const Contents merged = Merged({&first, &second}, &bytes);
    EXPECT_TRUE(bytes == Encode(trace.noted.events)) << "cut at cycle " << at;
    EXPECT_EQ(merged.samples, whole.samples);
    // What names a record of the other part does not find it any more.
    for (size_t i = 0; i < whole.notes.size(); ++i) {
      const auto isKept = [&](const Contents::Noted& noted) {
        return noted.value.starts_with("record ") ||
               std::find(merged.notes[i].begin(), merged.notes[i].end(), noted) !=
                   merged.notes[i].end();
      };
      ASSERT_TRUE(std::all_of(whole.notes[i].begin(), whole.notes[i].end(), isKept));
    }
    // Cycles tell the order, whichever of them is named first.
    Merged({&second, &first}, &bytes);
    EXPECT_TRUE(bytes == Encode(trace.noted.events));
  }
}

}  // namespace
}  // namespace marrowfin::testing
