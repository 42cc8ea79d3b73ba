#include "trace/index/ThreadMask.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace marrowfin::testing {
namespace {

typedef std::vector<uint8_t> Bytes;

constexpr uint64_t ENDLESS = uint64_t{1} << 40;  // records in which any mask is worth its room

Bytes RandomBits(std::mt19937& random, size_t count) {
  Bytes bits(count);
  for (uint8_t& byte : bits) {
    byte = static_cast<uint8_t>(random() % 3 == 0 ? random() : 0);
  }
  return bits;
}

uint8_t GatherByHand(const Bytes& bits, uint32_t columns, uint32_t rows, Place first, Place last) {
  unsigned all = 0;
  for (uint32_t row = first.row; row < rows && row <= last.row; ++row) {
    for (uint32_t column = first.column; column < columns && column <= last.column; ++column) {
      all |= bits[row * columns + column];
    }
  }
  return static_cast<uint8_t>(all);
}

TEST(ThreadMaskTest, EightThreadsAreToldApartAndMultiplesSpreadOverTheClasses) {
  for (const uint32_t step : {1U, 2U, 4U, 8U, 16U, 64U, 512U}) {
    unsigned bits = 0;
    for (uint32_t thread = 0; thread < 16; ++thread) {
      bits |= ThreadMask::BitOf(thread * step);
    }
    EXPECT_EQ(bits, 0xFFU) << "every " << step << "th thread";
  }
  for (uint32_t thread = 0; thread < 8; ++thread) {
    EXPECT_EQ(ThreadMask::BitOf(thread), 1U << thread);
  }
}

TEST(ThreadMaskTest, WhatIsWorthItsRoomTellsEveryPosition) {
  std::mt19937 random(1);
  for (const auto& [columns, rows] : {std::pair(1U, 1U), std::pair(8U, 4U), std::pair(2U, 16U)}) {
    const Bytes bits = RandomBits(random, columns * rows);
    const Bytes section = ThreadMask::Encode(bits, columns, rows, ENDLESS);
    ASSERT_EQ(section.size(), 1 + bits.size());
    for (int round = 0; round < 200; ++round) {
      const Place first = {static_cast<uint32_t>(random() % 20),
                           static_cast<uint32_t>(random() % 20)};
      const Place last = {first.column + static_cast<uint32_t>(random() % 5),
                          first.row + static_cast<uint32_t>(random() % 5)};
      ASSERT_EQ(ThreadMask::Gather(section, columns, rows, first, last),
                GatherByHand(bits, columns, rows, first, last));
    }
    EXPECT_EQ(ThreadMask::Gather(section, columns, rows, {0, 0}, {~0U, ~0U}),
              GatherByHand(bits, columns, rows, {0, 0}, {~0U, ~0U}));
  }
}

TEST(ThreadMaskTest, PositionsArePutTogetherUntilTheyAreWorthTheirRoom) {
  std::mt19937 random(2);
  for (const uint64_t records : {5000U, 1000U, 200U, 1U}) {
    const Bytes bits = RandomBits(random, 32 * 16);
    const Bytes section = ThreadMask::Encode(bits, 32, 16, records);
    const auto mixed = std::count_if(section.begin() + 1, section.end(),
                                     [](uint8_t byte) { return byte != 0 && byte != 0xFF; });
    EXPECT_TRUE(section.size() == 2 || static_cast<uint64_t>(mixed) * 16 <= records);
    for (int round = 0; round < 200; ++round) {
      const Place first = {static_cast<uint32_t>(random() % 32),
                           static_cast<uint32_t>(random() % 16)};
      const Place last = {first.column + static_cast<uint32_t>(random() % 3), first.row};
      const uint8_t known = GatherByHand(bits, 32, 16, first, last);
      ASSERT_EQ(ThreadMask::Gather(section, 32, 16, first, last) & known, known);
    }
  }
}

TEST(ThreadMaskTest, WhatIsNoMaskOfTheArrayRulesNothingOut) {
  for (const Bytes& section : {Bytes(), Bytes{0}, Bytes(33, 0), Bytes{9, 0, 0}, Bytes{255, 0}}) {
    EXPECT_EQ(ThreadMask::Gather(section, 8, 8, {0, 0}, {1, 1}), 0xFF);
    Bytes bits(64, 5);
    ThreadMask::Restrict(section, 8, 8, bits);
    EXPECT_EQ(bits, Bytes(64, 5));
  }
}

TEST(ThreadMaskTest, BitsAreRestrictedToThoseOfTheirPosition) {
  std::mt19937 random(3);
  for (const uint64_t records : {ENDLESS, uint64_t{300}}) {
    const Bytes section = ThreadMask::Encode(RandomBits(random, 16 * 8), 16, 8, records);
    const Bytes before = RandomBits(random, 16 * 8);
    Bytes bits = before;
    ThreadMask::Restrict(section, 16, 8, bits);
    for (uint32_t i = 0; i < bits.size(); ++i) {
      const Place at = {i % 16, i / 16};
      ASSERT_EQ(bits[i], before[i] & ThreadMask::Gather(section, 16, 8, at, at));
    }
  }
}

}  // namespace
}  // namespace marrowfin::testing
