#include "trace/index/BatchCells.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <set>

#include "trace/index/ThreadMask.h"
#include "trace/read/Decode.h"

namespace marrowfin::testing {
namespace {

constexpr uint32_t FARTHEST = ~uint32_t{0};

// Records of all types at places on, beside and far off an array of 16 x 8.
std::unique_ptr<Columns> RandomBatch(std::mt19937& random, size_t size) {
  const auto side = [&](uint32_t length) -> uint32_t {
    const uint32_t index = static_cast<uint32_t>(random()) % (length + 2);
    return index > length ? FARTHEST - static_cast<uint32_t>(random() % 3) : index;
  };
  auto columns = std::make_unique<Columns>();
  columns->size = size;
  uint64_t cycle = random();
  for (size_t i = 0; i < size; ++i) {
    cycle += random() % 3 == 0 ? uint64_t{1} << random() % 40 : 0;
    columns->cycle[i] = cycle;
    columns->tag[i] = {static_cast<uint32_t>(random()) >> random() % 32,
                       static_cast<uint32_t>(SWITCH_RECORD + random() % 3)};
    columns->at[i] = {side(16), side(8)};
    columns->to[i] = {side(16), side(8)};
  }
  return columns;
}

void ExpectCells(const Columns& columns, uint64_t cycleBefore, const BatchCells& cells) {
  std::set<uint32_t> nobodys;
  const auto expect = [&](uint32_t cell, bool counts, Place place, size_t i) {
    if (counts && place.column < 16 && place.row < 8) {
      EXPECT_EQ(cell, place.row * 16 + place.column) << i;
    } else {
      EXPECT_GE(cell, 16U * 8) << i;
      EXPECT_LT(cell, Segment::CellsFor(16, 8)) << i;
      nobodys.insert(cell);
    }
  };
  for (size_t i = 0; i < columns.size; ++i) {
    const auto [thread, type] = columns.tag[i];
    expect(cells.at[i], type != SWITCH_RECORD, columns.at[i], i);
    expect(cells.to[i], type == SEND_RECORD, columns.to[i], i);
    const bool change = columns.cycle[i] != (i == 0 ? cycleBefore : columns.cycle[i - 1]);
    EXPECT_EQ(cells.touch[i], MakeTouch(0, change, thread)) << i;
    EXPECT_EQ(cells.mark[i], uint32_t{ThreadMask::BitOf(thread)} << Segment::Cell::MASK_SHIFT) << i;
  }
  EXPECT_TRUE(columns.size < 200 || nobodys.size() > 10) << "counts wait for each other";
}

TEST(BatchCellsTest, AreThoseOfEachRecordHoweverTheyAreFound) {
  std::mt19937 random(3);
  for (const bool avx2 : {false, true}) {
    AllowAvx2(avx2);
    auto cells = std::make_unique<BatchCells>();
    for (const size_t size : {0, 1, 2, 7, 8, 9, 31, 200, 255, 256}) {
      const auto columns = RandomBatch(random, size);
      for (const uint64_t before : {columns->cycle[0], uint64_t{5}}) {
        cells->Fill(*columns, 16, 8, before);
        ExpectCells(*columns, before, *cells);
      }
    }
  }
  AllowAvx2(true);
}

TEST(BatchCellsTest, OfNoArrayAllAreNobodys) {
  std::mt19937 random(4);
  const auto columns = RandomBatch(random, 256);
  auto cells = std::make_unique<BatchCells>();
  cells->Fill(*columns, 0, 0, 0);
  for (size_t i = 0; i < columns->size; ++i) {
    EXPECT_LT(cells->at[i], Segment::CellsFor(0, 0));
    EXPECT_LT(cells->to[i], Segment::CellsFor(0, 0));
  }
}

}  // namespace
}  // namespace marrowfin::testing
