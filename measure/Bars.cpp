#include "measure/Bars.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "measure/AttributeValues.h"

namespace marrowfin {
namespace {

// From here on what is left of the values is told and not drawn, in 99th percentiles.
constexpr double LONG_TAIL = 3;
constexpr double DRAWN_OF_TAIL = 1.5;

constexpr double EXACT = 9007199254740992;  // 2^53: from here on a real stands for several numbers

double NumberOf(uint64_t value) { return static_cast<double>(value); }

// Reals that are drawn: of those farther away, and of differences that are smaller than
// LEAST_WIDTH, neither widths nor sums could be told.
constexpr double FARTHEST = 1e300;
constexpr double LEAST_WIDTH = 1e-290;

double DrawnReal(uint64_t key) { return std::clamp(RealOf(key), -FARTHEST, FARTHEST); }

// 1, 2 or 5 times a power of ten, not less than `width`.
double RoundWidth(double width) {
  const double unit = std::pow(10, std::floor(std::log10(width)));
  const double lead = width / unit;
  return unit * (lead <= 1.000001 ? 1 : lead <= 2.000001 ? 2 : lead <= 5.000001 ? 5 : 10);
}

double NextRound(double width) { return RoundWidth(width * 1.5); }

class Cut {
 public:
  Cut(const ValueCounts& values, size_t most, double least, double (*valueOf)(uint64_t))
      : values(values), most(most), least(least), valueOf(valueOf) {}

  Bars Make() const {
    Bars bars;
    if (values.IsEmpty()) {
      return bars;
    }
    const double high = HighestDrawn();
    const double low = LowestDrawn(high);
    bars.width = WidthFor(low, high);
    bars.first = std::floor(low / bars.width) * bars.width;
    bars.single = least == 1 && bars.width == 1 && high < EXACT;
    bars.counts.resize(BarOf(bars, high) + 1);
    for (const auto& [value, times] : values.Counts()) {
      const double number = valueOf(value);
      if (number > high && number >= bars.End()) {
        bars.above += times;
      } else {
        bars.counts[std::min(BarOf(bars, number), bars.counts.size() - 1)] += times;
      }
    }
    return bars;
  }

 private:
  static size_t BarOf(const Bars& bars, double value) {
    return static_cast<size_t>(std::max(0.0, std::floor((value - bars.first) / bars.width)));
  }

  double HighestDrawn() const {
    const double highest = valueOf(values.Largest());
    const std::optional<uint64_t> percentile = values.Percentile(99);
    const double usual = percentile ? valueOf(*percentile) : highest;
    return usual > 0 && highest > LONG_TAIL * usual ? DRAWN_OF_TAIL * usual : highest;
  }

  double LowestDrawn(double high) const {
    const double lowest = valueOf(values.Smallest());
    const bool fits = least == 1 && high < static_cast<double>(most);
    return lowest >= 0 && (fits || lowest <= high - lowest) ? 0 : lowest;
  }

  double WidthFor(double low, double high) const {
    const double bars = static_cast<double>(most);
    const double wanted = (high - low) / bars;
    // Narrower ones would begin where the ones before do: a real has so many digits and no more.
    const double narrowest = 2 * std::max(std::abs(high), std::abs(low)) / EXACT;
    double width = wanted > LEAST_WIDTH ? std::max(least, RoundWidth(std::max(wanted, narrowest)))
                                        : std::max(1.0, narrowest);
    while (std::floor(high / width) - std::floor(low / width) >= bars) {
      width = NextRound(width);
    }
    return width;
  }

  const ValueCounts& values;
  size_t most;
  double least;  // width of a bar
  double (*valueOf)(uint64_t);
};

}  // namespace

Bars BarsOf(const ValueCounts& values, size_t most) {
  return Cut(values, most, 1, NumberOf).Make();
}

Bars BarsOfReals(const ValueCounts& keys, size_t most) {
  return Cut(keys, most, 0, DrawnReal).Make();
}

}  // namespace marrowfin
