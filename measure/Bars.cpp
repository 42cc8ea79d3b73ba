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

double NumberOf(uint64_t value) { return static_cast<double>(value); }

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
    bars.single = least == 1 && bars.width == 1;
    bars.counts.resize(BarOf(bars, high) + 1);
    for (const auto& [value, times] : values.Counts()) {
      if (valueOf(value) > high) {
        bars.above += times;
      } else {
        bars.counts[std::min(BarOf(bars, valueOf(value)), bars.counts.size() - 1)] += times;
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
    double width = std::max(least, wanted > 0 ? RoundWidth(wanted) : least > 0 ? least : 1);
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

Bars BarsOfReals(const ValueCounts& keys, size_t most) { return Cut(keys, most, 0, RealOf).Make(); }

}  // namespace marrowfin
