#include "render/plot/TimelineOfRun.h"

#include <algorithm>
#include <utility>

#include "measure/NumberText.h"
#include "render/plot/TimelinePlot.h"

namespace marrowfin {
namespace {

// Phases are marked where there is a border between two.
bool HasPhases(const RunMeasures& measures) {
  return measures.phases && measures.phases->size() > 1;
}

// The last cycle of a phase.
uint64_t LastOf(const TimeColumns& columns, const Phase& phase) {
  const size_t last = phase.firstColumn + phase.columns - 1;
  return columns.FirstOf(last) + columns.WidthOf(last) - 1;
}

double RateOf(const TimeColumns& columns, const Phase& phase) {
  return phase.mean / static_cast<double>(columns.width);
}

std::string FindingByType(const RunMeasures& m) {
  return ThreeDigits(static_cast<double>(m.records) / m.cycles) +
         " events per cycle: " + CountText(m.fires) + " fires, " + CountText(m.sends) + " sends, " +
         CountText(m.transmissions) + " transmissions";
}

std::string FindingByThread(const PlottedRun& run, const TimeColumns& columns) {
  const RunMeasures& m = run.measures;
  if (m.fires == 0) {
    return "no fires in cycles " + CountText(m.range.first) + " to " + CountText(m.range.last);
  }
  const std::string rate =
      ThreeDigits(m.firesPerCycle) + " fires per cycle over the " + (run.whole ? "run" : "range");
  if (!HasPhases(m)) {
    return rate;
  }
  const Phase& busiest =
      *std::max_element(m.phases->begin(), m.phases->end(),
                        [](const Phase& a, const Phase& b) { return a.mean < b.mean; });
  return rate + ", in " + std::to_string(m.phases->size()) + " phases; the busiest, cycles " +
         CountText(columns.FirstOf(busiest.firstColumn)) + " to " +
         CountText(LastOf(columns, busiest)) + ", has " + ThreeDigits(RateOf(columns, busiest));
}

std::string PhasesCaption(const RunMeasures& m) {
  if (!HasPhases(m)) {
    return m.fires == 0 ? "" : m.cycles == 1 ? "one cycle" : "no phases marked";
  }
  return "phases: change points of the mean of 2√(fires + 3/8), PELT, squared error, penalty " +
         ThreeDigits(m.phaseCost.factor) + " σ² ln n with σ " + ThreeDigits(m.phaseCost.spread) +
         ", n " + CountText(m.phaseCost.columns) +
         "; none shorter than 6 columns; neighbours that differ by less than 20 % joined";
}

PlotNumbers NumbersOf(const PlottedRun& run, const std::vector<TimelineLayer>& layers,
                      bool byType) {
  const TimeColumns& columns = run.counts->Times().Columns();
  PlotNumbers numbers;
  numbers.facts = FactsOf(run);
  numbers.facts.emplace_back("columnCycles", columns.width);
  NumberTable table = {"columns", {"firstCycle", "cycles"}, {}};
  for (const TimelineLayer& layer : layers) {
    table.columns.push_back(byType || layer.name == "others" ? layer.name : "thread" + layer.name);
  }
  for (size_t column = 0; column < columns.Count(); ++column) {
    table.Add({columns.FirstOf(column), columns.WidthOf(column)});
    for (const TimelineLayer& layer : layers) {
      table.cells.emplace_back(layer.counts[column]);
    }
  }
  numbers.tables.push_back(std::move(table));
  NumberTable phases = {"phases", {"firstCycle", "lastCycle", "firesPerCycle"}, {}};
  if (!byType && HasPhases(run.measures)) {
    for (const Phase& phase : *run.measures.phases) {
      phases.Add(
          {columns.FirstOf(phase.firstColumn), LastOf(columns, phase), RateOf(columns, phase)});
    }
  }
  numbers.tables.push_back(std::move(phases));
  return numbers;
}

}  // namespace

Plot PlotTimeline(const PlottedRun& run, bool byType) {
  const Timeline& times = run.counts->Times();
  const TimeColumns& columns = times.Columns();
  std::vector<TimelineLayer> layers = byType ? LayersByType(times) : LayersByThread(times);
  const std::string what = byType ? "" : "thread ";
  const std::string bottom =
      layers.size() > 1 ? what + layers[0].name + " at the bottom of the stack" : "";
  Plot plot;
  plot.words.title = byType ? "Events per cycle, by type" : "Fires per cycle, by thread";
  plot.words.finding = byType ? FindingByType(run.measures) : FindingByThread(run, columns);
  plot.words.caption = CaptionOf(
      run, {CountOf(byType ? run.measures.records : run.measures.fires, byType ? "event" : "fire"),
            "one column = " + CountOf(columns.width, "cycle"), bottom,
            byType ? "" : PhasesCaption(run.measures)});
  plot.numbers = [&run, layers, byType] { return NumbersOf(run, layers, byType); };
  plot.body = std::make_unique<TimelinePlot>(
      columns, std::move(layers),
      !byType && HasPhases(run.measures) ? run.measures.phases : std::nullopt,
      byType ? "events per cycle" : "fires per cycle", byType ? "type, share" : "thread, share");
  return plot;
}

}  // namespace marrowfin
