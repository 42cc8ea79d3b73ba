#include <string>
#include <utility>

#include "measure/ClusterTraffic.h"
#include "measure/Level.h"
#include "tools/program/CsvLines.h"
#include "tools/program/RunAnswer.h"

namespace marrowfin {
namespace {

std::string Elements(const RunAnswer& answer) {
  CsvLines lines("column,row,fires,sends,receives,activeCycles,utilisation,longestGap");
  const std::vector<ElementCounts>& elements = answer.counts->Places().Elements();
  for (size_t i = 0; i < elements.size(); ++i) {
    const ElementCounts& e = elements[i];
    const Place at = answer.shape.ElementAt(i);
    lines.Add(at.column, at.row, e.fires, e.sends, e.receives, e.active,
              static_cast<double>(e.active) / answer.measures.cycles, e.gap);
  }
  return lines.text;
}

// Where something tells what switches can pass on.
std::optional<double> SwitchLoad(const RunAnswer& answer, size_t cluster) {
  const std::optional<SwitchLoads>& loads = answer.measures.switchLoads;
  return loads
             ? std::optional(static_cast<double>(answer.counts->Places().Transmissions()[cluster]) /
                             (answer.measures.cycles * loads->capacities[cluster]))
             : std::nullopt;
}

// What the elements of each domain or cluster did together, and for which share of the cycles they
// fired on average.
std::string Units(const RunAnswer& answer, Level level) {
  const bool switches = level == Level::CLUSTER;
  CsvLines lines(std::string("column,row,fires,sends,receives") +
                 (switches ? ",transmissions,switchLoad" : "") + ",utilisation");
  const PerAxis axes = UnitsOf(answer.shape, level);
  std::vector<ElementCounts> units(static_cast<size_t>(axes.columns) * axes.rows);
  const std::vector<ElementCounts>& elements = answer.counts->Places().Elements();
  for (size_t i = 0; i < elements.size(); ++i) {
    const Place unit = UnitOf(answer.shape, level, answer.shape.ElementAt(i));
    ElementCounts& sum = units[static_cast<size_t>(unit.row) * axes.columns + unit.column];
    sum.fires += elements[i].fires;
    sum.sends += elements[i].sends;
    sum.receives += elements[i].receives;
    sum.active += elements[i].active;
  }
  const double cycles = answer.measures.cycles * static_cast<double>(elements.size()) /
                        static_cast<double>(units.size());
  for (size_t i = 0; i < units.size(); ++i) {
    const uint64_t column = i % axes.columns;
    const uint64_t row = i / axes.columns;
    const double share = static_cast<double>(units[i].active) / cycles;
    if (switches) {
      lines.Add(column, row, units[i].fires, units[i].sends, units[i].receives,
                answer.counts->Places().Transmissions()[i], SwitchLoad(answer, i), share);
    } else {
      lines.Add(column, row, units[i].fires, units[i].sends, units[i].receives, share);
    }
  }
  return lines.text;
}

std::string Links(const RunAnswer& answer) {
  CsvLines lines("column,row,heading,messages,load");
  const LinkMeasures& links = answer.measures.links;
  const Mesh& mesh = links.loads.mesh;
  for (uint32_t row = 0; row < mesh.nodes.rows; ++row) {
    for (uint32_t column = 0; column < mesh.nodes.columns; ++column) {
      for (const Heading heading : {Heading::RIGHT, Heading::LEFT, Heading::UP, Heading::DOWN}) {
        if (mesh.HasLink({column, row}, heading)) {
          const uint64_t messages = links.loads.Of({column, row}, heading);
          lines.Add(column, row, HeadingName(heading), messages,
                    static_cast<double>(messages) / (answer.measures.cycles * links.capacity));
        }
      }
    }
  }
  return lines.text;
}

std::string Time(const RunAnswer& answer) {
  CsvLines lines("firstCycle,cycles,fires,sends,transmissions");
  const Timeline& times = answer.counts->Times();
  for (size_t column = 0; column < times.Columns().Count(); ++column) {
    lines.Add(times.Columns().FirstOf(column), times.Columns().WidthOf(column),
              times.OfType(FIRE_RECORD)[column], times.OfType(SEND_RECORD)[column],
              times.OfType(SWITCH_RECORD)[column]);
  }
  return lines.text;
}

std::string Distances(const RunAnswer& answer) {
  CsvLines lines("distance,messages");
  for (const auto& [distance, messages] : answer.measures.distances.Counts()) {
    lines.Add(distance, messages);
  }
  return lines.text;
}

std::string Traffic(const RunAnswer& answer) {
  CsvLines lines("fromColumn,fromRow,toColumn,toRow,messages");
  for (const ClusterPair& pair : TrafficOf(*answer.counts)) {
    lines.Add(pair.from.column, pair.from.row, pair.to.column, pair.to.row, pair.messages);
  }
  return lines.text;
}

std::string Latency(const RunAnswer& answer) {
  CsvLines lines("firstCycle,lastCycle,injected,delivered,mean,p50,p95,p99,max");
  if (!answer.packets) {
    return lines.text;
  }
  for (const LatencyWindow& window : answer.packets->Windows()) {
    const ValueCounts& counts = window.latencies;
    if (counts.IsEmpty()) {
      lines.Add(window.firstCycle, window.lastCycle, window.injected, uint64_t{0}, "", "", "", "",
                "");
      continue;
    }
    const auto percentile = [&](uint32_t percent) {
      const std::optional<uint64_t> value = counts.Percentile(percent);
      return value ? std::to_string(*value) : std::string();
    };
    lines.Add(window.firstCycle, window.lastCycle, window.injected, counts.Size(), counts.Mean(),
              percentile(50).c_str(), percentile(95).c_str(), percentile(99).c_str(),
              counts.Largest());
  }
  return lines.text;
}

void AddGroup(const std::string& by, const std::string& value, const GroupTraffic& group,
              CsvLines& lines) {
  std::string cells;
  for (const ValueCounts* counts : {&group.distances, &group.sendToFire, &group.latencies}) {
    if (counts->IsEmpty()) {
      cells += ",0,,,,,";
      continue;
    }
    CsvLines mean("");
    mean.Add(counts->Mean());
    mean.text.pop_back();
    cells += "," + std::to_string(counts->Size()) + "," + mean.text.substr(1);
    for (const uint32_t percent : {50U, 95U, 99U}) {
      const std::optional<uint64_t> rank = counts->Percentile(percent);
      cells += "," + (rank ? std::to_string(*rank) : std::string());
    }
    cells += "," + std::to_string(counts->Largest());
  }
  lines.text += Quoted(by) + "," + value + "," + Quoted(group.name) + "," +
                std::to_string(group.fires) + "," + std::to_string(group.sends) + "," +
                std::to_string(group.transmissions) + cells + "\n";
}

std::string Groups(const RunAnswer& answer) {
  std::string names = "by,value,name,fires,sends,transmissions";
  for (const char* const of : {"distance", "sendToFire", "latency"}) {
    for (const char* const what : {"Count", "Mean", "P50", "P95", "P99", "Max"}) {
      names += std::string(",") + of + what;
    }
  }
  CsvLines lines(names);
  for (const GroupedTraffic& grouped : answer.groups) {
    for (const GroupTraffic& group : grouped.groups) {
      AddGroup(grouped.by, std::to_string(group.value), group, lines);
    }
    for (const auto& [name, group] :
         {std::pair("others", &grouped.others), std::pair("none", &grouped.without)}) {
      if (group->Events() > 0) {
        AddGroup(grouped.by, name, *group, lines);
      }
    }
  }
  return lines.text;
}

}  // namespace

std::string StatsCsv(const RunAnswer& answer, StatsTable table) {
  switch (table) {
    case StatsTable::ELEMENTS:
      return Elements(answer);
    case StatsTable::DOMAINS:
      return Units(answer, Level::DOMAIN);
    case StatsTable::CLUSTERS:
      return Units(answer, Level::CLUSTER);
    case StatsTable::LINKS:
      return Links(answer);
    case StatsTable::TIME:
      return Time(answer);
    case StatsTable::DISTANCES:
      return Distances(answer);
    case StatsTable::TRAFFIC:
      return Traffic(answer);
    case StatsTable::LATENCY:
      return Latency(answer);
    case StatsTable::GROUPS:
      break;
  }
  return Groups(answer);
}

}  // namespace marrowfin
