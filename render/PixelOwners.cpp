#include "render/PixelOwners.h"

#include <algorithm>

namespace marrowfin {
namespace {

uint32_t OwnerOf(const Pixel& pixel) {
  return uint32_t{pixel[0]} << 16 | uint32_t{pixel[1]} << 8 | pixel[2];
}

}  // namespace

PixelOwners::PixelOwners(PictureSize size, const std::vector<Pixel>& bottomUp) : size(size) {
  rows.reserve(size.height + size_t{1});
  rows.push_back(0);
  for (size_t row = size.height; row-- > 0;) {
    const Pixel* const pixels = bottomUp.data() + row * size.width;
    const Pixel* const above = pixels + size.width;
    if (row + 1 < size.height && std::equal(pixels, above, above)) {
      rows.push_back(runs.size());
    } else {
      AddRow(pixels);
    }
  }
}

void PixelOwners::AddRow(const Pixel* pixels) {
  const size_t first = runs.size();
  for (uint32_t x = 0; x < size.width; ++x) {
    const uint32_t owner = OwnerOf(pixels[x]);
    if (runs.size() == first || runs.back().owner != owner) {
      runs.push_back({owner, 0});
    }
    ++runs.back().length;
  }
  rows.push_back(runs.size());
}

void PixelOwners::Paint(const std::vector<Pixel>& colors, Pixel* to) const {
  for (size_t row = 0; row < size.height; ++row, to += size.width) {
    if (rows[row] == rows[row + 1]) {
      std::copy(to - size.width, to, to);
      continue;
    }
    Pixel* next = to;
    for (size_t i = rows[row]; i < rows[row + 1]; ++i) {
      next = std::fill_n(next, runs[i].length, colors[runs[i].owner]);
    }
  }
}

}  // namespace marrowfin
