#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <utility>

#include "tests/support/TraceText.h"
#include "tests/trace/ask/ViewerModel.h"
#include "tests/trace/support/Opened.h"
#include "tests/trace/support/RandomTrace.h"
#include "tests/trace/support/Told.h"
#include "tests/trace/support/WatchedFile.h"
#include "trace/ask/StateCursor.h"
#include "trace/ask/StateReader.h"
#include "trace/ask/Walk.h"
#include "trace/base/MfzColumns.h"
#include "trace/index/IndexStore.h"
#include "trace/read/MfzFile.h"

namespace marrowfin::testing {
namespace {

// Compares every step, or random ones of a long trace, with the viewer's own pieces.
void CompareSteps(const Opened& opened, const ArrayShape& shape, uint64_t skipTo, unsigned share,
                  std::mt19937& random) {
  const StateReader reader(*opened.trace, *opened.index, shape);
  ViewerModel viewer(opened.name, shape, skipTo);
  uint64_t steps = 0;
  ASSERT_TRUE(Take(reader.CountSteps(skipTo), steps));
  ArrayState state;
  StateCursor cursor(*opened.trace, *opened.index, shape);
  ASSERT_TRUE(IsFine(cursor.MoveToStep(0, skipTo)));
  for (uint64_t step = 0; step <= steps + 1; ++step) {
    if (step > 0) {
      ASSERT_EQ(viewer.Step(), step <= steps) << "step " << step;
      ASSERT_TRUE(*cursor.Next()) << "step " << step;
    }
    if (random() % share == 0 || step + 3 > steps) {
      ASSERT_TRUE(Take(reader.AtStep(step, skipTo), state));
      EXPECT_EQ(state.shown, step <= steps);
      viewer.ExpectEqual(state);
      viewer.ExpectEqual(cursor.State());
      if (::testing::Test::HasFatalFailure()) {
        return;
      }
    }
  }
  EXPECT_EQ(reader.AtStep(steps + 2, skipTo).Why().kind, Fault::OUT_OF_RANGE);
}

TEST(StateTest, EveryStepOfShortTracesLooksAsTheViewerShowsIt) {
  std::mt19937 random(7);
  for (int round = 0; round < 60; ++round) {
    RandomTraceOptions options;
    options.shape = {1 + static_cast<uint32_t>(random() % 3),
                     1 + static_cast<uint32_t>(random() % 2),
                     1 + static_cast<uint32_t>(random() % 4)};
    options.records = random() % 200;
    options.firstCycle = random() % 3;
    options.perCycle = 1 + random() % 6;
    options.falling = round % 4 == 3;
    const std::vector<Event> events = RandomEvents(random, options);
    const Opened opened(Encode(events));
    for (const uint64_t skipTo : {uint64_t{0}, random() % 60, random() % 60}) {
      CompareSteps(opened, options.shape, skipTo, 1, random);
      ASSERT_FALSE(HasFatalFailure()) << "round " << round << ", skip to " << skipTo;
    }
  }
}

TEST(StateTest, StepsAcrossManyKeyframesLookAsTheViewerShowsThem) {
  std::mt19937 random(8);
  const RandomTraceOptions options = ManyKeyframes();
  const std::vector<Event> events = RandomEvents(random, options);
  const Opened opened(Encode(events));
  ASSERT_GE(opened.index->Boundaries().size(), 5U);
  for (const uint64_t skipTo : {uint64_t{0}, uint64_t{1}, uint64_t{2}, events[70000].cycle}) {
    CompareSteps(opened, options.shape, skipTo, 10, random);
    ASSERT_FALSE(HasFatalFailure()) << "skip to " << skipTo;
  }
}

// Sparse events on a large array: most pieces were touched long ago, once, or never.
TEST(StateTest, PiecesThatWereTouchedOnceKeepTheirColours) {
  std::mt19937 random(9);
  RandomTraceOptions options;
  options.shape = {4, 2, 8};
  options.records = 80000;
  options.perCycle = 400;
  const std::vector<Event> events = RandomEvents(random, options);
  const Opened opened(Encode(events));
  for (const uint64_t skipTo : {uint64_t{0}, events[300].cycle, events[30000].cycle}) {
    CompareSteps(opened, options.shape, skipTo, 20, random);
    ASSERT_FALSE(HasFatalFailure()) << "skip to " << skipTo;
  }
}

// The natural reading, one event at a time: every event is applied, and a step is one cycle.
struct NaturalModel {
  struct Touched {
    uint64_t step = 0;
    uint32_t thread = 0;
  };

