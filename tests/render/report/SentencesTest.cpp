#include "render/report/Sentences.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace marrowfin::testing {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

std::string Plain(const std::optional<RichText>& text) { return text ? text->Plain() : ""; }

LinkMeasures Links(double load, bool observed = true) {
  LinkMeasures links;
  links.observed = observed;
  links.loads.mesh.nodes = {8, 8};
  links.links = 224;
  links.mean = 0.25;
  links.busiest = {{{3, 4}, Heading::DOWN, 100, load}};
  return links;
}

TEST(SentencesTest, TheBusiestLinkIsAlwaysToldWithItsShareAndTheMean) {
  EXPECT_EQ(
      Plain(TellBusiestLink(Links(0.5))),
      "The busiest link, (3, 4)→(3, 3), carries 50 % of its capacity, 2 times the mean of 224 "
      "links.");
  EXPECT_EQ(Plain(TellBusiestLink(LinkMeasures())), "");
}

TEST(SentencesTest, ALinkIsLoadedFromSixtyPercentOnAndFullFromNinety) {
  EXPECT_THAT(Plain(TellBusiestLink(Links(0.599))), EndsWith("224 links."));
  EXPECT_THAT(Plain(TellBusiestLink(Links(0.6))), EndsWith(": it is loaded."));
  EXPECT_THAT(Plain(TellBusiestLink(Links(0.899))), EndsWith(": it is loaded."));
  EXPECT_THAT(Plain(TellBusiestLink(Links(0.9))), EndsWith(": it is full."));
}

TEST(SentencesTest, LoadsThatAreModelledAreCalledSo) {
  EXPECT_THAT(Plain(TellBusiestLink(Links(0.5, false))), HasSubstr("as routes are modelled"));
  EXPECT_THAT(Plain(TellBusiestLink(Links(0.5, true))), Not(HasSubstr("model")));
}

TEST(SentencesTest, LinksAroundTheEdgeEndOnTheOtherSide) {
  LinkMeasures links = Links(0.5);
  links.level = Level::CLUSTER;
  for (const auto& [node, heading, name] :
       {std::tuple{Place{7, 1}, Heading::RIGHT, "cluster (7, 1)→(0, 1)"},
        {Place{0, 1}, Heading::LEFT, "cluster (0, 1)→(7, 1)"},
        {Place{2, 7}, Heading::UP, "cluster (2, 7)→(2, 0)"},
        {Place{2, 0}, Heading::DOWN, "cluster (2, 0)→(2, 7)"}}) {
    links.busiest = {{node, heading, 1, 0.5}};
    EXPECT_THAT(Plain(TellBusiestLink(links)), HasSubstr(name));
  }
}

Usage Work(double maxOverMean, double cov) {
  Usage usage;
  usage.units = 64;
  usage.imbalance = Imbalance{maxOverMean, 0.1, cov};
  usage.busiest = {{{3, 3}, 0.3}};
  return usage;
}

TEST(SentencesTest, AnElementIsHotBeyondTwiceTheMeanAndThreeDeviationsAboveIt) {
  EXPECT_EQ(Plain(TellWork(Work(2, 0.3), 1)),
            "PE (3, 3) is hot: it fires 2 times as often as the mean.");
  EXPECT_EQ(Plain(TellWork(Work(1.99, 0.3), 1)), "");
  EXPECT_EQ(Plain(TellWork(Work(2.5, 0.501), 1)), "");
  EXPECT_NE(Plain(TellWork(Work(2.5, 0.499), 1)), "");
}

TEST(SentencesTest, WhereOneIsHotItIsToldThatNoneIsIdle) {
  EXPECT_THAT(Plain(TellWork(Work(3, 0.3), 0)), EndsWith("; no PE is idle."));
  EXPECT_THAT(Plain(TellWork(Work(3, 0.3), 1)), Not(HasSubstr("idle")));
}

TEST(SentencesTest, WorkIsEvenBelowFiveQuartersOfTheMean) {
  EXPECT_EQ(Plain(TellWork(Work(1.2, 0.1), 0)),
            "Work is spread evenly over the PEs (largest 1.20 × mean).");
  EXPECT_EQ(Plain(TellWork(Work(1.25, 0.1), 0)), "");
  Usage one = Work(1, 0);
  one.units = 1;
  EXPECT_EQ(Plain(TellWork(one, 0)), "");
  EXPECT_EQ(Plain(TellWork(Usage(), 0)), "");
}

