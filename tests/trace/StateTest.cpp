#include <gtest/gtest.h>

#include <random>

#include "tests/support/TraceText.h"
#include "tests/trace/Opened.h"
#include "tests/trace/RandomTrace.h"
#include "tests/trace/ViewerModel.h"
#include "trace/StateReader.h"

namespace marrowfin::testing {
namespace {

// Compares every step, or random ones of a long trace, with the viewer's own pieces.
void CompareSteps(const Opened& opened, const ArrayShape& shape, uint64_t skipTo, unsigned share,
                  std::mt19937& random) {
  const StateReader reader(*opened.trace, *opened.index, shape);
  ViewerModel viewer(opened.name, shape, skipTo);
  uint64_t steps = 0;
  Fault fault;
  ASSERT_TRUE(reader.CountSteps(skipTo, steps, fault)) << fault.Text();
  ArrayState state;
  for (uint64_t step = 0; step <= steps + 1; ++step) {
    if (step > 0) {
      ASSERT_EQ(viewer.Step(), step <= steps) << "step " << step;
    }
    if (random() % share == 0 || step + 3 > steps) {
      ASSERT_TRUE(reader.AtStep(step, skipTo, state, fault)) << fault.Text();
      EXPECT_EQ(state.shown, step <= steps);
      viewer.ExpectEqual(state);
      if (::testing::Test::HasFatalFailure()) {
        return;
      }
    }
  }
  EXPECT_FALSE(reader.AtStep(steps + 2, skipTo, state, fault));
  EXPECT_EQ(fault.kind, Fault::OUT_OF_RANGE);
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
  RandomTraceOptions options;
  options.shape = {2, 2, 4};
  options.records = 200000;
  options.perCycle = 100;
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
  explicit NaturalModel(const ArrayShape& shape) : shape(shape) {
    elements.resize(static_cast<size_t>(shape.Side()) * shape.Side());
    switches.resize(static_cast<size_t>(shape.clusters) * shape.clusters);
  }

  void Apply(const Event& event, uint64_t record) {
    if (step == 0 || event.cycle != cycle) {
      ++step;
    }
    cycle = event.cycle;
    const Touched touched = {step, event.thread};
    if (event.type == FIRE_RECORD) {
      elements[event.at.row * shape.Side() + event.at.column] = touched;
    } else if (event.type == SWITCH_RECORD) {
      switches[(event.at.row - 4) / shape.ClusterSide() * shape.clusters +
               (event.at.column - 4) / shape.ClusterSide()] = touched;
    } else {
      messages.push_back({record, event.thread, event.at, event.to, step, Color()});
    }
  }

  void ExpectEqual(const ArrayState& state) const {
    ASSERT_EQ(state.step, step);
    for (size_t i = 0; i < elements.size(); ++i) {
      const Touched& t = elements[i];
      ASSERT_TRUE(state.elements[i] == (t.step == 0 ? UntouchedElementColor(step)
                                                    : ElementColor(t.thread, step - t.step)))
          << "element " << i << ", cycle " << cycle;
    }
    for (size_t i = 0; i < switches.size(); ++i) {
      const Touched& t = switches[i];
      ASSERT_TRUE(state.switches[i] ==
                  (t.step == 0 ? UntouchedSwitchColor(step) : SwitchColor(t.thread, step - t.step)))
          << "switch " << i << ", cycle " << cycle;
    }
    size_t live = 0;
    for (const LiveMessage& message : messages) {
      if (step - message.age > LAST_MESSAGE_AGE) {
        continue;
      }
      ASSERT_LT(live, state.messages.size());
      EXPECT_EQ(state.messages[live].record, message.record);
      EXPECT_EQ(state.messages[live].age, step - message.age);
      EXPECT_TRUE(state.messages[live].color == MessageColor(step - message.age));
      ++live;
    }
    EXPECT_EQ(state.messages.size(), live);
  }

  struct Touched {
    uint64_t step = 0;
    uint32_t thread = 0;
  };
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
    Fault fault;
    ASSERT_TRUE(reader.AtCycle(cycle, state, fault)) << fault.Text();
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

TEST(StateTest, EventAtALocationThatTheArrayLacksEndsWhatCanBeShown) {
  const Opened opened(
      TraceBytes("fire 1 0 0 0\nfire 1 0 1 1\nfire 2 0 1 1\nfire 3 0 9 9\n"
                 "fire 4 0 1 1\n"));
  const StateReader reader(*opened.trace, *opened.index, {1, 1, 4});
  ArrayState state;
  Fault fault;
  EXPECT_TRUE(reader.AtStep(2, 0, state, fault)) << fault.Text();
  EXPECT_FALSE(reader.AtStep(3, 0, state, fault));
  EXPECT_EQ(fault.kind, Fault::OUTSIDE_ARRAY);
  EXPECT_EQ(fault.record, 3U);
}

}  // namespace
}  // namespace marrowfin::testing
