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
// them and at least `least` apart; labels have equally many digits behind the point.
std::vector<Tick> LinearTicks(double low, double high, size_t wanted, double least = 0);

// Ticks of cycles from `first` to `last`, as many as have room for their numbers on an axis so
// wide.
std::vector<Tick> CycleTicks(uint64_t first, uint64_t last, double width, const PlotStyle& style);

// Maps values to points of the page, along either axis.
struct Scale {
  double low = 0;
  double high = 1;
  double from = 0;  // where `low` is
  double to = 1;    // and `high`

  double At(double value) const;
};

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
