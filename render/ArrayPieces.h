#ifndef RENDER_ARRAYPIECES_H
#define RENDER_ARRAYPIECES_H

#include <cstdint>
#include <vector>

#include "trace/ask/ArrayState.h"
#include "trace/base/ArrayShape.h"
#include "viewer/Grid.h"

namespace marrowfin {

// The viewer's own pieces of an array, which take on any state.
//
// They cost about 700 bytes for each element. The shape must be one that a viewer shows.
class ArrayPieces {
 public:
  explicit ArrayPieces(const ArrayShape& shape);
  ArrayPieces(const ArrayPieces&) = delete;
  ArrayPieces& operator=(const ArrayPieces&) = delete;
  ~ArrayPieces();

  // Gives every piece the colour that it has in a state of the same shape, and makes the messages
  // of the state the ones that are under way.
  void Show(const ArrayState& state);

  // Draws them in the context that is current.
  void Draw() { grid.Draw(); }

  // How long the array is along each axis in picture units.
  int Units() const;

 private:
  void RemoveMessages();

  Grid grid;
  std::vector<ArchitecturePiece*> elements;  // the grid's, by number of the element
  std::vector<ArchitecturePiece*> switches;
};

}  // namespace marrowfin

#endif
