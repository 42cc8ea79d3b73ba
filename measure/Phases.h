#ifndef MEASURE_PHASES_H
#define MEASURE_PHASES_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "measure/Timeline.h"

namespace marrowfin {

// A stretch of a run in which activity is about the same.
struct Phase {
  size_t firstColumn = 0;
  size_t columns = 0;
  double mean = 0;  // counts a column

  friend bool operator==(const Phase&, const Phase&) = default;
};

// With which numbers phases were searched for.
struct PhaseCost {
  double factor = 0;   // k
  double spread = 0;   // s
  size_t columns = 0;  // n
};

// Parts counts of columns of equal width into phases: changes of their mean, found by PELT
// (R. Killick, P. Fearnhead, I. A. Eckley: Optimal Detection of Changepoints With a Linear
// Computational Cost, JASA 107, 2012, 1590-1598) on y = 2 sqrt(x + 3/8), which gives counts of any
// size about the same variance (F. J. Anscombe, The Transformation of Poisson, Binomial and
// Negative-Binomial Data, Biometrika 35, 1948). The cost of a phase is the squared error about its
// mean, each further phase costs k s^2 ln n with s = max(1, 1.4826 MAD(differences) / sqrt 2),
// and a phase has at least six columns. k is 3 and is doubled up to 48 while there are more than
// twelve phases. Neighbours whose means differ by less than a fifth of the larger then join, the
// most alike first.
//
// Nothing where there are still more than twelve, or too few columns for two phases: then none
// should be marked. Work moving from place to place is not seen. `cost` takes what was searched
// with; it is left alone where there are too few columns.
std::optional<std::vector<Phase>> FindPhases(std::span<const uint64_t> counts,
                                             PhaseCost* cost = nullptr);

// The same of the columns of a timeline; a last one that is narrower is left out of the search, and
// belongs to the last phase, whose mean is without it.
std::optional<std::vector<Phase>> FindPhases(const TimeColumns& columns,
                                             std::span<const uint64_t> counts,
                                             PhaseCost* cost = nullptr);

}  // namespace marrowfin

#endif
