#include "measure/PhasePairs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "tests/measure/MeasuredTrace.h"

namespace marrowfin::testing {
namespace {

// Fires of one element after another of a row of four, `perCycle` of them a cycle, for so many
// cycles, again and again.
struct Stretch {
  uint64_t cycles;
  uint64_t perCycle;
};

std::vector<Event> RunOf(const std::vector<Stretch>& stretches) {
  std::vector<Event> events;
  uint64_t cycle = 0;
  uint32_t column = 0;
  for (const Stretch& stretch : stretches) {
    for (uint64_t i = 0; i < stretch.cycles; ++i, ++cycle) {
      for (uint64_t fires = stretch.perCycle; fires > 0; --fires) {
        events.push_back({FIRE_RECORD, cycle, 0, {column++ % 4, 0}, {}});
      }
    }
  }
  return events;
}

class PhasePairsTest : public ::testing::Test {
 protected:
  static constexpr PerAxis ONE = {1, 1};
  const ArrayShape row = {ONE, ONE, PerAxis{4, 1}};

  std::vector<PhasePair> PairsOf(const MeasuredTrace& a, const MeasuredTrace& b) const {
    return PairPhases(a.measures, a.counts.Times().Columns(), b.measures,
                      b.counts.Times().Columns());
  }

  Result<RunAlignment> Align(const MeasuredTrace& a, const MeasuredTrace& b,
                             const ProgressCallback& progress = {}) const {
    return AlignPhases({*a.opened.trace, a.opened.index.get(), a.question},
                       {*b.opened.trace, nullptr, b.question}, PairsOf(a, b), false, progress);
  }
};

TEST_F(PhasePairsTest, SpeedUpIsHowManyTimesAsManyCyclesTheOtherRunTakes) {
  const MeasuredTrace a(RunOf({{40, 4}, {40, 40}, {40, 8}}), row);
  const MeasuredTrace b(RunOf({{40, 4}, {80, 20}, {40, 8}}), row);
  const std::vector<PhasePair> pairs = PairsOf(a, b);
  ASSERT_EQ(pairs.size(), 3U);
  EXPECT_EQ(pairs[1].a->cycles.first, 40U);
  EXPECT_EQ(pairs[1].a->cycles.last, 79U);
  EXPECT_EQ(pairs[1].b->cycles.last, 119U);
  EXPECT_DOUBLE_EQ(*pairs[0].SpeedUp(), 1);
  EXPECT_DOUBLE_EQ(*pairs[1].SpeedUp(), 2);
  EXPECT_DOUBLE_EQ(*pairs[2].SpeedUp(), 1);
  EXPECT_DOUBLE_EQ(pairs[1].a->firesPerCycle, 40);
  EXPECT_DOUBLE_EQ(pairs[1].b->firesPerCycle, 20);
  const Result<RunAlignment> told = Align(a, b);
  ASSERT_TRUE(IsFine(told.Why()));
  EXPECT_TRUE(told->AreEqual()) << "each element fires as often in each phase";
  EXPECT_EQ(told->units, 3U);
}

TEST_F(PhasePairsTest, ThePhaseAndThePlaceThatDidMoreAreTold) {
  std::vector<Event> events = RunOf({{40, 4}, {40, 40}, {40, 8}});
  const MeasuredTrace b(events, row);
  for (size_t i = 0; i < events.size(); ++i) {
    if (events[i].cycle >= 40 && events[i].cycle < 50 && events[i].at.column == 1) {
      events[i].at.column = 2;
    }
  }
  const MeasuredTrace a(events, row);
  const Result<RunAlignment> told = Align(a, b);
  ASSERT_TRUE(IsFine(told.Why()));
  EXPECT_EQ(told->differing, 1U);
  ASSERT_TRUE(told->first && told->first->counts);
  EXPECT_EQ(told->first->unit, 1U);
  EXPECT_EQ(told->first->counts->at, (Place{1, 0})) << "the lower of two that differ as much";
  EXPECT_EQ(told->first->counts->a.fires, 300U);
  EXPECT_EQ(told->first->counts->b.fires, 400U);
}

TEST_F(PhasePairsTest, APhaseThatOneRunLacksHasNoSpeedUp) {
  const MeasuredTrace a(RunOf({{40, 4}, {40, 40}}), row);
  const MeasuredTrace b(RunOf({{40, 4}, {40, 40}, {40, 8}}), row);
  const std::vector<PhasePair> pairs = PairsOf(a, b);
  ASSERT_EQ(pairs.size(), 3U);
  EXPECT_FALSE(pairs[2].a);
  EXPECT_FALSE(pairs[2].SpeedUp());
  const Result<RunAlignment> told = Align(a, b);
  ASSERT_TRUE(IsFine(told.Why()));
  EXPECT_EQ(told->differing, 1U);
  EXPECT_EQ(told->first->unit, 2U);
  EXPECT_EQ(told->first->counts->a.fires, 0U);
}

TEST_F(PhasePairsTest, RunsWithoutPhasesAreOnePhase) {
  const MeasuredTrace a(RunOf({{2, 4}}), row);
  const MeasuredTrace b(RunOf({{4, 2}}), row);
  const std::vector<PhasePair> pairs = PairsOf(a, b);
  ASSERT_EQ(pairs.size(), 1U);
  EXPECT_DOUBLE_EQ(*pairs[0].SpeedUp(), 2);
  const Result<RunAlignment> told = Align(a, b);
  ASSERT_TRUE(IsFine(told.Why()));
  EXPECT_TRUE(told->AreEqual());
}

TEST_F(PhasePairsTest, SwitchesCountWhereElementsDoTheSame) {
  const std::vector<Event> events = RunOf({{4, 4}});
  std::vector<Event> more = events;
  more.push_back({SWITCH_RECORD, 3, 0, {4, 4}, {}});
  const MeasuredTrace a(more, row);
  const MeasuredTrace b(events, row);
  const Result<RunAlignment> told = Align(a, b);
  ASSERT_TRUE(IsFine(told.Why()));
  ASSERT_TRUE(told->first);
  EXPECT_TRUE(told->first->counts->isSwitch);
  EXPECT_EQ(told->first->counts->a.fires, 1U);
}

TEST_F(PhasePairsTest, CountingPhasesCanBeStopped) {
  const MeasuredTrace a(RunOf({{40, 4}, {40, 40}}), row);
  EXPECT_EQ(Align(a, a, [](const Progress&) { return false; }).Why().kind, Fault::CANCELLED);
}

}  // namespace
}  // namespace marrowfin::testing
