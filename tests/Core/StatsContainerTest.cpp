#include "Core/StatsContainer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <vector>

#include "Core/Component.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Stat = StatsContainer::Stat;

TEST(StatTest, TheTypesHaveTheirNumbers) {
  EXPECT_EQ(0, StatsContainer::INVALID);
  EXPECT_EQ(1, StatsContainer::FLOAT);
  EXPECT_EQ(2, StatsContainer::COUNTER);
  EXPECT_EQ(3, StatsContainer::HISTOGRAM);
}

TEST(StatTest, ANewStatisticsFullNameIsItsName) {
  const float variable = 0;
  const Stat stat(StatsContainer::FLOAT, "ipc", "instructions per cycle", &variable);
  EXPECT_EQ(StatsContainer::FLOAT, stat.type);
  EXPECT_EQ("ipc", stat.name);
  EXPECT_EQ("ipc", stat.fullName);
  EXPECT_EQ("instructions per cycle", stat.description);
  EXPECT_EQ(&variable, stat.storage);
}

TEST(StatTest, TheNameOfAStatisticIsACopyOfItsFullName) {
  Stat stat(StatsContainer::FLOAT, "ipc", "", nullptr);
  stat.fullName = "top/ipc";
  EXPECT_EQ("top/ipc", stat.GetName());
  static_assert(std::is_same_v<std::string, decltype(stat.GetName())>);
}

TEST(StatTest, AStatisticCanBeCopied) {
  Stat stat(StatsContainer::COUNTER, "a", "b", &stat);
  stat.fullName = "c";
  const Stat copy = stat;
  EXPECT_EQ(StatsContainer::COUNTER, copy.type);
  EXPECT_EQ("a", copy.name);
  EXPECT_EQ("c", copy.fullName);
  EXPECT_EQ("b", copy.description);
  EXPECT_EQ(&stat, copy.storage);
}

TEST(StatsContainerTest, ANewContainerIsEmpty) {
  const StatsContainer container;
  EXPECT_THAT(container.stats, IsEmpty());
  EXPECT_THAT(container.subContainers, IsEmpty());
}

TEST(StatsContainerTest, AddingAFloatBindsAndSetsIt) {
  StatsContainer container;
  float variable = 9;
  container.AddStat(&variable, "ipc", "instructions per cycle", 1.5F);
  EXPECT_EQ(1.5F, variable);
  ASSERT_EQ(1u, container.stats.size());
  EXPECT_EQ(StatsContainer::FLOAT, container.stats[0].type);
  EXPECT_EQ("ipc", container.stats[0].name);
  EXPECT_EQ("ipc", container.stats[0].fullName);
  EXPECT_EQ("instructions per cycle", container.stats[0].description);
  EXPECT_EQ(&variable, container.stats[0].storage);
}

TEST(StatsContainerTest, AddingACounterBindsAndSetsIt) {
  StatsContainer container;
  unsigned long long variable = 9;
  container.AddStat(&variable, "cycles", "elapsed cycles", 18446744073709551615ULL);
  EXPECT_EQ(18446744073709551615ULL, variable);
  ASSERT_EQ(1u, container.stats.size());
  EXPECT_EQ(StatsContainer::COUNTER, container.stats[0].type);
  EXPECT_EQ("cycles", container.stats[0].name);
  EXPECT_EQ("cycles", container.stats[0].fullName);
  EXPECT_EQ("elapsed cycles", container.stats[0].description);
  EXPECT_EQ(&variable, container.stats[0].storage);
}

TEST(StatsContainerTest, AddingAHistogramBindsAndSetsIt) {
  StatsContainer container;
  Histogram initial;
  initial.Increment(2, 3);
  Histogram variable;
  variable.Increment(7, 7);
  container.AddStat(&variable, "latency", "cycles to answer", initial);
  EXPECT_THAT(variable.data, ElementsAre(0, 0, 3));
  EXPECT_EQ(3u, variable.itemCount);
  EXPECT_EQ(6u, variable.sum);
  EXPECT_EQ(2u, variable.smallestActiveBucket);
  ASSERT_EQ(1u, container.stats.size());
  EXPECT_EQ(StatsContainer::HISTOGRAM, container.stats[0].type);
  EXPECT_EQ("latency", container.stats[0].name);
  EXPECT_EQ("latency", container.stats[0].fullName);
  EXPECT_EQ("cycles to answer", container.stats[0].description);
  EXPECT_EQ(&variable, container.stats[0].storage);
}