  template <class Codes>
  uint8_t CodeOf(const Touched& touched) const {
    return touched.step == 0 ? 0 : Codes::Encode(touched.thread, step - touched.step);
  }

  explicit NaturalModel(const ArrayShape& shape) : shape(shape) {
    elements.resize(static_cast<size_t>(shape.Columns()) * shape.Rows());
    switches.resize(static_cast<size_t>(shape.clusters.columns) * shape.clusters.rows);
  }

  void Apply(const Event& event, uint64_t record) {
    if (step == 0 || event.cycle != cycle) {
      ++step;
    }
    cycle = event.cycle;
    const Touched touched = {step, event.thread};
    if (event.type == FIRE_RECORD) {
      elements[event.at.row * shape.Columns() + event.at.column] = touched;
    } else if (event.type == SWITCH_RECORD) {
      switches[(event.at.row - 4) / shape.ClusterRows() * shape.clusters.columns +
               (event.at.column - 4) / shape.ClusterColumns()] = touched;
    } else {
      messages.push_back({record, step, event.thread, event.at, event.to});
    }
  }

  void ExpectEqual(const ArrayState& state) const {
    ASSERT_EQ(state.step, step);
    for (size_t i = 0; i < elements.size(); ++i) {
      const Touched& t = elements[i];
      ASSERT_TRUE(state.elements[i] == (t.step == 0 ? UntouchedElementColor(step)
                                                    : ElementColor(t.thread, step - t.step)))
          << "element " << i << ", cycle " << cycle;
      ASSERT_EQ(state.elementCodes[i], CodeOf<ElementCodes>(t)) << "element " << i;
    }
    for (size_t i = 0; i < switches.size(); ++i) {
      const Touched& t = switches[i];
      ASSERT_TRUE(state.switches[i] ==
                  (t.step == 0 ? UntouchedSwitchColor(step) : SwitchColor(t.thread, step - t.step)))
          << "switch " << i << ", cycle " << cycle;
      ASSERT_EQ(state.switchCodes[i], CodeOf<SwitchCodes>(t)) << "switch " << i;
    }
    size_t live = 0;
    for (const LiveMessage& message : messages) {
      if (step - message.step > LAST_MESSAGE_AGE) {
        continue;
      }
      ASSERT_LT(live, state.messages.size());
      EXPECT_EQ(state.messages[live].record, message.record);
      EXPECT_EQ(state.AgeOf(state.messages[live]), step - message.step);
      EXPECT_TRUE(state.ColorOf(state.messages[live]) == MessageColor(step - message.step));
      ++live;
    }
    EXPECT_EQ(state.messages.size(), live);
  }

