#include "render/report/RunNumbers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/measure/MeasuredTrace.h"

namespace marrowfin::testing {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Not;

TEST(RunNumbersTest, LoadOfSwitchesIsToldWhereTheModelTellsWhatTheyPassOn) {
  // Of two clusters the switch of the first transmits twice in each of two cycles.
  const MeasuredTrace measured({{SEND_RECORD, 0, 0, {0, 0}, {3, 0}},
                                {SWITCH_RECORD, 0, 0, {4, 4}, {}},
                                {SWITCH_RECORD, 0, 0, {4, 4}, {}},
                                {SWITCH_RECORD, 1, 0, {4, 4}, {}},
                                {SWITCH_RECORD, 1, 0, {4, 4}, {}}},
                               {PerAxis{2, 1}, PerAxis{1, 1}, PerAxis{2, 2}});
  ReportedRun reported;
  reported.run.counts = &measured.counts;
  reported.run.measures = measured.measures;
  const auto line = ElementsAre("Load of switches", "25 %",
                                "of what they can pass on, mean; largest 50 % at (0, 0)");
  EXPECT_THAT(RunNumbers(reported).rows, Not(Contains(line)));
  // Four ways out of each: three ports and a link.
  reported.run.measures = MeasuresOf(measured.counts, {0.5, 3, {}});
  EXPECT_THAT(RunNumbers(reported).rows,
              Contains(ElementsAre("Load of switches", "50 %",
                                   "of what they can pass on, mean; largest 100 % at (0, 0)")));
  EXPECT_THAT(RunNumbers(reported).rows,
              Contains(ElementsAre("Busiest link", "cluster (0, 0)→(1, 0) 100 %",
                                   "of 0.500 messages per cycle, as routes are modelled")));
  reported.run.measures = MeasuresOf(measured.counts, {1, 3, {}});
  EXPECT_THAT(RunNumbers(reported).rows, Contains(line));
}

}  // namespace
}  // namespace marrowfin::testing