TEST(SentencesTest, ElementsThatNeverFireAndIdleOnesAreCounted) {
  EXPECT_EQ(Plain(TellIdle(64, 0, 0)), "");
  EXPECT_EQ(Plain(TellIdle(64, 1, 0)), "1 of 64 PEs never fires.");
  EXPECT_EQ(Plain(TellIdle(1024, 160, 2)),
            "160 of 1,024 PEs never fire; 2 more are idle: active in less than 1 % of the cycles.");
  EXPECT_EQ(Plain(TellIdle(64, 0, 1)),
            "1 of 64 PEs is idle: active in less than 1 % of the cycles.");
}

// Packets that enter one a cycle and take so long.
PacketCounts Packets(uint64_t cycles, const std::function<uint64_t(uint64_t)>& latency) {
  PacketCounts packets(PacketCounts::Windows(0, cycles - 1));
  for (uint64_t cycle = 0; cycle < cycles; ++cycle) {
    packets.Add(cycle, cycle, PacketRole::ENTRY, std::nullopt);
    packets.Add(cycle, cycle + latency(cycle), PacketRole::EXIT, std::nullopt);
  }
  return packets;
}

TEST(SentencesTest, LatencyIsToldOfAtLeastTwentyPackets) {
  const auto own = [](uint64_t cycle) { return cycle + 1; };
  EXPECT_EQ(Plain(TellLatency(Packets(19, own))), "");
  EXPECT_EQ(Plain(TellLatency(Packets(20, own))),
            "Half of the packets arrive within 10 cycles, 95 % within 19; the slowest, packet 19, "
            "takes 20.");
  EXPECT_EQ(Plain(TellLatency(Packets(100, own))),
            "Half of the packets arrive within 50 cycles, 99 % within 99; the slowest, packet 99, "
            "takes 100.");
}

TEST(SentencesTest, SaturationIsToldFromItsOnsetOn) {
  EXPECT_EQ(Plain(TellOnset(Packets(10000, [](uint64_t) { return uint64_t{10}; }))), "");
  EXPECT_EQ(
      Plain(TellOnset(Packets(
          10000, [](uint64_t cycle) { return cycle < 5000 || cycle % 2 == 0 ? 10U : 50U; }))),
      "The slowest 5 % saturate from cycle 5,000 on: 95 % within 10 cycles at first, within up "
      "to 50 after it; the median lies between 10 and 10.");
}

TEST(SentencesTest, AThinEndIsToldFromATenthOfTheRunOn) {
  const auto tell = [](size_t thinColumns, uint64_t thinFires) {
    std::vector<uint64_t> fires(100, 10);
    std::fill(fires.end() - static_cast<std::ptrdiff_t>(thinColumns), fires.end(), thinFires);
    const size_t busy = 100 - thinColumns;
    const std::vector<Phase> phases = {{0, busy, 10},
                                       {busy, thinColumns, static_cast<double>(thinFires)}};
    return Plain(TellEnd(phases, {0, 199, 2}, fires));
  };
  EXPECT_EQ(tell(10, 1), "The last 10 % of the run make 1.10 % of the fires.");
  EXPECT_EQ(tell(9, 1), "");
  EXPECT_EQ(tell(20, 5), "");  // more than half of the mean
  EXPECT_EQ(tell(20, 4), "The last 20 % of the run make 9.09 % of the fires.");
}

TEST(SentencesTest, SeveralThinPhasesAtTheEndAreOneEnd) {
  const std::vector<uint64_t> fires = {10, 10, 10, 10, 10, 10, 1, 1, 2, 2};
  const std::vector<Phase> phases = {{0, 6, 10}, {6, 2, 1}, {8, 2, 2}};
  EXPECT_THAT(Plain(TellEnd(phases, {0, 9, 1}, fires)), StartsWith("The last 40 %"));
  // A thin start is none.
  EXPECT_EQ(Plain(TellEnd({{0, 2, 1}, {2, 8, 10}}, {0, 9, 1}, fires)), "");
}

}  // namespace
}  // namespace marrowfin::testing
