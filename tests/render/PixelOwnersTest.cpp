#include "render/PixelOwners.h"

#include <gtest/gtest.h>

#include <random>

namespace marrowfin {
namespace {

Pixel Numbered(uint32_t owner) {
  return {static_cast<uint8_t>(owner >> 16), static_cast<uint8_t>(owner >> 8),
          static_cast<uint8_t>(owner), 77};
}

// What is painted when each owner has its own number as its colour, but for the last byte.
std::vector<Pixel> Painted(PictureSize size, const std::vector<Pixel>& bottomUp, uint32_t owners) {
  std::vector<Pixel> colors;
  for (uint32_t i = 0; i < owners; ++i) {
    colors.push_back(Numbered(i));
  }
  std::vector<Pixel> to(size.Pixels());
  PixelOwners(size, bottomUp).Paint(colors, to.data());
  return to;
}

std::vector<Pixel> UpsideDown(PictureSize size, const std::vector<Pixel>& pixels) {
  std::vector<Pixel> turned;
  for (size_t row = size.height; row-- > 0;) {
    const auto first = pixels.begin() + static_cast<ptrdiff_t>(row * size.width);
    turned.insert(turned.end(), first, first + size.width);
  }
  return turned;
}

TEST(PixelOwnersTest, EveryPixelGetsTheColourOfItsOwner) {
  std::mt19937 random(1);
  for (const uint32_t owners : {1U, 2U, 3U, 200U, 70000U}) {
    for (const PictureSize size : {PictureSize{1, 1}, {1, 9}, {9, 1}, {31, 17}, {64, 64}}) {
      std::vector<Pixel> bottomUp;
      for (size_t i = 0; i < size.Pixels(); ++i) {
        bottomUp.push_back(Numbered(static_cast<uint32_t>(random() % owners)));
      }
      EXPECT_EQ(UpsideDown(size, bottomUp), Painted(size, bottomUp, owners)) << owners;
    }
  }
}

TEST(PixelOwnersTest, RowsThatAreLikeTheOneAboveAreNoOthers) {
  const PictureSize size = {5, 6};
  std::vector<Pixel> bottomUp;
  for (const uint32_t row : {0U, 0U, 1U, 1U, 1U, 0U}) {
    for (uint32_t x = 0; x < size.width; ++x) {
      bottomUp.push_back(Numbered(row + (x > 2 ? 1 : 0)));
    }
  }
  EXPECT_EQ(UpsideDown(size, bottomUp), Painted(size, bottomUp, 3));
}

}  // namespace
}  // namespace marrowfin
