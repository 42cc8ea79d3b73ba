#ifndef RENDER_ARRAYPIECES_H
#define RENDER_ARRAYPIECES_H

#include <GL/gl.h>

#include <cstdint>
#include <vector>

#include "trace/ask/ArrayState.h"
#include "trace/base/ArrayShape.h"
#include "viewer/Grid.h"

class ArchitecturePiece;

namespace marrowfin {

// Vertices and colours of many of the viewer's pieces, which are drawn by one call and in order.
//
// For squares seen from above and for lines, that gives the same pixels as to draw them one by one,
// in a tenth of the time. Of elements that are turned it does not: their sides cross themselves,
// and where the pixels of such a face lie is left to the call that draws it.
class PieceBatch {
 public:
  // Takes `count` vertices of a piece from `first` on.
  void Add(const ArchitecturePiece& piece, unsigned first, unsigned count);

  void Clear();
  void Draw(GLenum mode) const;

 private:
  std::vector<GLint> vertices;
  std::vector<GLubyte> colors;
};

// The viewer's own pieces of an array: what they are and where is asked of the viewer's classes.
// The shape must be one that a viewer shows.
class ArrayPieces {
 public:
  // What is to be seen of an element: one that is seen from above hides all but its top.
  enum Sides { TOPS, ALL_SIDES };

  explicit ArrayPieces(const ArrayShape& shape);

  // How long the array is along each axis in picture units, and where along it each column, and
  // likewise each row, of elements begins.
  int Units() const;
  std::vector<uint32_t> ElementBases() const;

  // Draws all pieces that stay, in the context that is current and in the viewer's order, each in
  // a colour that is its number in three bytes, the highest first: OUTLINE for all outlines, then
  // elements and switches by their numbers.
  static constexpr uint32_t OUTLINE = 1;
  static constexpr uint32_t FIRST_ELEMENT = 2;
  uint32_t FirstSwitch() const;
  void DrawNumbers(Sides sides) const;

  // Draws the messages that are under way.
  void DrawMessages(const ArrayState& state);

 private:
  void DrawOutlines() const;
  void DrawElements(Sides sides) const;
  void DrawSwitches() const;

  ArrayShape shape;
  mutable Grid layout;  // without pieces; it has nothing that could change but is never const
  PieceBatch messages;
};

}  // namespace marrowfin

#endif
