#include "measure/Distribution.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

namespace marrowfin {
namespace {

// Percentiles of fewer values say nothing.
constexpr uint64_t FEWEST_VALUES = 20;
constexpr uint64_t FEWEST_VALUES_OF_99 = 100;

}  // namespace

std::optional<Imbalance> ImbalanceOf(std::span<const double> values) {
  const double sum = std::accumulate(values.begin(), values.end(), 0.0);
  if (values.empty() || !(sum > 0)) {
    return std::nullopt;
  }
  std::vector<double> sorted(values.begin(), values.end());
  std::sort(sorted.begin(), sorted.end());
  const double n = static_cast<double>(sorted.size());
  const double mean = sum / n;
  double weighted = 0;
  double squares = 0;
  for (size_t i = 0; i < sorted.size(); ++i) {
    weighted += (2 * static_cast<double>(i + 1) - n - 1) * sorted[i];
    squares += (sorted[i] - mean) * (sorted[i] - mean);
  }
  return Imbalance{sorted.back() / mean, weighted / (n * sum), std::sqrt(squares / n) / mean};
}

void ValueCounts::Add(const ValueCounts& other) {
  for (const auto& [value, times] : other.counts) {
    Add(value, times);
  }
}

double ValueCounts::Mean() const {
  double sum = 0;
  for (const auto& [value, times] : counts) {
    sum += static_cast<double>(value) * static_cast<double>(times);
  }
  return sum / static_cast<double>(total);
}

std::optional<uint64_t> ValueCounts::Percentile(uint32_t percent) const {
  if (total < FEWEST_VALUES || (percent >= 99 && total < FEWEST_VALUES_OF_99)) {
    return std::nullopt;
  }
  // Divided before it is multiplied, so that no count is too large.
  const uint64_t rank = total / 100 * percent + (total % 100 * percent + 99) / 100;
  uint64_t seen = 0;
  for (const auto& [value, times] : counts) {
    seen += times;
    if (seen >= rank) {
      return value;
    }
  }
  return Largest();
}

}  // namespace marrowfin
