#ifndef RENDER_PLOT_THEME_H
#define RENDER_PLOT_THEME_H

#include <array>
#include <cstddef>

#include "trace/ask/Fade.h"

namespace marrowfin {

// The colours of a plot. The maps have equal steps of lightness, so that they also order in grey,
// and their steps and the categories can be told apart by people who do not see red or green: a
// test computes what they see (G. M. Machado, M. M. Oliveira, L. A. F. Fernandes: A
// Physiologically-based Model for Simulation of Color Vision Deficiency, IEEE TVCG 15, 2009,
// 1291-1298).
struct Theme {
  static constexpr size_t STEPS = 16;
  static constexpr size_t CATEGORIES = 12;
  // So many are told apart by colour alone; those behind them are hatched as well.
  static constexpr size_t PLAIN_CATEGORIES = 6;

  const char* name;
  Color paper;
  Color ink;                            // titles, axes, values
  Color mute;                           // numbers at ticks, captions
  Color rule;                           // grids and frames
  std::array<Color, STEPS> sequence;    // from little to much
  std::array<Color, STEPS> divergence;  // from less, over none, to more
  std::array<Color, CATEGORIES> categories;

  static const Theme& Light();
  static const Theme& Dark();
  static const Theme& Print();
};

// A colour between two: `share` 0 is the first, 1 the second.
Color Mixed(Color a, Color b, double share);

// Black or white, whichever reads better on a colour.
Color InkOn(Color background);

}  // namespace marrowfin

#endif
