#ifndef RENDER_PICTURE_H
#define RENDER_PICTURE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace marrowfin {

// How large a picture is, in pixels.
struct PictureSize {
  uint32_t width = 0;
  uint32_t height = 0;

  size_t Pixels() const { return static_cast<size_t>(width) * height; }

  friend bool operator==(const PictureSize&, const PictureSize&) = default;
};

// A pixel as four bytes: red, green, blue, and one that means nothing.
using Pixel = std::array<uint8_t, 4>;

// The pixels of a picture: red, green and blue of each, row by row, the topmost row first.
struct Picture {
  static constexpr size_t CHANNELS = 3;

  PictureSize size;
  std::vector<uint8_t> pixels;

  friend bool operator==(const Picture&, const Picture&) = default;
};

// The picture of these pixels, the topmost row first.
Picture PictureOf(PictureSize size, const std::vector<Pixel>& pixels);

}  // namespace marrowfin

#endif
