// The example's units where the program as a whole does not show them.

#include <gtest/gtest.h>

#include <set>

#include "Array.h"
#include "Util/Regression.h"
#include "tests/examples/Example.h"
#include "tests/support/Files.h"

namespace marrowfin::systolic {

Layout LayoutOf(unsigned clusters, unsigned domains, unsigned pes) {
  Layout layout;
  layout.clusters = clusters;
  layout.domains = domains;
  layout.pes = pes;
  return layout;
}

TEST(ScheduleTest, EachTileOfEachProductComesOnce) {
  Schedule schedule;
  schedule.rows = 7;
  schedule.columns = 10;
  schedule.threads = 2;
  schedule.products = 3;
  std::set<std::tuple<unsigned long long, unsigned, unsigned>> elements;
  for (unsigned long long number = 0; number < schedule.Tiles(4); ++number) {
    const Tile tile = schedule.TileAt(number, 4);
    EXPECT_EQ(tile.product % 2, tile.thread);
    for (unsigned row = 0; row < tile.rows; ++row) {
      for (unsigned column = 0; column < tile.columns; ++column) {
        EXPECT_TRUE(elements.insert({tile.product, tile.row + row, tile.column + column}).second);
      }
    }
  }
  EXPECT_EQ(2U * 3U * 7U * 10U, elements.size());
}

TEST(ScheduleTest, TilesDoNotReachBeyondTheProductOrTheArray) {
  Schedule schedule;
  schedule.rows = 9;
  schedule.columns = 3;
  schedule.threads = 1;
  EXPECT_EQ(4U, schedule.TileAt(0, 4).rows);
  EXPECT_EQ(3U, schedule.TileAt(0, 4).columns);
  EXPECT_EQ(8U, schedule.TileAt(2, 4).row);
  EXPECT_EQ(1U, schedule.TileAt(2, 4).rows);
}

TEST(ArrayTest, GivesEveryUnitTheClockAndItsPlaceInTheTree) {
  Array array(LayoutOf(2, 1, 1));
  EXPECT_EQ("array", array.theFullName);
  const Component* pe = array.theChildren.back()->theChildren.back()->theChildren.back();
  EXPECT_EQ("array/c1_1/d0_0/pe0_0", pe->theFullName);
  EXPECT_NE(nullptr, pe->theDomain);
  EXPECT_EQ(array.theDomain, pe->theDomain);
}

TEST(ArrayTest, ReleasesTheOperandsThatAreOnTheirWayWhenItGoes) {
  const unsigned long long before = Message::inUse;
  {
    Array array(LayoutOf(2, 2, 2));
    for (int cycle = 0; cycle < 5; ++cycle) {
      array.Step();
    }
    EXPECT_LT(before, Message::inUse);
  }
  EXPECT_EQ(before, Message::inUse);
}

TEST(ArrayTest, ReportsTheSameTwice) {
  Array array(LayoutOf(2, 1, 1));
  for (int cycle = 0; cycle < 20; ++cycle) {
    array.Step();
  }
  const testing::TempDir directory;
  StatsPrinter once(directory.File("once"));
  StatsPrinter again(directory.File("again"));
  for (StatsPrinter* printer : {&once, &again}) {
    StatsContainer::output = printer;
    array.DoStatsOutput();
    printer->outputFile.Close();
  }
  const std::string report = testing::ReadFile(directory.File("once"));
  EXPECT_LT(0U, testing::SumOf(testing::StatisticsIn(report), "/moves"));
  EXPECT_EQ(report, testing::ReadFile(directory.File("again")));
}

TEST(ArrayTest, HasUnitsThatWorkAtEveryCycle) {
  Array array(LayoutOf(1, 1, 1));
  Component* cluster = array.theChildren[2];
  EXPECT_TRUE(array.host.IsClocked());
  EXPECT_TRUE(cluster->theChildren[0]->IsClocked());
  EXPECT_TRUE(cluster->theChildren[1]->theChildren[0]->IsClocked());
  EXPECT_FALSE(array.trace.IsClocked());
}

TEST(ArrayTest, AnUnfinishedProductFailsTheRun) {
  Array array(LayoutOf(2, 2, 2));
  array.Step();
  array.DoFinalize();
  EXPECT_EQ(Regression::FAILURE, Regression::success);
  EXPECT_EQ("0 of 12 products are right, 1 unfinished\n", Regression::reason);
}

class WiringDeathTest : public ::testing::Test {
 protected:
  // Four clusters of one PE each.
  Component* UnitOf(size_t cluster, size_t child) {
    return array.theChildren[2 + cluster]->theChildren[child];
  }
  Component* SwitchOf(size_t cluster) { return UnitOf(cluster, 0); }
  Component* PeOf(size_t cluster) { return UnitOf(cluster, 1)->theChildren[0]; }

