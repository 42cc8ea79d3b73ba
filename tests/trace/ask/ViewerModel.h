#ifndef TESTS_TRACE_ASK_VIEWERMODEL_H
#define TESTS_TRACE_ASK_VIEWERMODEL_H

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "Core/VisTool.h"
#include "trace/ask/StateReader.h"
#include "viewer/ArchPiece.h"
#include "viewer/Grid.h"

namespace marrowfin::testing {

// The viewer without its window: its own grid, pieces and trace tool, stepped as the animation
// does.
class ViewerModel {
 public:
  ViewerModel(const std::string& traceName, const ArrayShape& shape, uint64_t skipTo);

  // One animation step; false where it met the end of the trace (the viewer ends there).
  bool Step();

  // The colours as they stand, and the transmissions as they would be drawn.
  void ExpectEqual(const ArrayState& state) const;

 private:
  // The step and the thread of the last event of a piece.
  struct Touch {
    uint64_t step = 0;
    uint32_t thread = 0;
  };
  typedef std::map<std::pair<unsigned, unsigned>, Touch> Touches;

  Color ColorOf(ArchitecturePiece* piece) const;

  template <class Codes>
  void ExpectCode(const Touches& touches, const Location& location, uint8_t code) const;

  ArrayShape shape;
  std::unique_ptr<Grid> grid;
  VisTool vis;
  Cycle currentCycle = 0;
  uint64_t step = 0;
  Touches fired;  // by row and column
  Touches switched;
};

}  // namespace marrowfin::testing

#endif
