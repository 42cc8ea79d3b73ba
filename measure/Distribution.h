#ifndef MEASURE_DISTRIBUTION_H
#define MEASURE_DISTRIBUTION_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>

namespace marrowfin {

// How unevenly something is spread over places. None of the three tells where it is; they see
// different things (one hot place among thousands moves the first and hardly the second).
struct Imbalance {
  double maxOverMean = 0;
  double gini = 0;  // 0 spread evenly, towards 1 all at one place
  double cov = 0;   // standard deviation of the population, divided by the mean
};

// Of one value for each place. Nothing where there are no places, or nothing at any of them: there
// is no mean to compare with.
//
// Gini's coefficient is the sum of (2i - n - 1) x_i over n times the sum of x_i, x ascending
// and i counted from 1. Source: C. Gini, Variabilita e mutabilita, 1912, in the form for sorted
// samples.
std::optional<Imbalance> ImbalanceOf(std::span<const double> values);

// How often each value occurs.
class ValueCounts {
 public:
  void Add(uint64_t value, uint64_t times = 1) {
    if (times > 0) {
      counts[value] += times;
      total += times;
    }
  }
  void Add(const ValueCounts& other);

  uint64_t Size() const { return total; }
  bool IsEmpty() const { return total == 0; }
  const std::map<uint64_t, uint64_t>& Counts() const { return counts; }

  // Of those that are there; at least one is.
  uint64_t Smallest() const { return counts.begin()->first; }
  uint64_t Largest() const { return counts.rbegin()->first; }
  double Mean() const;

  // The value below or at which `percent` of a hundred of all values lie, by nearest rank: the
  // ceil(percent * n / 100)-th of the n values in ascending order. `percent` is 1 to 100. Nothing
  // where there are too few values for it to mean anything: under 20, of 99 under 100.
  std::optional<uint64_t> Percentile(uint32_t percent) const;

 private:
  std::map<uint64_t, uint64_t> counts;
  uint64_t total = 0;
};

}  // namespace marrowfin

#endif
