#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>

#include "tests/support/TraceText.h"
#include "tests/trace/ask/ViewerModel.h"
#include "tests/trace/support/Opened.h"
#include "tests/trace/support/RandomTrace.h"
#include "tests/trace/support/Told.h"
#include "trace/ask/StateCursor.h"
#include "trace/ask/StateReader.h"

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

}  // namespace
}  // namespace marrowfin::testing
