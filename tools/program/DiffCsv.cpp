#include <string>

#include "tools/program/CsvLines.h"
#include "tools/program/DiffAnswer.h"

namespace marrowfin {
namespace {

std::string Measures(const DiffAnswer& answer) {
  CsvLines lines("measure,a,b,change,relative");
  for (const Change& change : ChangesOf(answer.a.Measured(), answer.b.Measured())) {
    lines.Add(change.name.c_str(), change.a, change.b, change.Difference(), change.Relative());
  }
  return lines.text;
}

std::optional<double> DifferenceOf(const UnitChange& change) {
  return change.InBoth() ? std::optional(change.Difference()) : std::nullopt;
}

// Measure by measure, as many lines for each as there are units.
std::string Units(const DiffAnswer& answer, Level level) {
  CsvLines lines("column,row,measure,a,b,change");
  for (const UnitMeasure measure : UNIT_MEASURES) {
    if (IsOfSwitches(measure) && level != Level::CLUSTER) {
      continue;
    }
    for (const UnitChange& change :
         UnitChangesOf(answer.a.Measured(), answer.b.Measured(), measure, level)) {
      lines.Add(change.at.column, change.at.row, UnitMeasureName(measure), change.a, change.b,
                DifferenceOf(change));
    }
  }
  return lines.text;
}

std::string Links(const DiffAnswer& answer) {
  CsvLines lines("column,row,heading,a,b,change");
  for (const LinkChange& link : LinkChangesOf(*answer.a.measures, *answer.b.measures)) {
    lines.Add(link.node.column, link.node.row, HeadingName(link.heading), link.a, link.b,
              link.a - link.b);
  }
  return lines.text;
}

std::string Traffic(const DiffAnswer& answer) {
  CsvLines lines("fromColumn,fromRow,toColumn,toRow,a,b,change");
  for (const TrafficChange& pair : TrafficChangesOf(answer.a.Measured(), answer.b.Measured())) {
    lines.Add(pair.from.column, pair.from.row, pair.to.column, pair.to.row, pair.a, pair.b,
              pair.a - pair.b);
  }
  return lines.text;
}

std::string Groups(const DiffAnswer& answer) {
  CsvLines lines("by,value,name,measure,a,b,change,relative");
  for (const GroupedChanges& grouped : answer.groups) {
    const std::string by = Quoted(grouped.by);
    for (const GroupChange& group : grouped.groups) {
      const std::string name = Quoted(group.name);
      for (const Change& change : group.changes) {
        lines.Add(by.c_str(), group.value, name.c_str(), change.name.c_str(), change.a, change.b,
                  change.Difference(), change.Relative());
      }
    }
  }
  return lines.text;
}

std::string Phases(const DiffAnswer& answer) {
  CsvLines lines(
      "phase,firstCycleA,lastCycleA,firesPerCycleA,firstCycleB,lastCycleB,firesPerCycleB,speedUp");
  uint64_t number = 0;
  for (const PhasePair& pair : answer.phases) {
    const auto first = [](const std::optional<PhaseSpan>& span) {
      return span ? std::optional(span->cycles.first) : std::nullopt;
    };
    const auto last = [](const std::optional<PhaseSpan>& span) {
      return span ? std::optional(span->cycles.last) : std::nullopt;
    };
    const auto rate = [](const std::optional<PhaseSpan>& span) {
      return span ? std::optional(span->firesPerCycle) : std::nullopt;
    };
    lines.Add(number++, first(pair.a), last(pair.a), rate(pair.a), first(pair.b), last(pair.b),
              rate(pair.b), pair.SpeedUp());
  }
  return lines.text;
}

std::string Slips(const DiffAnswer& answer) {
  CsvLines lines("column,row,firesA,firesB,meanSlip,largestSlip,lastSlip");
  for (const FireSlip& slip : answer.aligned.slips) {
    lines.Add(slip.at.column, slip.at.row, slip.firesA, slip.firesB, slip.Mean(), slip.largest,
              slip.last);
  }
  return lines.text;
}

}  // namespace

std::string DiffCsv(const DiffAnswer& answer, DiffTable table) {
  switch (table) {
    case DiffTable::MEASURES:
      return Measures(answer);
    case DiffTable::ELEMENTS:
      return Units(answer, Level::PE);
    case DiffTable::DOMAINS:
      return Units(answer, Level::DOMAIN);
    case DiffTable::CLUSTERS:
      return Units(answer, Level::CLUSTER);
    case DiffTable::LINKS:
      return Links(answer);
    case DiffTable::TRAFFIC:
      return Traffic(answer);
    case DiffTable::GROUPS:
      return Groups(answer);
    case DiffTable::PHASES:
      return Phases(answer);
    case DiffTable::SLIPS:
      break;
  }
  return Slips(answer);
}

}  // namespace marrowfin
