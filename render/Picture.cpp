#include "render/Picture.h"

#include <algorithm>

namespace marrowfin {

Picture PictureOf(PictureSize size, const std::vector<Pixel>& pixels) {
  Picture picture = {size, std::vector<uint8_t>(Picture::CHANNELS * pixels.size())};
  uint8_t* to = picture.pixels.data();
  for (const Pixel& pixel : pixels) {
    to = std::copy(pixel.begin(), pixel.begin() + Picture::CHANNELS, to);
  }
  return picture;
}

}  // namespace marrowfin
