#ifndef RENDER_PLOT_DIFFOFRUNS_H
#define RENDER_PLOT_DIFFOFRUNS_H

#include <optional>

#include "measure/RunDiff.h"
#include "render/plot/PlottedRun.h"

namespace marrowfin {

// What a map of differences shows.
struct DiffWish {
  UnitMeasure measure = UnitMeasure::FIRES;
  std::optional<Level> level = {};  // unless given, the finest that can be seen
};

// Where run `a` does more than run `b`, and where less. Where their means differ by more than a
// quarter, a second map shows what each unit does beside the mean of its own run: else all that is
// seen is that one run does more.
Plot PlotDiff(const PlottedRun& a, const PlottedRun& b, const DiffWish& wish,
              const PlotStyle& style);

}  // namespace marrowfin

#endif
