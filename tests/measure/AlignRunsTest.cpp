#include "measure/AlignRuns.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <random>
#include <vector>

#include "tests/measure/RunPair.h"
#include "tests/trace/support/Opened.h"
#include "tests/trace/support/RandomTrace.h"

namespace marrowfin::testing {
namespace {

constexpr Alignment ALIGNMENTS[] = {Alignment::CYCLE, Alignment::STEP, Alignment::FIRE};

// A trace in memory or in a file that is read through a window.
class OpenRun {
 public:
  explicit OpenRun(const std::vector<Event>& events, bool mapped = true)
      : OpenRun(Encode(events), mapped) {}
  explicit OpenRun(const std::string& bytes, bool mapped = true) {
    WriteFile(folder.File("t.trace"), bytes);
    trace = Made(TraceSource::Open(folder.File("t.trace"),
                                   mapped ? PlainAccess::MAPPED : PlainAccess::READ));
  }
  const TraceSource& operator*() const { return *trace; }

 private:
  TempDir folder;
  std::unique_ptr<TraceSource> trace;
};

std::optional<uint64_t> RecordOf(const std::optional<TraceEvent>& event) {
  return event ? std::optional(event->record) : std::nullopt;
}

void ExpectAsLooked(const std::vector<Event>& a, const std::vector<Event>& b,
                    const AlignQuestion& question, bool mapped) {
  const OpenRun runA(a, mapped);
  const OpenRun runB(b, mapped);
  const Result<RunAlignment> told = AlignRuns(*runA, *runB, question);
  ASSERT_TRUE(IsFine(told.Why()));
  const Looked looked = question.alignment == Alignment::FIRE ? LookByFires(a, b, question)
                                                              : LookByUnits(a, b, question);
  EXPECT_EQ(told->units, looked.units);
  EXPECT_EQ(told->differing, looked.differing);
  EXPECT_EQ(told->reordered, looked.reordered);
  EXPECT_EQ(told->onlyA, looked.onlyA);
  EXPECT_EQ(told->onlyB, looked.onlyB);
  ASSERT_EQ(told->slips.size(), looked.slips.size());
  for (size_t i = 0; i < looked.slips.size(); ++i) {
    EXPECT_EQ(told->slips[i], looked.slips[i]) << i;
  }
  EXPECT_EQ(told->recordsA, a.size());
  EXPECT_EQ(told->recordsB, b.size());
  ASSERT_EQ(told->first.has_value(), looked.firstUnit.has_value());
  if (told->first) {
    EXPECT_EQ(told->first->unit, *looked.firstUnit);
    EXPECT_EQ(RecordOf(told->first->a), looked.firstA);
    EXPECT_EQ(RecordOf(told->first->b), looked.firstB);
  }
  EXPECT_EQ(told->sameBytes, a == b && question.ChoosesAlike());
}

RandomTraceOptions Options(std::mt19937& random, size_t records) {
  RandomTraceOptions options;
  options.records = records;
  options.shape = {2, 2, 2};
  options.perCycle = 1 + random() % 12;
  options.threads = 3;
  options.firstCycle = random() % 3;
  return options;
}

TEST(AlignRunsTest, WhatDiffersIsWhatLookingAtAllEventsFinds) {
  std::mt19937 random(1);
  int equal = 0;
  for (int round = 0; round < 200; ++round) {
    RandomTraceOptions options = Options(random, random() % 60);
    options.falling = round % 5 == 4;
    const std::vector<Event> a = RandomEvents(random, options);
    const std::vector<Event> b = Changed(random, a, 4);
    equal += a == b ? 1 : 0;
    for (const Alignment alignment : ALIGNMENTS) {
      for (const bool ordered : {false, true}) {
        if (options.falling && alignment == Alignment::CYCLE && a != b) {
          continue;  // which cycles belong together is not told
        }
        SCOPED_TRACE(AlignmentName(alignment) + std::string(" in round ") + std::to_string(round));
        AlignQuestion question;
        question.alignment = alignment;
        question.ordered = ordered;
        ExpectAsLooked(a, b, question, round % 2 == 0);
        ExpectAsLooked(b, a, question, round % 2 == 1);
        if (::testing::Test::HasFailure()) {
          return;
        }
      }
    }
  }
  EXPECT_GT(equal, 10);
  EXPECT_LT(equal, 150);
}

TEST(AlignRunsTest, LongRunsOfEqualBytesHideNoDifferenceAnywhere) {
  std::mt19937 random(2);
  for (int round = 0; round < 8; ++round) {
    RandomTraceOptions options = Options(random, 12000);
    options.perCycle = round % 4 == 3 ? 2000 : 1 + random() % 60;
    const std::vector<Event> a = RandomEvents(random, options);
    const std::vector<Event> b = Changed(random, a, 3);
    for (const Alignment alignment : ALIGNMENTS) {
      SCOPED_TRACE(AlignmentName(alignment) + std::string(" in round ") + std::to_string(round));
      AlignQuestion question;
      question.alignment = alignment;
      ExpectAsLooked(a, b, question, round % 2 == 0);
    }
  }
}

TEST(AlignRunsTest, ConditionsOnEventsNarrowWhatIsHeldAgainstWhat) {
  std::mt19937 random(3);
  for (int round = 0; round < 100; ++round) {
    const std::vector<Event> a =
        RandomEvents(random, Options(random, round % 10 == 0 ? 20000 : 80));
    const std::vector<Event> b = Changed(random, a, 6);
    AlignQuestion question;
    question.alignment = ALIGNMENTS[round % 3];
    question.filterA.thread = random() % 3;
    question.filterA.sends = random() % 2 == 0;
    question.filterA.firstCycle = random() % 20;
    question.filterB = question.filterA;
    if (round % 4 == 0) {
      question.filterA.region = Region{{0, 0}, {3, 3}};
      question.filterB.region = Region{{1, 1}, {7, 7}};
    }
    SCOPED_TRACE(AlignmentName(question.alignment) + std::string(" in round ") +
                 std::to_string(round));
    ExpectAsLooked(a, b, question, true);
  }
}

TEST(AlignRunsTest, ARunThatEndsEarlierLacksWhatFollows) {
  std::mt19937 random(4);
  const std::vector<Event> a = RandomEvents(random, Options(random, 300));
  for (size_t size = 0; size < a.size(); size += 7) {
    const std::vector<Event> b(a.begin(), a.begin() + static_cast<std::ptrdiff_t>(size));
    for (const Alignment alignment : {Alignment::CYCLE, Alignment::STEP}) {
      AlignQuestion question;
      question.alignment = alignment;
      const OpenRun runA(a);
      const OpenRun runB(b);
      const Result<RunAlignment> told = AlignRuns(*runA, *runB, question);
      ASSERT_TRUE(IsFine(told.Why()));
      EXPECT_EQ(told->onlyA, a.size() - size);
      EXPECT_EQ(told->onlyB, 0U);
      ASSERT_TRUE(told->first && told->first->a);
      EXPECT_FALSE(told->first->b);
      // Of the cycle that is cut, an earlier event may be like a later one.
      EXPECT_LE(told->first->a->record, size);
      EXPECT_EQ(told->first->a->cycle, a[size].cycle);
    }
  }
}

TEST(AlignRunsTest, RunsWithoutRecordsAreEqual) {
  const OpenRun empty("");
  for (const Alignment alignment : ALIGNMENTS) {
    AlignQuestion question;
    question.alignment = alignment;
    const Result<RunAlignment> told = AlignRuns(*empty, *empty, question);
    ASSERT_TRUE(IsFine(told.Why()));
    EXPECT_TRUE(told->AreEqual());
    EXPECT_TRUE(told->sameBytes);
    EXPECT_EQ(told->units, 0U);
  }
}

TEST(AlignRunsTest, AStallIsNoDifferenceByStepNorByFireAndTheSlipIsTold) {
  std::mt19937 random(5);
  const std::vector<Event> b = RandomEvents(random, Options(random, 2000));
  std::vector<Event> a = b;
  for (size_t i = 1000; i < a.size(); ++i) {
    a[i].cycle += 5;
  }
  // All of the cycle in which it begins.
  for (size_t i = 1000; i > 0 && b[i - 1].cycle == b[1000].cycle; --i) {
    a[i - 1].cycle += 5;
  }
  const OpenRun runA(a);
  const OpenRun runB(b);
  AlignQuestion question;
  Result<RunAlignment> told = AlignRuns(*runA, *runB, question);
  ASSERT_TRUE(told);
  EXPECT_FALSE(told->AreEqual());
  EXPECT_EQ(told->first->unit, b[1000].cycle);
  question.alignment = Alignment::STEP;
  told = AlignRuns(*runA, *runB, question);
  ASSERT_TRUE(told);
  EXPECT_TRUE(told->AreEqual());
  EXPECT_FALSE(told->sameBytes);
  question.alignment = Alignment::FIRE;
  told = AlignRuns(*runA, *runB, question);
  ASSERT_TRUE(told);
  EXPECT_TRUE(told->AreEqual());
  ASSERT_TRUE(told->firstSlip);
  EXPECT_EQ(told->firstSlip->a->cycle, told->firstSlip->b->cycle + 5);
  EXPECT_GE(told->firstSlip->b->cycle, b[1000].cycle);
  double sum = 0;
  double late = 0;
  for (const FireSlip& slip : told->slips) {
    EXPECT_EQ(slip.firesA, slip.firesB);
    EXPECT_TRUE(slip.largest == 0 || slip.largest == 5);
    sum += slip.sum;
  }
  for (size_t i = 0; i < a.size(); ++i) {
    late += a[i].type == FIRE_RECORD ? static_cast<double>(a[i].cycle - b[i].cycle) : 0;
  }
  EXPECT_EQ(sum, late);
  EXPECT_GT(sum, 0);
}

TEST(AlignRunsTest, FiresThatAreFartherApartThanASignedNumberTellsSlipAsFarAsItDoes) {
  constexpr uint64_t END = ~uint64_t{0};
  const OpenRun runA({{FIRE_RECORD, 0, 0, {0, 0}, {}}, {FIRE_RECORD, END, 0, {1, 0}, {}}});
  const OpenRun runB({{FIRE_RECORD, 0, 0, {1, 0}, {}}, {FIRE_RECORD, END, 0, {0, 0}, {}}});
  AlignQuestion question;
  question.alignment = Alignment::FIRE;
  const Result<RunAlignment> told = AlignRuns(*runA, *runB, question);
  ASSERT_TRUE(told);
  ASSERT_EQ(told->slips.size(), 2U);
  EXPECT_EQ(told->slips[0].largest, -INT64_MAX);
  EXPECT_EQ(told->slips[1].largest, INT64_MAX);
}

TEST(AlignRunsTest, WhatBreaksOffOrIsNoTraceIsAFaultAndNoDifference) {
  std::mt19937 random(6);
  const std::string whole = Encode(RandomEvents(random, Options(random, 3000)));
  const OpenRun good(whole);
  const OpenRun cut(whole.substr(0, whole.size() - 1));
  std::string damaged = whole;
  damaged[whole.size() / 2] ^= 0x40;
  damaged.replace(0, 4, std::string("\0\0\0\7", 4));
  const OpenRun wrong(damaged);
  for (const Alignment alignment : ALIGNMENTS) {
    AlignQuestion question;
    question.alignment = alignment;
    for (const OpenRun* bad : {&cut, &wrong}) {
      EXPECT_TRUE(AlignRuns(*good, **bad, question).Why());
      EXPECT_TRUE(AlignRuns(**bad, *good, question).Why());
      EXPECT_TRUE(AlignRuns(**bad, **bad, question).Why()) << "though the bytes are the same";
    }
    const Fault fault = AlignRuns(*cut, *cut, question).Why();
    EXPECT_EQ(fault.kind, Fault::CUT_RECORD);
    EXPECT_EQ(fault.record, 2999U);
  }
}

TEST(AlignRunsTest, TheFirstDifferenceMayBeEnough) {
  std::mt19937 random(7);
  std::vector<Event> a = RandomEvents(random, Options(random, 60000));
  std::vector<Event> b = a;
  b[10].thread += 1;
  const OpenRun runA(a);
  const OpenRun runB(b);
  AlignQuestion question;
  question.firstOnly = true;
  const Result<RunAlignment> told = AlignRuns(*runA, *runB, question);
  ASSERT_TRUE(told);
  EXPECT_EQ(told->differing, 1U);
  EXPECT_LT(told->recordsA, 1000U);
}

TEST(AlignRunsTest, ProgressIsToldAndStops) {
  std::mt19937 random(8);
  const std::vector<Event> a = RandomEvents(random, Options(random, 60000));
  std::vector<Event> b = a;
  b[30].thread += 1;
  const OpenRun runA(a);
  const OpenRun runB(b);
  for (const Alignment alignment : ALIGNMENTS) {
    for (const OpenRun* other : {&runA, &runB}) {
      AlignQuestion question;
      question.alignment = alignment;
      uint64_t done = 0;
      uint64_t calls = 0;
      const uint64_t all = (*runA).Size() + (**other).Size();
      ASSERT_TRUE(AlignRuns(*runA, **other, question, [&](const Progress& now) {
        EXPECT_GE(now.done, done);
        EXPECT_EQ(now.all, all);
        done = now.done;
        ++calls;
        return true;
      }));
      EXPECT_EQ(done, all);
      EXPECT_GT(calls, 3U);
      const Fault stopped =
          AlignRuns(*runA, **other, question, [](const Progress&) { return false; }).Why();
      EXPECT_EQ(stopped.kind, Fault::CANCELLED);
    }
  }
}

}  // namespace
}  // namespace marrowfin::testing
