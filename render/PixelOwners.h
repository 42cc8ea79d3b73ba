#ifndef RENDER_PIXELOWNERS_H
#define RENDER_PIXELOWNERS_H

#include <cstdint>
#include <vector>

#include "render/Picture.h"

namespace marrowfin {

// Which piece each pixel of a picture shows.
//
// A piece has one colour and covers a pixel or does not, so the pieces on the screen stay where
// they are as long as the view does: a further picture is these runs in other colours. That takes a
// tenth of what it takes to draw all pieces again.
class PixelOwners {
 public:
  PixelOwners() = default;

  // From pixels that tell the owner of each in three bytes, the highest first; the lowest row of
  // the picture comes first.
  PixelOwners(PictureSize size, const std::vector<Pixel>& bottomUp);

  // Gives each pixel the colour of its owner, the topmost row first. `colors` has one for each
  // owner, `to` has room for the picture.
  void Paint(const std::vector<Pixel>& colors, Pixel* to) const;

 private:
  struct Run {
    uint32_t owner;
    uint32_t length;
  };

  void AddRow(const Pixel* pixels);

  PictureSize size;
  std::vector<Run> runs;
  std::vector<size_t> rows;  // where the runs of each row begin, and of one more; an empty row is
                             // like the one above it
};

}  // namespace marrowfin

#endif
