#include "Core/Domain.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <vector>

#include "tests/support/Reports.h"

namespace {

using marrowfin::testing::AssertionReport;
using ::testing::ElementsAre;
using ::testing::KilledBySignal;

std::vector<Cycle> EdgesBelow(Cycle end, const Domain& domain) {
  std::vector<Cycle> edges;
  for (Cycle time = 0; time < end; ++time) {
    if (domain.HasEdgeAt(time)) {
      edges.push_back(time);
    }
  }
  return edges;
}

TEST(DomainTest, ByDefaultEveryTickIsAnEdge) {
  const Domain domain;
  EXPECT_EQ(1u, domain.GetPeriod());
  EXPECT_EQ(0u, domain.GetPhase());
  EXPECT_THAT(EdgesBelow(4, domain), ElementsAre(0, 1, 2, 3));
}

TEST(DomainTest, EdgesBeginAtThePhaseAndFollowThePeriod) {
  const Domain domain(3, 5);
  EXPECT_EQ(3u, domain.GetPeriod());
  EXPECT_EQ(5u, domain.GetPhase());
  EXPECT_THAT(EdgesBelow(15, domain), ElementsAre(5, 8, 11, 14));
}

TEST(DomainTest, NoEdgeLiesBeforeThePhase) {
  EXPECT_FALSE(Domain(3, 5).HasEdgeAt(2));
  EXPECT_FALSE(Domain(4, 8).HasEdgeAt(0));
  EXPECT_FALSE(Domain(1, 1).HasEdgeAt(0));
}

TEST(DomainTest, TheTickOfAnEdgeIsThatOfItsNumberFromZero) {
  const Domain domain(3, 5);
  EXPECT_EQ(5u, domain.TimeOf(0));
  EXPECT_EQ(8u, domain.TimeOf(1));
  EXPECT_EQ(35u, domain.TimeOf(10));
  for (Cycle cycle = 0; cycle < 10; ++cycle) {
    EXPECT_TRUE(domain.HasEdgeAt(domain.TimeOf(cycle)));
  }
}

TEST(DomainTest, TheTickOfAnEdgeWrapsAtSixtyFourBits) {
  EXPECT_EQ(1u, Domain(2, 3).TimeOf(0x7FFFFFFFFFFFFFFF));
}

TEST(DomainTest, AdvancingCountsCycles) {
  Domain domain(3, 5);
  EXPECT_EQ(0u, domain.GetCurrentCycle());
  domain.Advance();
  EXPECT_EQ(1u, domain.GetCurrentCycle());
  domain.Advance();
  EXPECT_EQ(2u, domain.GetCurrentCycle());
  EXPECT_EQ(3u, domain.GetPeriod());
  EXPECT_EQ(5u, domain.GetPhase());
}

TEST(DomainDeathTest, APeriodOfZeroFailsACheck) {
  EXPECT_EXIT(Domain(0), KilledBySignal(SIGABRT), AssertionReport("Core/Domain.cpp", "period > 0"));
}

}  // namespace
