#ifndef TESTS_TRACE_ASK_VIEWERMODEL_H
#define TESTS_TRACE_ASK_VIEWERMODEL_H

#include <cstdint>
#include <memory>
#include <string>

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
  Color ColorOf(ArchitecturePiece* piece) const;

  ArrayShape shape;
  std::unique_ptr<Grid> grid;
  VisTool vis;
  Cycle currentCycle = 0;
};

}  // namespace marrowfin::testing

#endif