  ArrayShape shape;
  uint64_t step = 0;
  uint64_t cycle = 0;
  std::vector<Touched> elements;
  std::vector<Touched> switches;
  std::vector<LiveMessage> messages;
};

void CompareCycles(const std::vector<Event>& events, const ArrayShape& shape, int rounds,
                   std::mt19937& random) {
  const Opened opened(Encode(events));
  const StateReader reader(*opened.trace, *opened.index, shape);
  uint64_t most = 0;
  for (const Event& event : events) {
    most = std::max(most, event.cycle);
  }
  for (int round = 0; round < rounds; ++round) {
    const uint64_t cycle = round == 0 ? ~uint64_t{0} : random() % (most + 2);
    NaturalModel model(shape);
    for (size_t i = 0; i < events.size(); ++i) {
      if (events[i].cycle <= cycle) {
        model.Apply(events[i], i);
      }
    }
    ArrayState state;
    ASSERT_TRUE(Take(reader.AtCycle(cycle), state));
    model.ExpectEqual(state);
    ASSERT_FALSE(::testing::Test::HasFatalFailure()) << "at cycle " << cycle;
  }
}

TEST(StateTest, StateAtACycleHasEveryEventUpToItAndLosesNone) {
  std::mt19937 random(10);
  for (int round = 0; round < 40; ++round) {
    RandomTraceOptions options;
    options.shape = {1 + static_cast<uint32_t>(random() % 3), 2, 2};
    options.records = random() % 150;
    options.firstCycle = random() % 3;
    options.falling = round % 3 == 2;
    CompareCycles(RandomEvents(random, options), options.shape, 20, random);
    ASSERT_FALSE(HasFatalFailure()) << "round " << round;
  }
}

TEST(StateTest, StateAtACycleAcrossKeyframesHasEveryEventUpToIt) {
  std::mt19937 random(11);
  RandomTraceOptions options;
  options.shape = {2, 2, 4};
  options.records = 150000;
  options.perCycle = 300;
  CompareCycles(RandomEvents(random, options), options.shape, 25, random);
}

TEST(StateTest, ArrayThatIsLongerThanWideHasAStateAtACycleToo) {
  std::mt19937 random(15);
  RandomTraceOptions options;
  options.shape = {{2, 3}, {1, 2}, {5, 3}};
  for (const bool falling : {false, true}) {
    options.records = 2000;
    options.falling = falling;
    CompareCycles(RandomEvents(random, options), options.shape, 20, random);
    ASSERT_FALSE(HasFatalFailure());
  }
  options.records = 150000;
  options.perCycle = 300;
  options.falling = false;
  CompareCycles(RandomEvents(random, options), options.shape, 10, random);
}

TEST(StateTest, EventAtALocationThatTheArrayLacksEndsWhatCanBeShown) {
  const Opened opened(
      TraceBytes("fire 1 0 0 0\nfire 1 0 1 1\nfire 2 0 1 1\nfire 3 0 9 9\n"
                 "fire 4 0 1 1\n"));
  const StateReader reader(*opened.trace, *opened.index, {1, 1, 4});
  ArrayState state;
  EXPECT_TRUE(Take(reader.AtStep(2, 0), state));
  const Fault fault = reader.AtStep(3, 0).Why();
  EXPECT_EQ(fault.kind, Fault::OUTSIDE_ARRAY);
  EXPECT_EQ(fault.record, 3U);
}

// A fault is the verdict on one question and none on the next.
TEST(StateTest, QuestionBehindOneThatFailedIsAnsweredAsEver) {
  const Opened opened(TraceBytes("fire 1 0 0 0\nfire 2 0 1 1\nfire 3 0 9 9\nfire 4 0 1 1\n"));
  const StateReader reader(*opened.trace, *opened.index, {1, 1, 4});
  Result<ArrayState> state = reader.AtStep(99, 0);
  EXPECT_EQ(state.Why().kind, Fault::OUT_OF_RANGE);
  state = reader.AtStep(1, 0);
  EXPECT_TRUE(IsFine(state.Why()));
  ASSERT_TRUE(state);
  EXPECT_EQ(state->step, 1U);
  state = reader.AtCycle(3);
  EXPECT_EQ(state.Why().kind, Fault::OUTSIDE_ARRAY);
  state = reader.AtCycle(2);
  EXPECT_TRUE(IsFine(state.Why()));
  ASSERT_TRUE(state);
  EXPECT_EQ(state->cycle, 2U);
}

TEST(StateTest, FaultOfALocationTellsWhereItStands) {
  const Opened opened(
      TraceBytes("fire 1 0 0 0\nsend 1 0 0 0 1 1\nswitch 2 0 4 4\nswitch 3 0 8 4\n"));
  const StateReader reader(*opened.trace, *opened.index, {1, 1, 4});
  ArrayState state;
  const Fault fault = reader.AtCycle(3).Why();
  EXPECT_EQ(fault.Text(), opened.name +
                              ": record 3 at byte 92: column 8, row 4 is no switch of the "
                              "array, as that of cluster 1 0 would be; "
                              "give the counts of the array that wrote the trace");
}

TEST(StateTest, EventAtALocationThatTheArrayLacksIsRefusedWhereCyclesFallToo) {
  for (const std::string event : {"fire 4 0 9 9\n", "switch 4 0 8 4\n"}) {
    const Opened rising(TraceBytes("fire 3 0 1 1\n" + event));
    const Opened falling(TraceBytes("fire 5 0 1 1\n" + event));
    for (const Opened* opened : {&rising, &falling}) {
      const StateReader reader(*opened->trace, *opened->index, {1, 1, 4});
      ArrayState state;
      EXPECT_TRUE(Take(reader.AtCycle(3), state));
      const Fault fault = reader.AtCycle(9).Why();
      EXPECT_EQ(fault.kind, Fault::OUTSIDE_ARRAY);
      EXPECT_EQ(fault.record, 1U);
      EXPECT_EQ(fault.offset, SMALL_RECORD);
    }
  }
}

// More switches than an index keeps, and it keeps nothing of the whole any more.
constexpr ArrayShape MANY_SWITCHES = {257, 1, 1};

std::vector<Event> EventsOfManySwitches() {
  std::vector<Event> events(80000);
  size_t next = 0;
  for (uint32_t i = 0; i < events.size(); ++i) {
    events[i].cycle = i / 10000;
    events[i].thread = i / 7 % 5;
    if (i % 6 < 5 && next < MANY_SWITCHES.Switches()) {
      events[i].type = SWITCH_RECORD;
      events[i].at = MANY_SWITCHES.SwitchAt(next++);
    } else {
      // The row of an element tells when it fired last: some only long before a skip.
      events[i].at = {i % 8, i < 40000 ? i / 8 % 8 : i / 8 % 4};
    }
  }
  return events;
}

TEST(StateTest, SkippingWorksInATraceOfWhichTheIndexKeepsNoBoundaries) {
  std::mt19937 random(12);
  const std::vector<Event> events = EventsOfManySwitches();
  const Opened opened(Encode(events));
  ASSERT_FALSE(opened.index->HasBoundaries());
  for (const uint64_t skipTo : {uint64_t{1}, events[45000].cycle}) {
    CompareSteps(opened, MANY_SWITCHES, skipTo, 1000, random);
    ASSERT_FALSE(HasFatalFailure()) << "skip to " << skipTo;
  }
}

// Asks once to the end and then again and again, stopped ever later.
void ExpectProgress(const std::function<Fault(const ProgressCallback&)>& ask) {
  Told told;
  ASSERT_TRUE(IsFine(ask(told.Callback())));
  ASSERT_GT(told.values.size(), 100U) << "the question was not long";
  told.ExpectToRiseToTheWhole();
  for (const size_t stopAt : {size_t{1}, size_t{50}, told.values.size()}) {
    Told stopped;
    stopped.stopAt = stopAt;
    EXPECT_EQ(ask(stopped.Callback()).kind, Fault::CANCELLED);
    EXPECT_EQ(stopped.values.size(), stopAt);
  }
}

TEST(StateTest, CallerHearsOfQuestionsThatGoThroughTheWholeTraceAndStopsThem) {
  ArrayState state;
  std::mt19937 random(13);
  RandomTraceOptions options;
  options.records = 30000;
  options.falling = true;
  const Opened falling(Encode(RandomEvents(random, options)));
  ExpectProgress([&](const ProgressCallback& progress) {
    const StateReader reader(*falling.trace, *falling.index, options.shape);
    return reader.AtCycle(~uint64_t{0}, progress).Why();
  });
  const uint64_t most = falling.index->GetSummary().maxCycle;
  ExpectProgress([&](const ProgressCallback& progress) {
    const StateReader reader(*falling.trace, *falling.index, options.shape);
    return reader.CountSteps(most, progress).Why();
  });
  // A location that the array lacks, behind the moment.
  options.falling = false;
  std::vector<Event> events = RandomEvents(random, options);
  events.push_back({FIRE_RECORD, events.back().cycle + 10, 0, {5000, 0}, {}});
  const Opened foreign(Encode(events));
  ExpectProgress([&](const ProgressCallback& progress) {
    const StateReader reader(*foreign.trace, *foreign.index, options.shape);
    return reader.AtCycle(events.back().cycle - 1, progress).Why();
  });
  const Opened large(Encode(EventsOfManySwitches()));
  ExpectProgress([&](const ProgressCallback& progress) {
    const StateReader reader(*large.trace, *large.index, MANY_SWITCHES);
    return reader.AtStep(3, 4, progress).Why();
  });
}

TEST(StateTest, TraceThatIsWrittenAnewInPlaceIsAFaultThatSaysSo) {
  RandomTraceOptions options;
  options.shape = {1, 2, 4};
  for (const size_t records : {size_t{60000}, size_t{600}}) {
    for (const size_t after : {records, records / 2, 2 * records}) {
      std::mt19937 random(14);
      options.records = records;
      const Opened opened(Encode(RandomEvents(random, options)));
      options.records = after;
      std::vector<Event> events = RandomEvents(random, options);
      for (Event& event : events) {
        event.at.column += 500;
      }
      WriteFile(opened.name, Encode(events));
      const StateReader reader(*opened.trace, *opened.index, options.shape);
      EXPECT_EQ(reader.AtStep(100, 0).Why().kind, Fault::CHANGED);
      EXPECT_EQ(reader.AtStep(100, 3).Why().kind, Fault::CHANGED);
      EXPECT_EQ(reader.AtStep(1 << 30, 0).Why().kind, Fault::CHANGED);
      EXPECT_EQ(reader.AtCycle(100).Why().kind, Fault::CHANGED);
      EXPECT_EQ(reader.CountSteps(0).Why().kind, Fault::CHANGED);
    }
  }
}

// The blocks of records of a packed trace that a question asks for, by number.
std::set<uint64_t> BlocksAsked(
    const std::string& packed, IndexStore& store,
    const std::function<void(const TraceSource& trace, const Index& index)>& ask) {
  std::set<uint64_t> read;
  const auto trace = Made(TraceSource::Over(std::make_unique<WatchedFile>(
      packed, [&](uint64_t offset, size_t /*length*/) { read.insert(offset); })));
  const auto index = Made(Index::Open(*trace, store));
  read.clear();
  ask(*trace, *index);
  const auto sections = *MfzFile::Open(FileOf(packed));
  std::set<uint64_t> blocks;
  for (const MfzSection& section : sections->Sections(MfzStream::TRACE)) {
    if (read.contains(section.offset + MFZ_HEAD)) {
      blocks.insert(section.firstRecord / MFZ_BLOCK_RECORDS);
    }
  }
  return blocks;
}

// Apart from the first block, which tells where the steps begin. The entries of the sparse table
// are at other records than those that blocks begin with, as they are in indexes of raw traces.
TEST(StateTest, MomentOfAPackedTraceUnpacksTheBlockThatItLiesInAlone) {
  std::mt19937 random(15);
  const RandomTraceOptions options = ManyKeyframes();
  const std::string raw = Encode(RandomEvents(random, options));
  const std::string packed = PackedBytes(raw);
  constexpr uint64_t NEAR = 2000;  // records: more than those of the steps that messages are seen
  const auto store = IndexInMemory();
  const auto whole = Made(TraceSource::Over(FileOf(packed)));
  const auto built = Made(Index::Open(*whole, *store, {}, {.entryRecords = 9 * Columns::CAPACITY}));
  ASSERT_GT(built->Boundaries().size(), 4U);
  for (const IndexBoundary& boundary : built->Boundaries()) {
    ASSERT_LT(boundary.record % MFZ_BLOCK_RECORDS, NEAR / 2);
  }
  const Opened plain(raw);
  uint64_t steps = 0;
  ASSERT_TRUE(Take(StateReader(*plain.trace, *plain.index, options.shape).CountSteps(0), steps));
  size_t inside = 0;
  size_t across = 0;
  for (uint64_t step = 0; step <= steps; step += 1 + steps / 150) {
    ArrayState state;
    const auto blocks =
        BlocksAsked(packed, *store, [&](const TraceSource& trace, const Index& index) {
          EXPECT_TRUE(Take(StateReader(trace, index, options.shape).AtStep(step, 0), state));
        });
    const uint64_t last = state.last / MFZ_BLOCK_RECORDS;
    const uint64_t within = state.last % MFZ_BLOCK_RECORDS;
    if (within > NEAR && within < MFZ_BLOCK_RECORDS - Columns::CAPACITY) {
      EXPECT_EQ(blocks, (std::set<uint64_t>{0, last})) << "step " << step;
      inside += last > 0 ? 1 : 0;
    } else if (last > 0 && within < NEAR) {
      across += blocks == std::set<uint64_t>{0, last - 1, last} ? 1 : 0;
    }
    ArrayState expected;
    ASSERT_TRUE(
        Take(StateReader(*plain.trace, *plain.index, options.shape).AtStep(step, 0), expected));
    EXPECT_EQ(state.elementCodes, expected.elementCodes) << "step " << step;
    EXPECT_EQ(state.switchCodes, expected.switchCodes) << "step " << step;
    EXPECT_EQ(state.messages.size(), expected.messages.size()) << "step " << step;
  }
  EXPECT_GT(inside, 50U);
  EXPECT_GT(across, 0U);  // messages that were sent in the block before
}

// What precedes a record that a boundary tells of is known without reading anything.
TEST(StateTest, WhatPrecedesABoundaryIsToldByItAndByTheRecordBefore) {
  std::mt19937 random(16);
  const std::vector<Event> events = RandomEvents(random, ManyKeyframes());
  const std::string packed = PackedBytes(Encode(events));
  const auto store = IndexInMemory();
  const auto whole = Made(TraceSource::Over(FileOf(packed)));
  const auto built = Made(Index::Open(*whole, *store));
  ASSERT_GT(built->Boundaries().size(), 4U);
  for (const IndexBoundary& boundary : built->Boundaries()) {
    Preceding before;
    const auto blocks =
        BlocksAsked(packed, *store, [&](const TraceSource& trace, const Index& index) {
          EXPECT_TRUE(Take(FindPreceding(trace, index, boundary.record), before));
        });
    EXPECT_TRUE(blocks.empty());
    IndexEntry entry;
    ASSERT_TRUE(Take(Locate(*whole, *built, boundary.record - 1), entry));
    EXPECT_EQ(before.cycle, entry.cycle);
    EXPECT_EQ(before.changes, entry.changes);
  }
  uint64_t changes = 0;
  for (size_t record = 0; record <= events.size(); ++record) {
    if (record > 1) {
      changes += events[record - 1].cycle != events[record - 2].cycle ? 1 : 0;
    }
    if (record < 3 || record % 997 == 0 || record == events.size()) {
      Preceding before;
      ASSERT_TRUE(Take(FindPreceding(*whole, *built, record), before));
      EXPECT_EQ(before.cycle, record == 0 ? 0 : events[record - 1].cycle) << record;
      EXPECT_EQ(before.changes, changes) << record;
    }
  }
}

}  // namespace
}  // namespace marrowfin::testing
