#include "render/plot/HeatOfRun.h"

#include <algorithm>
#include <utility>

#include "measure/NumberText.h"
#include "render/plot/ArrayGrid.h"
#include "render/plot/HeatPlot.h"

namespace marrowfin {
namespace {

// What is mapped, in words.
struct HeatWords {
  const char* title;  // "Fires of each PE": the first word
  const char* unit;
  const char* name;  // in tables
  bool count;        // told as a count, not by cycle
};

HeatWords WordsOf(const HeatWish& wish) {
  if (wish.transmissions) {
    return {"Transmissions", "transmissions", "transmissions", true};
  }
  switch (wish.measure) {
    case PlaceMeasure::FIRES:
      return {"Fires", "fires", "fires", true};
    case PlaceMeasure::SENDS:
      return {"Sends", "sends", "sends", true};
    case PlaceMeasure::RECEIVES:
      return {"Receives", "receives", "receives", true};
    case PlaceMeasure::UTILISATION:
      return {"Utilisation", "% of cycles with a fire", "utilisation", false};
    case PlaceMeasure::IDLE:
      break;
  }
  return {"Idle share", "% of cycles without a fire", "idle", false};
}

std::string FindingOf(const HeatMap& map, const HeatWords& words, const std::string& title) {
  std::vector<double> sorted = AskedValues(map);
  std::sort(sorted.begin(), sorted.end());
  if (sorted.empty() || sorted.back() <= 0) {
    return "no " + title + " here";
  }
  const double most = sorted.back();
  const std::vector<size_t> units = AskedUnits(map);
  const size_t hottest = *std::find_if(units.begin(), units.end(),
                                       [&](size_t unit) { return map.values[unit] == most; });
  double sum = 0;
  for (const double value : sorted) {
    sum += value;
  }
  const double mean = sum / static_cast<double>(sorted.size());
  const auto text = [&](double value) {
    return words.count ? (map.whole ? CountText(static_cast<uint64_t>(value)) : ThreeDigits(value))
                       : ThreeDigits(value) + " %";
  };
  std::string finding = UnitText(map.shape, map.level, hottest) + " has " + text(most) +
                        (words.count ? " " + map.unit : "") + ", " + ThreeDigits(most / mean) +
                        " times the mean " +
                        (words.count ? ThreeDigits(mean) : ThreeDigits(mean) + " %");
  const size_t never = static_cast<size_t>(std::count(sorted.begin(), sorted.end(), 0.0));
  if (never > 0) {
    return finding + "; " + CountText(never) + " of " + UnitsText(map.level, sorted.size()) +
           " never";
  }
  finding += "; median " + text(sorted[(sorted.size() - 1) / 2]) + ", least " + text(sorted[0]);
  const std::optional<Imbalance> imbalance = ImbalanceOf(sorted);
  return imbalance ? finding + ", Gini " + ThreeDigits(imbalance->gini) : finding;
}

HeatMap MapOf(const PlottedRun& run, const HeatWish& wish, const HeatWords& words,
              const PlotStyle& style) {
  HeatMap map;
  map.shape = run.counts->Places().Shape();
  map.scaleMax = wish.scaleMax;
  if (wish.transmissions) {
    map.level = Level::CLUSTER;
    const std::vector<uint64_t>& counts = run.counts->Places().Transmissions();
    map.values.assign(counts.begin(), counts.end());
    map.whole = true;
    map.unit = "transmissions";
    if (run.region) {
      map.units = SwitchesIn(map.shape, run.region);
    }
    return map;
  }
  map.level = wish.level ? *wish.level : LevelFor(map.shape, style.PlotWidth(), style.Scale());
  // Counts are told as such, shares as percents of the cycles of the range.
  std::vector<double> values =
      ValuesOf(*run.counts, wish.measure, words.count ? 1 : run.measures.cycles);
  if (!words.count) {
    for (double& value : values) {
      value *= 100;
    }
  }
  map.values =
      Reduce(map.shape, map.level, wish.largest ? Reduction::MAX : Reduction::MEAN, values);
  if (run.region) {
    map.units = UnitsIn(map.shape, map.level, run.region);
  }
  map.whole = words.count && (map.level == Level::PE || wish.largest);
  map.unit = words.unit;
  if (words.count && map.level != Level::PE) {
    map.unit += wish.largest ? " of its busiest PE" : " per PE";
  }
  return map;
}

// How many there were of what is mapped; of shares, of the fires that they come from.
std::string AllOf(const PlottedRun& run, const HeatWish& wish, const HeatMap& map) {
  if (wish.transmissions) {
    return CountOf(run.measures.transmissions, "transmission");
  }
  if (wish.measure == PlaceMeasure::SENDS || wish.measure == PlaceMeasure::RECEIVES) {
    uint64_t all = 0;
    for (const ElementCounts& element : run.counts->Places().Elements()) {
      all += wish.measure == PlaceMeasure::SENDS ? element.sends : element.receives;
    }
    return CountOf(all, wish.measure == PlaceMeasure::SENDS ? "send" : "receive");
  }
  return map.values.empty() ? "" : CountOf(run.measures.fires, "fire");
}

PlotNumbers NumbersOf(const PlottedRun& run, const HeatMap& map, const HeatWords& words,
                      const HeatScale& scale) {
  PlotNumbers numbers;
  numbers.facts = FactsOf(run);
  numbers.facts.insert(numbers.facts.end(), {{"level", LevelName(map.level)},
                                             {"unit", map.unit},
                                             {"scaleEnd", scale.end},
                                             {"aboveScale", uint64_t{scale.above}}});
  NumberTable table = {"cells", {"column", "row", words.name}, {}};
  const uint32_t columns = UnitsOf(map.shape, map.level).columns;
  for (const size_t i : AskedUnits(map)) {
    const double value = map.values[i];
    table.Add({uint64_t{i % columns}, uint64_t{i / columns},
               map.whole ? NumberCell(static_cast<uint64_t>(value))
                         : NumberCell(words.count ? value : value / 100)});
  }
  numbers.tables.push_back(std::move(table));
  return numbers;
}

}  // namespace

Plot PlotHeat(const PlottedRun& run, const HeatWish& wish, const PlotStyle& style) {
  const HeatWords words = WordsOf(wish);
  HeatMap map = MapOf(run, wish, words, style);
  const HeatScale scale = ScaleOf(map);
  Plot plot;
  plot.words.title = std::string(words.title) + " of each " +
                     (wish.transmissions ? "switch" : LevelName(map.level)) +
                     (map.level != Level::PE && !wish.transmissions
                          ? (wish.largest ? ", its busiest PE" : ", mean of its PEs")
                          : "");
  plot.words.finding = FindingOf(map, words, words.unit);
  const std::string level = map.level == Level::PE || wish.transmissions
                                ? ""
                                : "drawn by " + std::string(LevelName(map.level));
  const std::string clipped = ClippingText(scale, UnitsText(map.level, scale.above));
  plot.words.caption =
      CaptionOf(run, {AllOf(run, wish, map), level, clipped, "places (column, row), row 0 below"});
  plot.numbers = [&run, map, words, scale] { return NumbersOf(run, map, words, scale); };
  plot.body = std::make_unique<HeatPlot>(std::move(map));
  return plot;
}

}  // namespace marrowfin
