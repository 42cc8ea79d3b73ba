#include "trace/read/SwitchGrid.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>

#include "tests/trace/support/RandomTrace.h"
#include "trace/read/Decode.h"

namespace marrowfin::testing {
namespace {

const ArrayShape SHAPES[] = {{1, 1, 1},
                             {4, 2, 4},
                             {4, 2, 8},
                             {3, 1, 7},
                             {5, 3, 2},
                             {1, 1, 12},
                             {7, 2, 6},
                             {1, 1, 100},
                             {100, 1, 1},
                             {2, 5, 5},
                             {8, 4, 8},
                             {1, 1, 96},
                             {9, 1, 3},
                             {4096, 1, 1},
                             {1, 4096, 1},
                             {{4, 3}, {2, 1}, {4, 8}},
                             {{3, 5}, {1, 3}, {7, 2}},
                             {{2, 9}, {2, 1}, {4, 3}}};

bool FitsOne(const SwitchGrid& grid, Place place) {
  auto columns = std::make_unique<Columns>();
  columns->size = 1;
  columns->tag[0] = {0, SWITCH_RECORD};
  columns->at[0] = place;
  columns->maxSwitched = columns->switchedBits = {place.column - 4, place.row - 4};
  const bool fits = grid.FitsPortable(*columns);
  EXPECT_EQ(grid.FitsAvx2(*columns), fits);
  EXPECT_EQ(grid.Fits(*columns), fits);
  return fits;
}

TEST(SwitchGridTest, EveryIndexNearTheArrayIsToldAsByDivision) {
  for (const ArrayShape& shape : SHAPES) {
    const SwitchGrid grid(shape);
    for (uint32_t index = 0; index < 3 * std::max(shape.Columns(), shape.Rows()) + 20; ++index) {
      const Place inColumn = {index, 4};
      const Place inRow = {4, index};
      ASSERT_EQ(FitsOne(grid, inColumn), shape.HasSwitch(inColumn)) << index;
      ASSERT_EQ(FitsOne(grid, inRow), shape.HasSwitch(inRow)) << index;
    }
  }
}

TEST(SwitchGridTest, AnyIndexIsToldAsByDivision) {
  std::mt19937 random(1);
  for (const ArrayShape& shape : SHAPES) {
    const SwitchGrid grid(shape);
    for (int i = 0; i < 2000; ++i) {
      const uint32_t index = static_cast<uint32_t>(random()) >> random() % 32;
      for (const Place place : {Place{index, 4}, Place{4, index}, Place{index, index},
                                Place{~index, 4}, Place{4, ~index}}) {
        ASSERT_EQ(FitsOne(grid, place), shape.HasSwitch(place)) << index;
      }
    }
  }
}

// Behind the last record of a batch stands what an earlier one left, and before it other records.
TEST(SwitchGridTest, OnlySwitchesOfTheBatchCount) {
  const ArrayShape shape = {4, 2, 4};
  const SwitchGrid grid(shape);
  auto columns = std::make_unique<Columns>();
  std::fill(std::begin(columns->at), std::end(columns->at), Place{5, 5});
  for (size_t size = 0; size <= 20; ++size) {
    columns->size = size;
    for (size_t at = 0; at < 24; ++at) {
      std::fill(std::begin(columns->tag), std::end(columns->tag), Columns::Tag{0, FIRE_RECORD});
      columns->tag[at].type = SEND_RECORD;
      EXPECT_TRUE(grid.FitsPortable(*columns) && grid.FitsAvx2(*columns));
      columns->tag[at].type = SWITCH_RECORD;
      EXPECT_EQ(grid.FitsPortable(*columns), at >= size) << at << " of " << size;
      EXPECT_EQ(grid.FitsAvx2(*columns), at >= size) << at << " of " << size;
    }
  }
}

// What was gathered of several switches tells of all of them.
TEST(SwitchGridTest, OneSwitchThatDoesNotFitIsSeenAmongOthers) {
  std::mt19937 random(2);
  for (const ArrayShape& shape : SHAPES) {
    const SwitchGrid grid(shape);
    for (int round = 0; round < 200; ++round) {
      std::vector<Event> events(30);
      bool all = true;
      for (Event& event : events) {
        event.type = SWITCH_RECORD;
        event.at = {
            4 + static_cast<uint32_t>(random()) % shape.clusters.columns * shape.ClusterColumns(),
            4 + static_cast<uint32_t>(random()) % shape.clusters.rows * shape.ClusterRows()};
        if (random() % 40 == 0) {
          event.at.column += static_cast<uint32_t>(random()) % 9;
          event.at.row -= static_cast<uint32_t>(random()) % 3;
        }
        all &= shape.HasSwitch(event.at);
      }
      const std::string bytes = Encode(events);
      const auto* data = reinterpret_cast<const uint8_t*>(bytes.data());
      auto columns = std::make_unique<Columns>();
      DecodeBest(data, data + bytes.size(), *columns);
      ASSERT_EQ(columns->size, events.size());
      ASSERT_EQ(grid.Fits(*columns), all);
      ASSERT_EQ(grid.FitsPortable(*columns), all);
      ASSERT_EQ(grid.FitsAvx2(*columns), all);
    }
  }
}

}  // namespace
}  // namespace marrowfin::testing
