#include "render/plot/ConeOfRun.h"

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "measure/NumberText.h"
#include "render/plot/ArrayGrid.h"
#include "render/plot/CauseWords.h"
#include "render/plot/ConePlot.h"
#include "render/plot/HeatPlot.h"
#include "render/plot/WhyOfRun.h"

namespace marrowfin {
namespace {

bool IsOnArray(const ArrayShape& shape, Place at) {
  return at.column < shape.Columns() && at.row < shape.Rows();
}

// The number of a unit of a level, row by row.
size_t NumberOf(const ArrayShape& shape, Level level, Place element) {
  const Place unit = UnitOf(shape, level, element);
  return static_cast<size_t>(unit.row) * UnitsOf(shape, level).columns + unit.column;
}

size_t UnitsAt(const ArrayShape& shape, Level level) {
  const PerAxis units = UnitsOf(shape, level);
  return static_cast<size_t>(units.columns) * units.rows;
}

std::string LevelWords(Level level) {
  return level == Level::PE ? "" : "drawn by " + std::string(LevelName(level));
}

// Cones.

std::string FindingOf(const PlottedRun& run, const PlottedCone& of) {
  const CausalCone& cone = of.cone;
  std::string finding = CountOf(cone.fires, "fire") + " and " + CountOf(cone.messages, "message") +
                        " at " + CountText(cone.places.size()) + " of " +
                        CountOf(run.counts->Places().Shape().Elements(), "PE") + ", cycles " +
                        CountText(cone.firstCycle) + " to " + CountText(cone.lastCycle);
  if (!cone.places.empty()) {
    const CausalCone::Fires& most = cone.places.front();
    finding += "; most at PE " + PlaceText(most.at.column, most.at.row) + ": " +
               CountOf(most.fires, "fire");
  }
  return finding;
}

PlotNumbers NumbersOf(const PlottedRun& run, const PlottedCone& of) {
  const CausalCone& cone = of.cone;
  PlotNumbers numbers;
  numbers.facts = FactsOf(run);
  numbers.facts.insert(numbers.facts.end(),
                       {{"record", of.event.record},
                        {"direction", of.direction == ConeDirection::BACK ? "back" : "forward"},
                        {"coneFirstCycle", cone.firstCycle},
                        {"coneLastCycle", cone.lastCycle},
                        {"fires", cone.fires},
                        {"messages", cone.messages},
                        {"transmissions", cone.transmissions},
                        {"inferredEvents", cone.inferred}});
  NumberTable cells = {"cells", {"column", "row", "fires"}, {}};
  for (const CausalCone::Fires& place : cone.places) {
    cells.Add({uint64_t{place.at.column}, uint64_t{place.at.row}, place.fires});
  }
  numbers.tables.push_back(std::move(cells));
  return numbers;
}

// Slack.

// The least slack of each unit that has an element which fired, by number.
std::map<size_t, uint64_t> LeastSlack(const ArrayShape& shape, Level level, const RunSlack& slack) {
  std::map<size_t, uint64_t> least;
  for (const PlaceSlack& place : slack.places) {
    if (IsOnArray(shape, place.at)) {
      const auto [found, isNew] = least.emplace(NumberOf(shape, level, place.at), place.least);
      found->second = isNew ? place.least : std::min(found->second, place.least);
    }
  }
  return least;
}

std::string FindingOf(const RunSlack& slack) {
  if (slack.places.empty()) {
    return "no fires, so there is no slack to tell";
  }
  const auto none = static_cast<uint64_t>(
      std::count_if(slack.places.begin(), slack.places.end(),
                    [](const PlaceSlack& place) { return place.least == 0; }));
  const PlaceSlack& most = slack.places.back();
  return CountText(none) + " of " + CountOf(slack.places.size(), "PE") +
         " that fired have a fire without any slack; most has PE " +
         PlaceText(most.at.column, most.at.row) + ": " + CountOf(most.least, "cycle");
}

PlotNumbers NumbersOf(const PlottedRun& run, const RunSlack& slack) {
  PlotNumbers numbers;
  numbers.facts = FactsOf(run);
  NumberTable cells = {"cells", {"column", "row", "fires", "leastSlack", "meanSlack"}, {}};
  for (const PlaceSlack& place : slack.places) {
    cells.Add(
        {uint64_t{place.at.column}, uint64_t{place.at.row}, place.fires, place.least, place.mean});
  }
  numbers.tables.push_back(std::move(cells));
  return numbers;
}

}  // namespace

Result<PlottedCone> ConeToPlot(const Causes& causes, uint64_t record, ConeDirection direction,
                               const ProgressCallback& progress) {
  const Result<TimedRecords::Timed> event = TimedRecords(causes.trace).Read(record);
  if (!event) {
    return event.Why();
  }
  Result<CausalCone> cone = FindCone(causes, record, direction, progress);
  if (!cone) {
    return cone.Why();
  }
  return PlottedCone{std::move(cone).Take(), event->event, direction};
}

SpaceTime EmptyMapOf(const PlottedRun& run, const PlotStyle& style) {
  const ArrayShape& shape = run.counts->Places().Shape();
  const SpaceTimeQuestion question = MapOfChain(shape, style);
  const CycleRange& range = run.measures.range;
  return {HierarchyRows(shape, question.mostRows),
          TimeColumns::Round(range.first, range.last, question.mostColumns),
          SpaceTimeEvents::FIRES};
}

Plot PlotCone(const PlottedRun& run, const PlottedCone& of, SpaceTime counted,
              const PlotStyle& style) {
  const ArrayShape& shape = run.counts->Places().Shape();
  const Level level = LevelBesideMap(shape, style);
  std::vector<double> fires(UnitsAt(shape, level));
  for (const CausalCone::Fires& place : of.cone.places) {
    if (IsOnArray(shape, place.at)) {
      fires[NumberOf(shape, level, place.at)] += static_cast<double>(place.fires);
    }
  }
  const auto map = std::make_shared<const SpaceTime>(std::move(counted));
  SpaceTimeColours colours;
  colours.scale = SpaceTimeScaleOf(RatesOf(*map));
  colours.unit = "fires per PE per cycle";
  const bool back = of.direction == ConeDirection::BACK;
  const bool certain = of.cone.inferred == 0;
  Plot plot;
  plot.words.title = std::string(back ? "All that led to this " : "All that followed from this ") +
                     CauseEventName(of.event) + (certain ? "" : " (inferred)");
  plot.words.finding = FindingOf(run, of);
  plot.words.caption =
      CaptionOf(run, {CauseEventWords(of.event), CauseEvidenceWords(certain), LevelWords(level),
                      "on the array: colour and number = its fires, square or frame = the event",
                      style.slide ? "" : "on the map: its fires alone"});
  plot.numbers = [&run, &of] { return NumbersOf(run, of); };
  const std::optional<Place> at =
      IsOnArray(shape, of.event.at) ? std::optional(of.event.at) : std::nullopt;
  plot.body = std::make_unique<ConePlot>(shape, level, std::move(fires), at, of.event.cycle, map,
                                         std::move(colours));
  return plot;
}

Plot PlotSlack(const PlottedRun& run, const RunSlack& slack, bool certain, const PlotStyle& style) {
  HeatMap map;
  map.shape = run.counts->Places().Shape();
  map.level = LevelFor(map.shape, style.PlotWidth(), style.Scale());
  map.values.resize(UnitsAt(map.shape, map.level));
  map.whole = true;
  map.unit = "cycles of slack";
  map.zero = "no slack";
  map.units.emplace();
  for (const auto& [unit, least] : LeastSlack(map.shape, map.level, slack)) {
    map.values[unit] = static_cast<double>(least);
    map.units->push_back(unit);
  }
  const HeatScale scale = ScaleOf(map);
  const std::string clipped = ClippingText(scale, UnitsText(map.level, scale.above));
  Plot plot;
  plot.words.title =
      std::string("Least slack of each ") + LevelName(map.level) + (certain ? "" : " (inferred)");
  plot.words.finding = FindingOf(slack);
  plot.words.caption = CaptionOf(
      run, {"by how much later any of its fires could have been without the last one being later",
            CauseEvidenceWords(certain), LevelWords(map.level), clipped,
            "nothing is drawn of " + std::string(LevelName(map.level)) + "s that never fire"});
  plot.numbers = [&run, &slack] { return NumbersOf(run, slack); };
  plot.body = std::make_unique<HeatPlot>(std::move(map));
  return plot;
}

}  // namespace marrowfin
