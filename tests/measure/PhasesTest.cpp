#include "measure/Phases.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

namespace marrowfin::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::Optional;

std::vector<uint64_t> Levels(std::mt19937& random,
                             const std::vector<std::pair<size_t, double>>& levels) {
  std::vector<uint64_t> counts;
  for (const auto& [columns, mean] : levels) {
    std::poisson_distribution<uint64_t> draw(mean);
    for (size_t i = 0; i < columns; ++i) {
      counts.push_back(draw(random));
    }
  }
  return counts;
}

std::vector<size_t> StartsOf(const std::vector<Phase>& phases) {
  std::vector<size_t> starts;
  for (const Phase& phase : phases) {
    starts.push_back(phase.firstColumn);
  }
  return starts;
}

TEST(PhasesTest, ChangesOfTheMeanAreFoundWhereTheyAre) {
  std::mt19937 random(1);
  const std::vector<uint64_t> counts = Levels(random, {{60, 100}, {80, 400}, {40, 20}, {100, 100}});
  const std::optional<std::vector<Phase>> phases = FindPhases(counts);
  ASSERT_TRUE(phases);
  EXPECT_THAT(StartsOf(*phases), ElementsAre(0, 60, 140, 180));
  EXPECT_NEAR((*phases)[1].mean, 400, 10);
  EXPECT_EQ((*phases)[3].columns, 100U);
}

TEST(PhasesTest, NoiseAloneIsOnePhase) {
  std::mt19937 random(2);
  for (const double mean : {0.0, 2.0, 50.0, 100000.0}) {
    const std::optional<std::vector<Phase>> phases = FindPhases(Levels(random, {{300, mean}}));
    ASSERT_TRUE(phases);
    EXPECT_EQ(phases->size(), 1U) << mean;
  }
}

TEST(PhasesTest, TooFewColumnsHaveNoPhases) {
  EXPECT_FALSE(FindPhases(std::vector<uint64_t>(11, 5)));
  EXPECT_TRUE(FindPhases(std::vector<uint64_t>(12, 5)));
  EXPECT_FALSE(FindPhases(std::vector<uint64_t>{}));
}

TEST(PhasesTest, ARunThatChangesAllTheTimeHasNoneToMark) {
  std::vector<uint64_t> counts;
  for (int i = 0; i < 20; ++i) {
    counts.insert(counts.end(), 18, i % 2 == 0 ? 100 : 100000);
  }
  EXPECT_FALSE(FindPhases(counts));
}

TEST(PhasesTest, NeighboursThatDifferByLessThanAFifthAreOne) {
  std::mt19937 random(3);
  const auto phases = FindPhases(Levels(random, {{100, 10000}, {100, 11500}, {100, 30000}}));
  ASSERT_TRUE(phases);
  EXPECT_THAT(StartsOf(*phases), ElementsAre(0, 200));
}

TEST(PhasesTest, AColumnThatIsCutShortBelongsToTheLastPhaseAndChangesNoMean) {
  std::vector<uint64_t> counts(40, 100);
  counts.insert(counts.end(), 40, 400);
  counts.push_back(3);
  const TimeColumns columns = {0, 804, 10};
  ASSERT_EQ(columns.Count(), counts.size());
  const std::optional<std::vector<Phase>> phases = FindPhases(columns, counts);
  EXPECT_THAT(phases, Optional(ElementsAre(Phase{0, 40, 100}, Phase{40, 41, 400})));
}

// The least cost of all ways to part the values, by trying every last phase.
double LeastCost(const std::vector<double>& values, double penalty, std::vector<size_t>& starts) {
  std::vector<double> best = {-penalty};
  std::vector<size_t> before = {0};
  for (size_t end = 1; end <= values.size(); ++end) {
    best.push_back(INFINITY);
    before.push_back(0);
    for (size_t start = 0; start + 6 <= end; ++start) {
      double mean = 0;
      for (size_t i = start; i < end; ++i) {
        mean += values[i] / static_cast<double>(end - start);
      }
      double error = 0;
      for (size_t i = start; i < end; ++i) {
        error += (values[i] - mean) * (values[i] - mean);
      }
      if (best[start] + error + penalty < best[end]) {
        best[end] = best[start] + error + penalty;
        before[end] = start;
      }
    }
  }
  starts.clear();
  for (size_t end = before.back(); end > 0; end = before[end]) {
    starts.insert(starts.begin(), end);
  }
  return best.back();
}

TEST(PhasesTest, NothingThatIsLeftUntriedWouldHaveBeenBetter) {
  std::mt19937 random(4);
  int parted = 0;
  for (int round = 0; round < 40; ++round) {
    // Means that differ by more than a fifth, so that no neighbours join.
    std::vector<std::pair<size_t, double>> levels;
    double mean = 20;
    for (size_t i = 0; i < 1 + random() % 5; ++i) {
      mean = mean > 500 ? mean / 4 : mean * (2 + static_cast<double>(random() % 3));
      levels.emplace_back(7 + random() % 20, mean);
    }
    const std::vector<uint64_t> counts = Levels(random, levels);
    std::vector<double> values;
    for (const uint64_t count : counts) {
      values.push_back(2 * std::sqrt(static_cast<double>(count) + 0.375));
    }
    const std::optional<std::vector<Phase>> phases = FindPhases(counts);
    if (counts.size() < 12) {
      EXPECT_FALSE(phases);
      continue;
    }
    ASSERT_TRUE(phases);
    // The spread of such counts is about 1, and is never taken for less.
    std::vector<size_t> starts;
    LeastCost(values, 3 * std::log(static_cast<double>(counts.size())), starts);
    std::vector<size_t> found = StartsOf(*phases);
    found.erase(found.begin());
    if (phases->size() == starts.size() + 1) {
      EXPECT_EQ(found, starts) << "round " << round;
      ++parted;
    }
  }
  EXPECT_GT(parted, 20);
}

}  // namespace
}  // namespace marrowfin::testing
