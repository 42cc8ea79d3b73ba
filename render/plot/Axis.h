#ifndef RENDER_PLOT_AXIS_H
#define RENDER_PLOT_AXIS_H

#include <cstdint>
#include <string>
#include <vector>

#include "render/plot/Page.h"

namespace marrowfin {

// A number on an axis.
struct Tick {
  double value = 0;
  std::string label;
};

// Round numbers from `low` to `high`, steps of 1, 2 or 5 times a power of ten, about `wanted` of
// them; labels have equally many digits behind the point.
std::vector<Tick> LinearTicks(double low, double high, size_t wanted);

// Maps values to points of the page, along either axis.
struct Scale {
  double low;
  double high;
  double from;  // where `low` is
  double to;    // and `high`

  double At(double value) const;
};

// The cycles of a range along an axis, however high they are: cycles are told from the first one
// on, since of large numbers a real does not tell those apart that follow each other.
struct CycleScale {
  uint64_t first;
  uint64_t last;  // at least `first`; included
  double from;    // where the first cycle begins
  double to;      // and the last one ends

  // Where a cycle begins, or a part of it is passed: 1 is its end.
  double At(uint64_t cycle, double part = 0) const;

  // The same axis in cycles since the first one, as ticks have them.
  Scale SinceFirst() const;
};

// Ticks of cycles from `first` to the end of `last`, about `wanted` of them, in cycles since the
// first one.
std::vector<Tick> CycleTicks(uint64_t first, uint64_t last, size_t wanted);

// The same, as many as have room for their numbers on an axis so wide.
std::vector<Tick> CycleTicks(uint64_t first, uint64_t last, double width, const PlotStyle& style);

// Draws rules across the area at the ticks of the vertical axis, and their numbers left of it.
void DrawVerticalAxis(Canvas& canvas, const Box& area, const Scale& scale,
                      const std::vector<Tick>& ticks, const std::string& title,
                      const PlotStyle& style);

// Draws the base line of the area with the ticks of the horizontal axis below it.
void DrawHorizontalAxis(Canvas& canvas, const Box& area, const Scale& scale,
                        const std::vector<Tick>& ticks, const std::string& title,
                        const PlotStyle& style);

}  // namespace marrowfin

#endif
