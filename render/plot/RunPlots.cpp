#include "render/plot/RunPlots.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "measure/NumberText.h"
#include "render/plot/HeatPlot.h"
#include "render/plot/TimelinePlot.h"

namespace marrowfin {
namespace {

std::string AxesText(PerAxis axis) {
  return std::to_string(axis.columns) + " × " + std::to_string(axis.rows);
}

std::string ArrayWords(const ArrayShape& shape) {
  std::string words;
  if (shape.Switches() > 1) {
    words += AxesText(shape.clusters) + " clusters of ";
  }
  if (shape.domains.columns * shape.domains.rows > 1) {
    words += AxesText(shape.domains) + " domains of ";
  }
  return words + AxesText(shape.pes) + " PEs";
}

std::string CaptionOf(const PlottedRun& run, const std::vector<std::string>& more) {
  const RunMeasures& m = run.measures;
  std::string caption = run.trace + " · cycles " + CountText(m.range.first) + " to " +
                        CountText(m.range.last) + (run.whole ? " (all)" : " (part)");
  if (!run.chosen.empty()) {
    caption += " · " + run.chosen;
  }
  caption += " · " + ArrayWords(run.counts->Places().Shape());
  for (const std::string& part : more) {
    caption += part.empty() ? "" : " · " + part;
  }
  return caption;
}

// What is mapped, in words.
struct HeatWords {
  const char* title;  // "Fires of each PE": the first word
  const char* unit;
  bool count;  // told as a count, not by cycle
};

HeatWords WordsOf(const HeatWish& wish) {
  if (wish.transmissions) {
    return {"Transmissions", "transmissions", true};
  }
  switch (wish.measure) {
    case PlaceMeasure::FIRES:
      return {"Fires", "fires", true};
    case PlaceMeasure::SENDS:
      return {"Sends", "sends", true};
    case PlaceMeasure::RECEIVES:
      return {"Receives", "receives", true};
    case PlaceMeasure::UTILISATION:
      return {"Utilisation", "% of cycles with a fire", false};
    case PlaceMeasure::IDLE:
      break;
  }
  return {"Idle share", "% of cycles without a fire", false};
}

std::string LevelPlural(Level level, size_t count) {
  return std::string(LevelName(level)) + (count == 1 ? "" : "s");
}

std::string UnitText(const HeatMap& map, size_t i) {
  const uint32_t columns = UnitsOf(map.shape, map.level).columns;
  const std::string name = LevelName(map.level);
  return (map.level == Level::PE
              ? "PE"
              : std::string(1, static_cast<char>(name[0] - 32)) + name.substr(1)) +
         " " + PlaceText(static_cast<uint32_t>(i % columns), static_cast<uint32_t>(i / columns));
}

std::string FindingOf(const HeatMap& map, const HeatWords& words, const std::string& title) {
  const size_t hottest = static_cast<size_t>(
      std::max_element(map.values.begin(), map.values.end()) - map.values.begin());
  if (map.values[hottest] <= 0) {
    return "no " + title + " here";
  }
  std::vector<double> sorted = map.values;
  std::sort(sorted.begin(), sorted.end());
  double sum = 0;
  for (const double value : sorted) {
    sum += value;
  }
  const double mean = sum / static_cast<double>(sorted.size());
  const auto text = [&](double value) {
    return words.count ? (map.whole ? CountText(static_cast<uint64_t>(value)) : ThreeDigits(value))
                       : ThreeDigits(value) + " %";
  };
  std::string finding = UnitText(map, hottest) + " has " + text(map.values[hottest]) +
                        (words.count ? " " + map.unit : "") + ", " +
                        ThreeDigits(map.values[hottest] / mean) + " times the mean " +
                        (words.count ? ThreeDigits(mean) : ThreeDigits(mean) + " %");
  const size_t never = static_cast<size_t>(std::count(sorted.begin(), sorted.end(), 0.0));
  if (never > 0) {
    return finding + "; " + CountText(never) + " of " + CountText(sorted.size()) + " " +
           LevelPlural(map.level, sorted.size()) + " never";
  }
  finding += "; median " + text(sorted[(sorted.size() - 1) / 2]) + ", least " + text(sorted[0]);
  const std::optional<Imbalance> imbalance = ImbalanceOf(map.values);
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
    return map;
  }
  map.level = wish.level ? *wish.level : LevelFor(map.shape, style.width - 80, style.Scale());
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
  map.whole = words.count && (map.level == Level::PE || wish.largest);
  map.unit = words.unit;
  if (words.count && map.level != Level::PE) {
    map.unit += wish.largest ? " of its busiest PE" : " per PE";
  }
  return map;
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
  const std::string clipped = scale.clipped ? CountText(scale.above) + " " +
                                                  LevelPlural(map.level, scale.above) + " above " +
                                                  ThreeDigits(scale.end) + " take the last colour"
                                            : "scale 0 to largest, nothing clipped";
  plot.words.caption = CaptionOf(run, {level, "places (column, row), row 0 below", clipped});
  plot.body = std::make_unique<HeatPlot>(std::move(map));
  return plot;
}

Plot PlotTimeline(const PlottedRun& run, bool byType) {
  const Timeline& times = run.counts->Times();
  const TimeColumns& columns = times.Columns();
  const RunMeasures& m = run.measures;
  Plot plot;
  plot.words.title = byType ? "Events per cycle, by type" : "Fires per cycle, by thread";
  const std::string cycles = columns.width == 1
                                 ? "one column = one cycle"
                                 : "one column = " + CountText(columns.width) + " cycles";
  std::string phases;
  if (byType) {
    plot.words.finding = ThreeDigits(static_cast<double>(m.records) / m.cycles) +
                         " events per cycle: " + CountText(m.fires) + " fires, " +
                         CountText(m.sends) + " sends, " + CountText(m.transmissions) +
                         " transmissions";
  } else if (m.fires == 0) {
    plot.words.finding =
        "no fires in cycles " + CountText(m.range.first) + " to " + CountText(m.range.last);
  } else {
    plot.words.finding =
        ThreeDigits(m.firesPerCycle) + " fires per cycle over the " + (run.whole ? "run" : "range");
    if (m.phases && m.phases->size() > 1) {
      const Phase& busiest =
          *std::max_element(m.phases->begin(), m.phases->end(),
                            [](const Phase& a, const Phase& b) { return a.mean < b.mean; });
      const size_t last = busiest.firstColumn + busiest.columns - 1;
      plot.words.finding +=
          ", in " + std::to_string(m.phases->size()) + " phases; the busiest, cycles " +
          CountText(columns.FirstOf(busiest.firstColumn)) + " to " +
          CountText(columns.FirstOf(last) + columns.WidthOf(last) - 1) + ", has " +
          ThreeDigits(busiest.mean / static_cast<double>(columns.width));
      phases =
          "phases: change points of the mean of 2√(fires + 3/8), PELT, squared error; none "
          "shorter than 6 columns, neighbours that differ by less than 20 % joined";
    } else {
      phases = m.cycles == 1 ? "one cycle" : "no phases marked";
    }
  }
  plot.words.caption = CaptionOf(run, {cycles, phases});
  plot.body = std::make_unique<TimelinePlot>(
      columns, byType ? LayersByType(times) : LayersByThread(times),
      byType || !m.phases || m.phases->size() < 2 ? std::nullopt : m.phases,
      byType ? "events per cycle" : "fires per cycle", byType ? "type, share" : "thread, share");
  return plot;
}

}  // namespace marrowfin
