#ifndef RENDER_MESSAGEBANDS_H
#define RENDER_MESSAGEBANDS_H

#include <cstdint>
#include <vector>

#include "render/Picture.h"
#include "trace/ask/ArrayState.h"
#include "trace/base/ArrayShape.h"

namespace marrowfin {

// The bands of messages where a picture unit is a pixel and nothing is turned: painted without
// OpenGL, which takes ten times as long for lines as all else of a picture takes.
//
// A band is four lines between whole units. In each column from its left end up to its right one
// (or in each row, where it is steep) a line shows the pixel that it passes in the middle of the
// column. Where it passes between two pixels there, that is the upper one of a line that rises to
// the right, the lower one of others, and in rows the left one. So does Mesa; other drivers may
// draw other pixels: whoever paints compares first what OpenGL makes of Sample.
class MessageBands {
 public:
  // `bases` tells of each column, and likewise each row, where in picture units elements begin; the
  // picture is `side` pixels wide and high.
  MessageBands(std::vector<uint32_t> bases, uint32_t side);

  // Whether all messages of a state are between elements of the array: ends of others lie anywhere.
  bool CanPaint(const ArrayState& state) const;

  // Paints the messages of such a state over a picture, the topmost row first.
  void Paint(const ArrayState& state, Pixel* pixels) const;

  // A state of messages in all directions, of all ages.
  static ArrayState Sample(const ArrayShape& shape);

 private:
  void PaintBand(const LiveMessage& message, Pixel color, Pixel* pixels) const;

  std::vector<uint32_t> bases;
  uint32_t side;
};

}  // namespace marrowfin

#endif
