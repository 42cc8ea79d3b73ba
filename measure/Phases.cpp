#include "measure/Phases.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace marrowfin {
namespace {

constexpr size_t SHORTEST = 6;  // columns
constexpr size_t MOST_PHASES = 12;
constexpr double FIRST_PENALTY = 3;
constexpr double LAST_PENALTY = 48;
constexpr double ALIKE = 0.2;

// Sums up to each column, from which the cost of any stretch follows.
class Costs {
 public:
  explicit Costs(const std::vector<double>& values) : sums(1), squares(1) {
    for (const double value : values) {
      sums.push_back(sums.back() + value);
      squares.push_back(squares.back() + value * value);
    }
  }

  // The squared error of the columns `from` up to `to` (not included) about their mean.
  double Of(size_t from, size_t to) const {
    const double sum = sums[to] - sums[from];
    const double error = squares[to] - squares[from] - sum * sum / static_cast<double>(to - from);
    return std::max(error, 0.0);
  }

 private:
  std::vector<double> sums;
  std::vector<double> squares;
};

double MedianOf(std::vector<double> values) {
  const size_t half = values.size() / 2;
  std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(half),
                   values.end());
  const double upper = values[half];
  if (values.size() % 2 == 1) {
    return upper;
  }
  return (*std::max_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(half)) +
          upper) /
         2;
}

// The deviation of one column from the next that is noise, robust against the changes themselves.
double Spread(const std::vector<double>& values) {
  std::vector<double> differences;
  for (size_t i = 1; i < values.size(); ++i) {
    differences.push_back(values[i] - values[i - 1]);
  }
  const double middle = MedianOf(differences);
  for (double& difference : differences) {
    difference = std::abs(difference - middle);
  }
  return std::max(1.0, 1.4826 * MedianOf(differences) / std::sqrt(2.0));
}

// A start of the last phase so far. Once another start is better by more than a penalty, that one
// stays better for all phases that are long enough to begin there.
struct Candidate {
  size_t start;
  size_t leaves;  // the end from which on it need not be tried
};

// Where phases begin, but for the first.
std::vector<size_t> Pelt(const std::vector<double>& values, double penalty) {
  constexpr size_t NEVER = std::numeric_limits<size_t>::max();
  const Costs costs(values);
  const size_t n = values.size();
  std::vector<double> best(n + 1, std::numeric_limits<double>::infinity());
  std::vector<size_t> before(n + 1, 0);
  best[0] = -penalty;
  std::vector<Candidate> candidates = {{0, NEVER}};
  for (size_t end = SHORTEST; end <= n; ++end) {
    std::erase_if(candidates, [&](const Candidate& candidate) { return end >= candidate.leaves; });
    for (const Candidate& candidate : candidates) {
      const double cost = best[candidate.start] + costs.Of(candidate.start, end) + penalty;
      if (cost < best[end]) {
        best[end] = cost;
        before[end] = candidate.start;
      }
    }
    for (Candidate& candidate : candidates) {
      if (candidate.leaves == NEVER &&
          best[candidate.start] + costs.Of(candidate.start, end) >= best[end]) {
        candidate.leaves = end + SHORTEST;
      }
    }
    const size_t next = end - SHORTEST + 1;
    if (next >= SHORTEST) {
      candidates.push_back({next, NEVER});
    }
  }
  std::vector<size_t> starts;
  for (size_t end = before[n]; end > 0; end = before[end]) {
    starts.push_back(end);
  }
  std::reverse(starts.begin(), starts.end());
  return starts;
}

double MeanOf(std::span<const uint64_t> counts, const Phase& phase) {
  double sum = 0;
  for (const uint64_t count : counts.subspan(phase.firstColumn, phase.columns)) {
    sum += static_cast<double>(count);
  }
  return sum / static_cast<double>(phase.columns);
}

std::vector<Phase> PhasesFrom(std::span<const uint64_t> counts, const std::vector<size_t>& starts) {
  std::vector<Phase> phases;
  for (size_t i = 0; i <= starts.size(); ++i) {
    const size_t first = i == 0 ? 0 : starts[i - 1];
    const size_t end = i == starts.size() ? counts.size() : starts[i];
    phases.push_back({first, end - first, 0});
    phases.back().mean = MeanOf(counts, phases.back());
  }
  return phases;
}

double Difference(const Phase& a, const Phase& b) {
  const double larger = std::max(a.mean, b.mean);
  return larger > 0 ? std::abs(a.mean - b.mean) / larger : 0;
}

void JoinAlike(std::span<const uint64_t> counts, std::vector<Phase>& phases) {
  while (phases.size() > 1) {
    size_t alike = 0;
    for (size_t i = 1; i + 1 < phases.size(); ++i) {
      if (Difference(phases[i], phases[i + 1]) < Difference(phases[alike], phases[alike + 1])) {
        alike = i;
      }
    }
    if (Difference(phases[alike], phases[alike + 1]) >= ALIKE) {
      return;
    }
    phases[alike].columns += phases[alike + 1].columns;
    phases[alike].mean = MeanOf(counts, phases[alike]);
    phases.erase(phases.begin() + static_cast<std::ptrdiff_t>(alike) + 1);
  }
}

}  // namespace

std::optional<std::vector<Phase>> FindPhases(std::span<const uint64_t> counts, PhaseCost* cost) {
  if (counts.size() < 2 * SHORTEST) {
    return std::nullopt;
  }
  std::vector<double> values;
  for (const uint64_t count : counts) {
    values.push_back(2 * std::sqrt(static_cast<double>(count) + 0.375));
  }
  const double spread = Spread(values);
  const double unit = spread * spread * std::log(static_cast<double>(counts.size()));
  std::vector<size_t> starts;
  for (double k = FIRST_PENALTY; k <= LAST_PENALTY; k *= 2) {
    if (cost != nullptr) {
      *cost = {k, spread, counts.size()};
    }
    starts = Pelt(values, k * unit);
    if (starts.size() < MOST_PHASES) {
      std::vector<Phase> phases = PhasesFrom(counts, starts);
      JoinAlike(counts, phases);
      return phases;
    }
  }
  return std::nullopt;
}

std::optional<std::vector<Phase>> FindPhases(const TimeColumns& columns,
                                             std::span<const uint64_t> counts, PhaseCost* cost) {
  const bool partial = columns.WidthOf(columns.Count() - 1) < columns.width;
  std::optional<std::vector<Phase>> phases =
      FindPhases(counts.first(counts.size() - (partial ? 1 : 0)), cost);
  if (phases && partial) {
    ++phases->back().columns;
  }
  return phases;
}

}  // namespace marrowfin
