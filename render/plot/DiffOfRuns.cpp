#include "render/plot/DiffOfRuns.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <utility>

#include "measure/NumberText.h"
#include "render/plot/ArrayGrid.h"
#include "render/plot/DiffPlot.h"

namespace marrowfin {
namespace {

constexpr double MEANS_APART = 0.25;

// What is mapped, in words.
struct DiffWords {
  const char* title;
  const char* unit;    // of the scale, behind "A − B, "
  const char* thing;   // what has a value, where that is no unit of the level
  const char* suffix;  // of a value in a sentence
  double factor;       // by which values are told
};

DiffWords WordsOf(UnitMeasure measure) {
  switch (measure) {
    case UnitMeasure::FIRES:
      return {"Fire rate", "fires per PE per 1,000 cycles", "", "", 1000};
    case UnitMeasure::SENDS:
      return {"Send rate", "sends per PE per 1,000 cycles", "", "", 1000};
    case UnitMeasure::RECEIVES:
      return {"Receive rate", "receives per PE per 1,000 cycles", "", "", 1000};
    case UnitMeasure::UTILISATION:
      return {"Utilisation", "% of cycles with a fire", "", " %", 100};
    case UnitMeasure::IDLE:
      return {"Idle share", "% of cycles without a fire", "", " %", 100};
    case UnitMeasure::LONGEST_GAP:
      return {"Longest gap", "cycles from a fire to the next", "", "", 1};
    case UnitMeasure::SWITCH_LOAD:
      return {"Switch load", "% of what it can pass on", "switch", " %", 100};
    case UnitMeasure::TRANSMISSIONS:
      break;
  }
  return {"Transmission rate", "transmissions per 1,000 cycles", "switch", "", 1000};
}

// The array that is drawn: that of both, or a plain one that has room for the units of either.
ArrayShape FrameOf(const ArrayShape& a, const ArrayShape& b, Level level) {
  if (a == b) {
    return a;
  }
  const PerAxis ofA = UnitsOf(a, level);
  const PerAxis ofB = UnitsOf(b, level);
  const PerAxis units = {std::max(ofA.columns, ofB.columns), std::max(ofA.rows, ofB.rows)};
  const PerAxis one = {1, 1};
  return level == Level::CLUSTER  ? ArrayShape(units, one, one)
         : level == Level::DOMAIN ? ArrayShape(one, units, one)
                                  : ArrayShape(one, one, units);
}

std::vector<DiffPanel> PanelsOf(const std::vector<UnitChange>& changes, const UnitSummary& summary,
                                PerAxis units, const DiffWords& words) {
  const size_t count = static_cast<size_t>(units.columns) * units.rows;
  DiffPanel plain = {"A − B", std::string("A − B, ") + words.unit, {}};
  DiffPanel relative = {"A / mean A − B / mean B", "times the mean of its run", {}};
  plain.changes.resize(count);
  relative.changes.resize(count);
  const bool apart = summary.meanA > 0 && summary.meanB > 0 &&
                     std::abs(summary.meanA - summary.meanB) > MEANS_APART * summary.meanB;
  for (const UnitChange& change : changes) {
    if (change.InBoth()) {
      const size_t unit = static_cast<size_t>(change.at.row) * units.columns + change.at.column;
      plain.changes[unit] = change.Difference() * words.factor;
      if (apart) {
        relative.changes[unit] = *change.a / summary.meanA - *change.b / summary.meanB;
      }
    }
  }
  std::vector<DiffPanel> panels = {std::move(plain)};
  if (apart) {
    panels.push_back(std::move(relative));
  }
  return panels;
}

std::string FindingOf(const UnitSummary& summary, const DiffWords& words, Level level) {
  const uint64_t both = summary.up + summary.down + summary.same;
  const std::string things = *words.thing == '\0'
                                 ? UnitsText(level, both)
                                 : CountText(both) + (both == 1 ? " switch" : " switches");
  if (summary.up + summary.down == 0) {
    return "The same at " + things;
  }
  const auto value = [&](double of) { return ThreeDigits(of * words.factor) + words.suffix; };
  const auto most = [&](const UnitChange& change) {
    return ", most at " + PlaceText(change.at.column, change.at.row) + ": " + value(*change.b) +
           " to " + value(*change.a);
  };
  std::string finding = "Up at " + CountText(summary.up) + " of " + things;
  if (summary.mostUp) {
    finding += most(*summary.mostUp);
  }
  finding += "; down at " + CountText(summary.down);
  if (summary.mostDown && !summary.mostUp) {
    finding += most(*summary.mostDown);
  }
  finding += "; mean " + value(summary.meanB) + " to " + value(summary.meanA);
  if (summary.meanB > 0) {
    const double share = summary.meanA / summary.meanB - 1;
    finding += std::string(" (") + (share < 0 ? "−" : "+") + PercentText(std::abs(share)) + ")";
  }
  return finding;
}

std::string StemOf(const std::string& trace) {
  std::filesystem::path name = trace;
  while (name.has_extension() && name.has_stem()) {
    name = name.stem();
  }
  return name.string();
}

std::string CyclesOf(const PlottedRun& run) {
  return run.trace + ", cycles " + CountText(run.measures.range.first) + " to " +
         CountText(run.measures.range.last) + (run.whole ? " (all)" : " (part)");
}

std::string CaptionFor(const PlottedRun& a, const PlottedRun& b, Level level,
                       const UnitSummary& summary, const std::vector<DiffPanel>& panels) {
  const ArrayShape& shapeA = a.counts->Places().Shape();
  const ArrayShape& shapeB = b.counts->Places().Shape();
  std::string caption = "A " + CyclesOf(a) + " · B " + CyclesOf(b);
  if (!a.chosen.empty()) {
    caption += " · " + a.chosen;
  }
  caption += " · over each run’s own length · " +
             (shapeA == shapeB ? ArrayWords(shapeA)
                               : "A " + ArrayWords(shapeA) + ", B " + ArrayWords(shapeB));
  if (level != Level::PE) {
    caption += std::string(" · drawn by ") + LevelName(level);
  }
  if (summary.onlyA + summary.onlyB > 0) {
    caption += " · crossed out: " + CountText(summary.onlyA) + " that A alone has, " +
               CountText(summary.onlyB) + " that B alone has";
  }
  caption += " · scale symmetric about 0";
  for (const DiffPanel& panel : panels) {
    const DiffScale scale = DiffScaleOf(panel.changes);
    if (scale.beyond > 0) {
      caption += " · " + UnitsText(level, scale.beyond) + " beyond " + ThreeDigits(scale.end) +
                 (panels.size() > 1 ? " (" + panel.heading + ")" : "") +
                 " take the outermost colour";
    }
  }
  return caption + " · places (column, row), row 0 below";
}

NumberCell CellOf(const std::optional<double>& value) {
  return value ? NumberCell(*value) : NumberCell();
}

PlotNumbers NumbersOf(const PlottedRun& a, const PlottedRun& b, UnitMeasure measure, Level level,
                      const std::vector<UnitChange>& changes) {
  PlotNumbers numbers;
  for (const PlottedRun* run : {&a, &b}) {
    for (const auto& [name, cell] : FactsOf(*run)) {
      numbers.facts.emplace_back(name + (run == &a ? "A" : "B"), cell);
    }
  }
  numbers.facts.emplace_back("level", LevelName(level));
  numbers.facts.emplace_back("measure", UnitMeasureName(measure));
  NumberTable table = {"cells", {"column", "row", "a", "b", "change"}, {}};
  for (const UnitChange& change : changes) {
    table.Add({uint64_t{change.at.column}, uint64_t{change.at.row}, CellOf(change.a),
               CellOf(change.b), change.InBoth() ? NumberCell(change.Difference()) : NumberCell()});
  }
  numbers.tables.push_back(std::move(table));
  return numbers;
}

}  // namespace

Plot PlotDiff(const PlottedRun& a, const PlottedRun& b, const DiffWish& wish,
              const PlotStyle& style) {
  const DiffWords words = WordsOf(wish.measure);
  const ArrayShape& shapeA = a.counts->Places().Shape();
  const ArrayShape& shapeB = b.counts->Places().Shape();
  const bool switches = IsOfSwitches(wish.measure);
  const Level level =
      switches     ? Level::CLUSTER
      : wish.level ? *wish.level
                   : LevelFor(FrameOf(shapeA, shapeB, Level::PE), style.PlotWidth(), style.Scale());
  const std::vector<UnitChange> changes =
      UnitChangesOf({*a.counts, a.measures}, {*b.counts, b.measures}, wish.measure, level);
  const UnitSummary summary = SummaryOf(changes);
  const ArrayShape frame = FrameOf(shapeA, shapeB, level);
  std::vector<DiffPanel> panels = PanelsOf(changes, summary, UnitsOf(frame, level), words);
  const std::string stemA = StemOf(a.trace);
  const std::string stemB = StemOf(b.trace);
  Plot plot;
  plot.words.title =
      std::string(words.title) + ": " + (stemA == stemB ? "A − B" : stemA + " − " + stemB);
  plot.words.finding = FindingOf(summary, words, level);
  plot.words.caption = CaptionFor(a, b, level, summary, panels);
  plot.numbers = [&a, &b, measure = wish.measure, level, changes] {
    return NumbersOf(a, b, measure, level, changes);
  };
  plot.body = std::make_unique<DiffPlot>(frame, level, std::move(panels));
  return plot;
}

}  // namespace marrowfin
