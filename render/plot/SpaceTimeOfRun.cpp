#include "render/plot/SpaceTimeOfRun.h"

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "measure/NumberText.h"
#include "render/plot/SpaceTimePlot.h"

namespace marrowfin {
namespace {

// From this share on a cell is one thread's.
constexpr double MOSTLY = 0.9;

std::string Verb(SpaceTimeEvents events) {
  const std::string name = EventsName(events);
  return name.substr(0, name.size() - 1);
}

// The slot with most events of a cell, the first of several.
size_t LargestSlot(const SpaceTime& map, size_t row, size_t column) {
  size_t largest = 0;
  for (size_t slot = 1; slot <= map.Threads().size(); ++slot) {
    largest = map.At(row, column, slot) > map.At(row, column, largest) ? slot : largest;
  }
  return largest;
}

// Threads as slots are named; "others" only where there are any.
std::vector<std::string> NamesOf(const SpaceTime& map) {
  std::vector<std::string> names;
  for (const uint32_t thread : map.Threads()) {
    names.push_back(std::to_string(thread));
  }
  if (!names.empty() && map.OfSlot(names.size()) > 0) {
    names.push_back("others");
  }
  return names;
}

std::string ThreadFinding(const SpaceTime& map, const std::vector<std::string>& names) {
  size_t largest = 0;
  for (size_t slot = 1; slot < names.size(); ++slot) {
    largest = map.OfSlot(slot) > map.OfSlot(largest) ? slot : largest;
  }
  uint64_t cells = 0;
  uint64_t alone = 0;
  for (size_t column = 0; column < map.Times().Count(); ++column) {
    for (size_t row = 0; row < map.Rows().Count(); ++row) {
      const double all = static_cast<double>(map.At(row, column));
      const double most = static_cast<double>(map.At(row, column, LargestSlot(map, row, column)));
      cells += all > 0 ? 1 : 0;
      alone += all > 0 && most >= MOSTLY * all ? 1 : 0;
    }
  }
  const double share = static_cast<double>(map.OfSlot(largest)) / static_cast<double>(map.Total());
  return (names[largest] == "others" ? "other threads have "
                                     : "thread " + names[largest] + " has ") +
         PercentText(share) + " of " + CountOf(map.Total(), Verb(map.Events())) + "; in " +
         PercentText(static_cast<double>(alone) / static_cast<double>(cells)) +
         " of the cells one thread has nine in ten or more";
}

std::string FindingOf(const PlottedRun& run, const SpaceTime& map,
                      const std::vector<std::string>& names) {
  const std::string events = EventsName(map.Events());
  if (map.Total() == 0) {
    return "no " + events + " in cycles " + CountText(map.Times().first) + " to " +
           CountText(map.Times().last);
  }
  if (!names.empty()) {
    return ThreadFinding(map, names);
  }
  const uint64_t elements = map.Rows().Shape().Elements();
  const double rate = static_cast<double>(map.Total()) / run.measures.cycles;
  const double each = rate / static_cast<double>(elements);
  // Of elements that fire more than once a cycle there is no share.
  const bool isShare = map.Events() == SpaceTimeEvents::FIRES && each <= 1;
  return CountText(map.ActiveElements()) + " of " + CountOf(elements, "PE") + " " +
         Verb(map.Events()) + ", " + ThreeDigits(rate) + " " + events + " per cycle in all (" +
         (isShare ? PercentText(each) + " of PE-cycles" : ThreeDigits(each) + " per PE") + ")";
}

std::string CellWords(const SpaceTime& map) {
  const std::string row = "one row of the picture = " + CountOf(map.Rows().Elements(), "PE");
  const std::string column = "one column = " + CountOf(map.Times().width, "cycle");
  return row + ", " + column;
}

// How the elements stand, by the levels that there are.
std::string OrderWords(const ArrayShape& shape) {
  const bool clusters = shape.Switches() > 1;
  const bool domains = shape.domains.columns * shape.domains.rows > 1;
  if (!clusters && !domains) {
    return "up the picture row by row from (0, 0)";
  }
  return std::string("up the picture by ") + (clusters ? "cluster, " : "") +
         (domains ? "domain, " : "") + "PE, each row by row from (0, 0)";
}

std::string ScaleWords(const HeatScale& scale, size_t cells, bool given) {
  if (cells == 0) {
    return "";
  }
  return "colour = mean over both · scale ends at " + ThreeDigits(scale.end) +
         (given ? "" : ", the 99.5th percentile rounded up") + "; " + CountText(scale.above) +
         " of " + CountOf(cells, "cell") + " with any " + (scale.above == 1 ? "lies" : "lie") +
         " above";
}

PlotNumbers NumbersOf(const PlottedRun& run, const SpaceTime& map, const HeatScale& scale) {
  PlotNumbers numbers;
  numbers.facts = FactsOf(run);
  numbers.facts.insert(numbers.facts.end(), {{"events", EventsName(map.Events())},
                                             {"total", map.Total()},
                                             {"activeElements", map.ActiveElements()},
                                             {"elementsOfRow", uint64_t{map.Rows().Elements()}},
                                             {"cyclesOfColumn", map.Times().width},
                                             {"scaleEnd", scale.end},
                                             {"aboveScale", uint64_t{scale.above}}});
  const bool byThread = !map.Threads().empty();
  NumberTable table = {
      "cells", {"column", "row", "firstCycle", "cycles", EventsName(map.Events())}, {}};
  if (byThread) {
    table.columns.insert(table.columns.end(), {"thread", "ofThread"});
  }
  for (size_t row = 0; row < map.Rows().Count(); ++row) {
    const Place first = map.Rows().FirstOf(row);
    for (size_t column = 0; column < map.Times().Count(); ++column) {
      if (map.At(row, column) == 0) {
        continue;
      }
      table.Add({uint64_t{first.column}, uint64_t{first.row}, map.Times().FirstOf(column),
                 map.Times().WidthOf(column), map.At(row, column)});
      if (byThread) {
        const size_t slot = LargestSlot(map, row, column);
        table.Add({slot < map.Threads().size() ? NumberCell(uint64_t{map.Threads()[slot]})
                                               : NumberCell("others"),
                   map.At(row, column, slot)});
      }
    }
  }
  numbers.tables.push_back(std::move(table));
  return numbers;
}

}  // namespace

Plot PlotSpaceTime(const PlottedRun& run, SpaceTime counted, std::optional<double> scaleMax) {
  const auto map = std::make_shared<const SpaceTime>(std::move(counted));
  const std::vector<double> rates = RatesOf(*map);
  SpaceTimeColours colours;
  colours.scale = SpaceTimeScaleOf(rates, scaleMax);
  colours.unit = EventsName(map->Events()) + std::string(" per PE per cycle");
  colours.threads = NamesOf(*map);
  Plot plot;
  plot.words.title =
      colours.threads.empty()
          ? "Where and when PEs " + Verb(map->Events())
          : "Which thread " + std::string(EventsName(map->Events())) + " where and when";
  plot.words.finding = FindingOf(run, *map, colours.threads);
  plot.words.caption = CaptionOf(
      run,
      {CellWords(*map), OrderWords(map->Rows().Shape()),
       colours.threads.empty() ? ScaleWords(colours.scale, rates.size(), scaleMax.has_value())
                               : "colour = the thread with most, the paler the more others have",
       colours.threads.size() > Theme::PLAIN_CATEGORIES ? "hatched as in the legend" : ""});
  plot.numbers = [&run, map, scale = colours.scale] { return NumbersOf(run, *map, scale); };
  plot.body = std::make_unique<SpaceTimePlot>(map, std::move(colours));
  return plot;
}

}  // namespace marrowfin
