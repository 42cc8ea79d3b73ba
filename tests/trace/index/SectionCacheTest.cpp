#include "trace/index/SectionCache.h"

#include <gtest/gtest.h>

namespace marrowfin::testing {
namespace {

std::vector<uint8_t> Bytes(size_t size, uint8_t value) { return std::vector<uint8_t>(size, value); }

TEST(SectionCacheTest, SectionIsFoundUnderItsOffsetOnly) {
  SectionCache cache(100);
  EXPECT_EQ(cache.Find(0), nullptr);
  EXPECT_EQ(cache.Put(7, Bytes(10, 1)), Bytes(10, 1));
  ASSERT_NE(cache.Find(7), nullptr);
  EXPECT_EQ(*cache.Find(7), Bytes(10, 1));
  EXPECT_EQ(cache.Find(8), nullptr);
}

TEST(SectionCacheTest, SectionUsedLongestAgoGoesFirst) {
  SectionCache cache(100);
  cache.Put(1, Bytes(40, 1));
  cache.Put(2, Bytes(40, 2));
  EXPECT_NE(cache.Find(1), nullptr);
  cache.Put(3, Bytes(40, 3));
  EXPECT_EQ(cache.Find(2), nullptr);
  EXPECT_NE(cache.Find(1), nullptr);
  EXPECT_NE(cache.Find(3), nullptr);
  EXPECT_EQ(cache.Size(), 80U);
}

TEST(SectionCacheTest, SectionsUpToTheCapacityStay) {
  SectionCache cache(100);
  cache.Put(1, Bytes(40, 1));
  cache.Put(2, Bytes(60, 2));
  EXPECT_NE(cache.Find(1), nullptr);
  EXPECT_EQ(cache.Size(), 100U);
}

TEST(SectionCacheTest, SectionLargerThanAllRoomIsKeptAlone) {
  SectionCache cache(100);
  cache.Put(1, Bytes(40, 1));
  cache.Put(2, Bytes(400, 2));
  EXPECT_EQ(cache.Find(1), nullptr);
  ASSERT_NE(cache.Find(2), nullptr);
  EXPECT_EQ(cache.Find(2)->size(), 400U);
  cache.Put(3, Bytes(1, 3));
  EXPECT_EQ(cache.Find(2), nullptr);
  EXPECT_EQ(cache.Size(), 1U);
}

}  // namespace
}  // namespace marrowfin::testing