TEST(StatsContainerTest, AnAliasNamesAVariableAgainAndLeavesItAlone) {
  StatsContainer container;
  float value = 1.5F;
  unsigned long long counter = 7;
  Histogram histogram;
  histogram.Increment(1, 2);
  container.AddAliasStat(&value, "a");
  container.AddAliasStat(&counter, "b");
  container.AddAliasStat(&histogram, "c");
  EXPECT_EQ(1.5F, value);
  EXPECT_EQ(7u, counter);
  EXPECT_THAT(histogram.data, ElementsAre(0, 2));
  ASSERT_EQ(3u, container.stats.size());
  EXPECT_EQ(StatsContainer::FLOAT, container.stats[0].type);
  EXPECT_EQ(StatsContainer::COUNTER, container.stats[1].type);
  EXPECT_EQ(StatsContainer::HISTOGRAM, container.stats[2].type);
  EXPECT_EQ(&value, container.stats[0].storage);
  EXPECT_EQ(&counter, container.stats[1].storage);
  EXPECT_EQ(&histogram, container.stats[2].storage);
  const char* const names[] = {"a", "b", "c"};
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(names[i], container.stats[i].name);
    EXPECT_EQ(names[i], container.stats[i].fullName);
    EXPECT_EQ("", container.stats[i].description);
  }
}

TEST(StatsContainerTest, StatisticsKeepTheOrderOfTheirRegistration) {
  StatsContainer container;
  unsigned long long first;
  float second;
  container.AddStat(&first, "z", "", 0);
  container.AddStat(&second, "a", "", 0);
  container.AddAliasStat(&first, "m");
  EXPECT_EQ("z", container.stats[0].name);
  EXPECT_EQ("a", container.stats[1].name);
  EXPECT_EQ("m", container.stats[2].name);
}

TEST(StatsContainerTest, ContainersKeepTheOrderInWhichTheyWereAddedAndAreNotOwned) {
  StatsContainer first;
  StatsContainer second;
  {
    StatsContainer container;
    container.AddStatContainer(&second);
    container.AddStatContainer(&first);
    EXPECT_THAT(container.subContainers, ElementsAre(&second, &first));
  }
  EXPECT_THAT(first.subContainers, IsEmpty());
}

TEST(StatsContainerTest, APrefixGoesBeforeTheNameOfEveryOwnStatistic) {
  StatsContainer container;
  unsigned long long cycles;
  unsigned long long stalls;
  container.AddStat(&cycles, "cycles", "", 0);
  container.AddStat(&stalls, "-stalls", "", 0);
  container.AddPrefix("top/cpu0/");
  EXPECT_EQ("top/cpu0/cycles", container.stats[0].GetName());
  EXPECT_EQ("top/cpu0/-stalls", container.stats[1].GetName());
  EXPECT_EQ("cycles", container.stats[0].name);
}

TEST(StatsContainerTest, OfTwoPrefixesOnlyTheSecondIsLeft) {
  StatsContainer container;
  unsigned long long cycles;
  container.AddStat(&cycles, "cycles", "", 0);
  container.AddPrefix("first/");
  container.AddPrefix("second/");
  EXPECT_EQ("second/cycles", container.stats[0].GetName());
}

TEST(StatsContainerTest, APrefixLeavesContainersBelowAlone) {
  StatsContainer container;
  StatsContainer below;
  container.AddStatContainer(&below);
  unsigned long long cycles;
  below.AddStat(&cycles, "cycles", "", 0);
  container.AddPrefix("top/");
  EXPECT_EQ("cycles", below.stats[0].GetName());
}

class RecordingHandler : public StatsOutputHandler {
 public:
  void Output(StatsContainer* container) override { containers.push_back(container); }
  std::vector<StatsContainer*> containers;
};

TEST(StatsContainerTest, NoHandlerIsSetAtFirst) { EXPECT_EQ(nullptr, StatsContainer::output); }

TEST(StatsContainerTest, TheOutputOfAContainerGoesToTheOneHandlerOfAll) {
  RecordingHandler handler;
  StatsContainer::output = &handler;
  StatsContainer container;
  Component component("c");
  container.DoStatsOutput();
  component.DoStatsOutput();
  container.DoStatsOutput();
  StatsContainer::output = nullptr;
  EXPECT_THAT(handler.containers, ElementsAre(&container, &component, &container));
}

TEST(StatsContainerTest, ComputingDoesNothingByDefault) {
  StatsContainer container;
  float value;
  container.AddStat(&value, "a", "", 1);
  container.Compute();
  EXPECT_EQ(1, value);
  EXPECT_EQ(1u, container.stats.size());
}

}  // namespace
