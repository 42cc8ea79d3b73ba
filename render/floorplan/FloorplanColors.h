#ifndef RENDER_FLOORPLAN_FLOORPLANCOLORS_H
#define RENDER_FLOORPLAN_FLOORPLANCOLORS_H

#include <array>
#include <cstdint>

#include "trace/ask/Fade.h"
#include "trace/ask/PieceCode.h"

namespace marrowfin {

// The colours of a floorplan. Those of threads (modulo 6) stand at a contrast of at least 3 to the
// paper, and can be told apart by people who do not see red, green or blue.
struct FloorplanColors {
  Color paper;
  Color ink;      // messages
  Color idle;     // elements that nothing has touched
  Color outline;  // of clusters
  Color mute;     // numbers of columns and rows
  std::array<Color, ElementCodes::THREADS> threads;

  static const FloorplanColors& Light();
  static const FloorplanColors& Dark();
};

// How much of the cell of an element is the colour of its thread, by the age that its code tells.
double FillAt(uint32_t age);

// What fills the cell of an element of this code, which is not UNTOUCHED.
Color ElementFill(const FloorplanColors& colors, uint8_t code);

// A mixture: `share` of `color`, the rest of `ground`.
Color Mix(Color color, Color ground, double share);

}  // namespace marrowfin

#endif
