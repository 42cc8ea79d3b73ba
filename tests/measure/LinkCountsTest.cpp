#include "measure/LinkCounts.h"

#include <gtest/gtest.h>

#include <array>
#include <map>
#include <random>
#include <vector>

namespace marrowfin::testing {
namespace {

// Walks every message link by link.
class Walker {
 public:
  explicit Walker(const Mesh& mesh) : mesh(mesh), passes(mesh.nodes.columns * mesh.nodes.rows) {
    for (std::vector<uint64_t>& way : messages) {
      way.resize(passes.size());
    }
  }

  void Walk(Place from, Place to) {
    ++passes[mesh.Number(from)];
    for (const bool alongColumn : {mesh.columnFirst, !mesh.columnFirst}) {
      while (alongColumn ? from.row != to.row : from.column != to.column) {
        Step(from, alongColumn ? HeadingTo(from.row, to.row, mesh.nodes.rows, mesh.wrapRows, true)
                               : HeadingTo(from.column, to.column, mesh.nodes.columns,
                                           mesh.wrapColumns, false));
      }
    }
  }

  std::array<std::vector<uint64_t>, HEADINGS> messages;
  Mesh mesh;
  std::vector<uint64_t> passes;
  uint64_t steps = 0;

 private:
  static Heading HeadingTo(uint32_t from, uint32_t to, uint32_t nodes, bool wraps, bool rows) {
    const uint32_t up = (to + nodes - from) % nodes;
    const bool forward = wraps ? up <= nodes - up : to > from;
    return rows ? (forward ? Heading::UP : Heading::DOWN)
                : (forward ? Heading::RIGHT : Heading::LEFT);
  }

  void Step(Place& at, Heading heading) {
    EXPECT_TRUE(mesh.HasLink(at, heading));
    ++messages[static_cast<size_t>(heading)][mesh.Number(at)];
    const PerAxis n = mesh.nodes;
    switch (heading) {
      case Heading::RIGHT:
        at.column = (at.column + 1) % n.columns;
        break;
      case Heading::LEFT:
        at.column = (at.column + n.columns - 1) % n.columns;
        break;
      case Heading::UP:
        at.row = (at.row + 1) % n.rows;
        break;
      case Heading::DOWN:
        at.row = (at.row + n.rows - 1) % n.rows;
    }
    ++passes[mesh.Number(at)];
    ++steps;
  }
};

TEST(LinkCountsTest, LoadsAreThoseOfWalkingEveryMessageLinkByLink) {
  std::mt19937 random(1);
  for (int round = 0; round < 60; ++round) {
    const auto draw = [&](uint32_t below) { return static_cast<uint32_t>(random() % below); };
    const Mesh mesh = {{1 + draw(6), 1 + draw(6)}, draw(2) == 0, draw(2) == 0, draw(2) == 0};
    LinkCounts counts(mesh);
    LinkCounts more(mesh);
    Walker walker(mesh);
    uint64_t links = 0;
    for (int message = 0; message < 200; ++message) {
      const Place from = {draw(mesh.nodes.columns), draw(mesh.nodes.rows)};
      const Place to = {draw(mesh.nodes.columns), draw(mesh.nodes.rows)};
      (message % 2 == 0 ? counts : more).Add(from, to);
      walker.Walk(from, to);
      links += mesh.Distance(from, to);
    }
    counts.Add(more);
    const LinkLoads loads = counts.Get();
    EXPECT_EQ(loads.messages, walker.messages) << "round " << round;
    EXPECT_EQ(loads.passes, walker.passes);
    EXPECT_EQ(links, walker.steps);
  }
}

TEST(LinkCountsTest, AMeshHasTheLinksThatItsNodesHave) {
  for (const bool wraps : {false, true}) {
    for (const PerAxis nodes : {PerAxis{1, 1}, PerAxis{4, 3}, PerAxis{1, 5}, PerAxis{2, 2}}) {
      const Mesh mesh = {nodes, wraps, false, false};
      uint64_t links = 0;
      for (uint32_t row = 0; row < nodes.rows; ++row) {
        for (uint32_t column = 0; column < nodes.columns; ++column) {
          for (const Heading heading :
               {Heading::RIGHT, Heading::LEFT, Heading::UP, Heading::DOWN}) {
            links += mesh.HasLink({column, row}, heading) ? 1 : 0;
          }
        }
      }
      EXPECT_EQ(mesh.Links(), links) << nodes.columns << " x " << nodes.rows << " " << wraps;
    }
  }
}

TEST(LinkCountsTest, TheBisectionIsTheBusierOfTheTwoMiddleCuts) {
  LinkCounts counts(Mesh{{4, 2}});
  counts.Add({0, 0}, {3, 0});
  counts.Add({3, 1}, {0, 1});
  counts.Add({1, 0}, {0, 0});  // on one side
  Bisection cut = BisectionOf(counts.Get());
  EXPECT_TRUE(cut.ofColumns);
  EXPECT_EQ(cut.messages, 2U);
  EXPECT_EQ(cut.links, 4U);
  for (int i = 0; i < 5; ++i) {
    counts.Add({2, 0}, {2, 1});
  }
  cut = BisectionOf(counts.Get());
  EXPECT_FALSE(cut.ofColumns);
  EXPECT_EQ(cut.messages, 5U);
  EXPECT_EQ(cut.links, 8U);
}

TEST(LinkCountsTest, LinksAroundTheEdgeAreCutAsWell) {
  LinkCounts counts(Mesh{{4, 1}, true});
  counts.Add({0, 0}, {3, 0});
  counts.Add({3, 0}, {0, 0});
  counts.Add({1, 0}, {2, 0});
  const Bisection cut = BisectionOf(counts.Get());
  EXPECT_EQ(cut.messages, 3U);
  EXPECT_EQ(cut.links, 4U);
}

TEST(LinkCountsTest, AMeshOfOneNodeHasNothingToCut) {
  LinkCounts counts(Mesh{{1, 1}});
  counts.Add({0, 0}, {0, 0});
  EXPECT_EQ(BisectionOf(counts.Get()).links, 0U);
  EXPECT_EQ(counts.Get().passes[0], 1U);
}

}  // namespace
}  // namespace marrowfin::testing