  Operand* NewOperand() {
    return new Operand(array.host.schedule.TileAt(0, 2), 0, Operand::EAST, 1, 1);
  }

  Array array{LayoutOf(2, 1, 1)};
};

TEST_F(WiringDeathTest, APeRefusesAnOperandFromAUnitThatDidNotDeclareIt) {
  EXPECT_DEATH(PeOf(0)->SendMessage(PeOf(1), NewOperand()),
               "array/c0_0/d0_0/pe0_0 should not send to array/c1_0/d0_0/pe0_0\\.");
}

TEST_F(WiringDeathTest, ASwitchRefusesAnOperandOfAnotherCluster) {
  EXPECT_DEATH(PeOf(0)->SendMessage(SwitchOf(1), NewOperand()),
               "array/c0_0/d0_0/pe0_0 should not send to array/c1_0/switch\\.");
}

TEST_F(WiringDeathTest, TheHostRefusesResultsFromUnitsOtherThanPes) {
  EXPECT_DEATH(SwitchOf(0)->SendMessage(&array.host, NewOperand()),
               "array/c0_0/switch should not send to array/host\\.");
}

TEST(PeDeathTest, HasRoomForOneOperandADirection) {
  Array array(LayoutOf(1, 1, 2));
  Component* pe = array.theChildren[2]->theChildren[1]->theChildren[0];
  const Tile tile = array.host.schedule.TileAt(0, 2);
  array.host.SendMessage(pe, new Operand(tile, 0, Operand::EAST, 1, 1));
  array.host.SendMessage(pe, new Operand(tile, 0, Operand::SOUTH, 1, 1));
  EXPECT_DEATH(array.host.SendMessage(pe, new Operand(tile, 1, Operand::EAST, 1, 1)),
               "failed assertion `lane.operand == nullptr'");
}

TEST(PeDeathTest, NoticesOperandsThatDoNotBelongTogether) {
  Array array(LayoutOf(1, 1, 2));
  Component* pe = array.theChildren[2]->theChildren[1]->theChildren[0];
  const Tile tile = array.host.schedule.TileAt(0, 2);
  array.host.SendMessage(pe, new Operand(tile, 0, Operand::EAST, 1, 1));
  array.host.SendMessage(pe, new Operand(tile, 1, Operand::SOUTH, 1, 1));
  EXPECT_DEATH(array.Step(), "failed assertion `west != nullptr && north != nullptr && ");
}

TEST(MessageTest, AClonedOperandIsAnotherMessageWithTheSameContents) {
  Operand operand(Tile{5, 2, 8, 16, 3, 4, 6}, 1, Operand::SOUTH, -9, 7);
  Message* clone = operand.Clone();
  const Operand* copy = dynamic_cast<Operand*>(clone);
  ASSERT_NE(nullptr, copy);
  EXPECT_NE(operand.GetId(), clone->GetId());
  EXPECT_EQ(5U, copy->tile.product);
  EXPECT_EQ(1U, copy->step);
  EXPECT_EQ(Operand::SOUTH, copy->direction);
  EXPECT_EQ(-9, copy->value);
  EXPECT_EQ(7U, copy->hops);
  Message::Release(clone);
}

TEST(MessageTest, AClonedResultIsAnotherMessageWithTheSameContents) {
  Result result(Tile{5, 2, 8, 16, 3, 4, 6}, 9, 17, -123456789012);
  Message* clone = result.Clone();
  const Result* copy = dynamic_cast<Result*>(clone);
  ASSERT_NE(nullptr, copy);
  EXPECT_NE(result.GetId(), clone->GetId());
  EXPECT_EQ(9U, copy->row);
  EXPECT_EQ(17U, copy->column);
  EXPECT_EQ(-123456789012, copy->value);
  Message::Release(clone);
}

}  // namespace marrowfin::systolic
