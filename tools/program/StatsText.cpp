#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "measure/ClusterTraffic.h"
#include "measure/NumberText.h"
#include "tools/program/RunAnswer.h"
#include "tools/program/TerminalText.h"
#include "tools/program/ViewCommand.h"

namespace marrowfin {
namespace {

constexpr size_t NAMES = 22;  // characters of the column of names

// Lines of a name and what is to be said of it, under headings.
class Table {
 public:
  void Heading(const std::string& name) { text += (text.empty() ? "" : "\n") + name + "\n"; }
  void Line(const std::string& name, const std::string& value) {
    text += "  " + name + std::string(NAMES > name.size() ? NAMES - name.size() : 1, ' ') + value +
            "\n";
  }
  std::string text;
};

std::string PlacesText(const std::vector<PlaceValue>& places, bool shares) {
  std::string text;
  for (const PlaceValue& place : places) {
    text += (text.empty() ? "" : ", ") + PlaceText(place.at.column, place.at.row) + " " +
            (shares ? PercentText(place.value) : ThreeDigits(place.value));
  }
  return text;
}

void AddImbalance(Table& table, const std::optional<Imbalance>& imbalance) {
  if (imbalance) {
    table.Line("unevenness", "max/mean " + ThreeDigits(imbalance->maxOverMean) + ", Gini " +
                                 ThreeDigits(imbalance->gini) + ", CoV " +
                                 ThreeDigits(imbalance->cov));
  }
}

void AddUsage(Table& table, const Usage& usage, const std::string& units) {
  table.Line("rate", ThreeDigits(usage.rate) + " a cycle on average of " + CountText(usage.units) +
                         " " + units +
                         (usage.never > 0 ? ", " + CountText(usage.never) + " never" : ""));
  AddImbalance(table, usage.imbalance);
  if (!usage.busiest.empty()) {
    table.Line("busiest", PlacesText(usage.busiest, false));
    table.Line("quietest", PlacesText(usage.quietest, false));
  }
}

std::string PercentilesText(const ValueCounts& counts) {
  std::string text = "mean " + ThreeDigits(counts.Mean());
  for (const uint32_t percent : {50U, 95U, 99U}) {
    if (const std::optional<uint64_t> value = counts.Percentile(percent)) {
      text += ", " + std::to_string(percent) + " % within " + CountText(*value);
    }
  }
  return text + ", at most " + CountText(counts.Largest());
}

std::string LinkName(const LinkValue& link, Level level) {
  const std::string place = PlaceText(link.node.column, link.node.row);
  return (level == Level::CLUSTER ? "cluster " + place : place) + " " + HeadingName(link.heading);
}

void AddWork(Table& table, const RunMeasures& measures) {
  table.Heading("Work");
  table.Line("fires",
             CountText(measures.fires) + ", " + ThreeDigits(measures.firesPerCycle) + " a cycle");
  table.Line(
      "utilisation",
      PercentText(measures.utilisation) + " of the cycles on average" +
          (measures.mostUtilised.empty() ? "" : "; " + PlacesText(measures.mostUtilised, true)));
  AddUsage(table, measures.elements, "PEs");
  if (measures.longestGap) {
    table.Line("longest gap",
               CountText(WholeOf(measures.longestGap->value)) + " cycles at " +
                   PlaceText(measures.longestGap->at.column, measures.longestGap->at.row) +
                   ", up to cycle " + CountText(measures.longestGapEnd));
  }
  if (measures.peakFires > 0) {
    table.Line("busiest cycle",
               CountText(measures.peakCycle) + ", with " + CountOf(measures.peakFires, "fire"));
  }
  if (measures.quietCycles > 0) {
    table.Line("quiet spell", CountOf(measures.quietCycles, "cycle") + " from cycle " +
                                  CountText(measures.quietFirst));
  }
}

void AddPhases(Table& table, const RunAnswer& answer) {
  table.Heading("Phases");
  if (!answer.measures.phases) {
    table.Line("none", "too few cycles, or a run that changes all the time");
    return;
  }
  const TimeColumns& columns = answer.counts->Times().Columns();
  char letter = 'A';
  for (const Phase& phase : *answer.measures.phases) {
    const size_t last = phase.firstColumn + phase.columns - 1;
    table.Line(std::string(1, letter++),
               "cycles " + CountText(columns.FirstOf(phase.firstColumn)) + " to " +
                   CountText(columns.FirstOf(last) + columns.WidthOf(last) - 1) + ": " +
                   ThreeDigits(phase.mean / static_cast<double>(columns.width)) + " fires a cycle");
  }
}

void AddMessages(Table& table, const RunAnswer& answer) {
  const RunMeasures& measures = answer.measures;
  table.Heading("Messages");
  table.Line("sends", CountText(measures.sends));
  if (!measures.distances.IsEmpty()) {
    table.Line("distance", PercentilesText(measures.distances));
  }
  const ValueCounts toFire = answer.groups.empty() ? ValueCounts() : SendToFireOf(answer.groups[0]);
  if (!toFire.IsEmpty()) {
    table.Line("from send to fire", PercentilesText(toFire));
  }
}

void AddLinks(Table& table, const LinkMeasures& links) {
  table.Heading(std::string("Links, ") + (links.observed ? "observed" : "modelled") + " between " +
                (links.level == Level::PE ? "PEs" : "the switches of clusters"));
  table.Line("load", PercentText(links.mean) + " on average of " + CountText(links.links) +
                         " links, " + CountText(links.unused) + " unused");
  AddImbalance(table, links.imbalance);
  for (const LinkValue& link : links.busiest) {
    table.Line(&link == links.busiest.data() ? "busiest" : "",
               LinkName(link, links.level) + ": " + PercentText(link.load));
  }
  table.Line("bisection", ThreeDigits(links.bisectionRate) + " messages a cycle, " +
                              PercentText(links.bisectionShare) + " of what its " +
                              CountText(links.bisection.links) + " links can carry");
  if (links.modelError) {
    table.Line("model error",
               PercentText(*links.modelError) + " against the transmissions of the switches");
  }
}

// What clusters sent to others, of arrays that have several.
void AddTraffic(Table& table, const RunAnswer& answer) {
  const std::vector<ClusterPair> pairs = TrafficOf(*answer.counts);
  if (answer.shape.Switches() < 2 || pairs.empty()) {
    return;
  }
  table.Heading("Traffic between clusters");
  const uint64_t between = MessagesBetween(pairs);
  table.Line("messages", CountText(between) + " leave their cluster, " +
                             PercentText(static_cast<double>(between) /
                                         static_cast<double>(answer.measures.sends)) +
                             " of all");
  std::string name = "busiest";
  for (const ClusterPair& pair : BusiestBetween(pairs, MOST_TOLD)) {
    table.Line(name, PlaceText(pair.from.column, pair.from.row) + " to " +
                         PlaceText(pair.to.column, pair.to.row) + ": " + CountText(pair.messages));
    name.clear();
  }
}

void AddSwitches(Table& table, const RunMeasures& measures) {
  table.Heading("Switches");
  table.Line("transmissions", CountText(measures.transmissions));
  AddUsage(table, measures.switches, "switches");
  if (const std::optional<SwitchLoads>& loads = measures.switchLoads) {
    table.Line("load", PercentText(loads->mean) + " of what they can pass on, on average" +
                           (loads->busiest.empty() ? "" : "; " + PlacesText(loads->busiest, true)));
  }
}

void AddPackets(Table& table, const PacketCounts& packets, bool areThreads) {
  table.Heading(areThreads ? "Packets, a thread each" : "Packets");
  table.Line("delivered",
             CountText(packets.Delivered()) +
                 (packets.UnderWay() > 0 ? ", " + CountText(packets.UnderWay()) + " still under way"
                                         : ""));
  if (packets.Delivered() == 0) {
    return;
  }
  table.Line("latency", PercentilesText(packets.Latencies()));
  if (!packets.TotalLatencies().IsEmpty()) {
    table.Line("since created", PercentilesText(packets.TotalLatencies()));
    table.Line("wait at the source", PercentilesText(packets.SourceWaits()));
  }
  table.Line("hops", PercentilesText(packets.Hops()));
  if (!packets.HopTimes().IsEmpty()) {
    table.Line("cycles a hop", PercentilesText(packets.HopTimes()));
  }
  const PacketLife& slowest = *packets.Slowest();
  table.Line("slowest", "packet " + std::to_string(slowest.packet) + ", " +
                            CountOf(slowest.Latency(), "cycle") + " from cycle " +
                            CountText(slowest.injected));
  if (const std::optional<uint64_t> onset = packets.Onset()) {
    table.Line("saturates", "from cycle " + CountText(*onset) + " on");
  } else if (const std::optional<uint64_t> early = packets.EarlyPercentile()) {
    table.Line("saturates", "never: no three windows in a row have a 95 % over " +
                                CountText(*early) + " x 2 cycles");
  }
}

// Groups that are listed; of more those with most events.
constexpr size_t MOST_LISTED = 8;

std::string GroupName(const GroupTraffic& group) {
  return group.name.empty() ? CountText(group.value) : PrintableLine(group.name);
}

std::string GroupText(const GroupTraffic& group) {
  std::string text;
  const auto add = [&](const std::string& more) { text += (text.empty() ? "" : ", ") + more; };
  for (const auto& [count, word] : {std::pair{group.fires, "fire"},
                                    {group.sends, "send"},
                                    {group.transmissions, "transmission"}}) {
    if (count > 0) {
      add(CountOf(count, word));
    }
  }
  for (const auto& [counts, word] : {std::pair{&group.distances, "distance"},
                                     {&group.sendToFire, "to its fire"},
                                     {&group.latencies, "latency"}}) {
    if (!counts->IsEmpty()) {
      const std::optional<uint64_t> most = counts->Percentile(95);
      add(std::string(word) + " " + ThreeDigits(counts->Mean()) +
          (most ? " (95 % within " + CountText(*most) + ")" : ""));
    }
  }
  return text;
}

void AddGroups(Table& table, const GroupedTraffic& grouped) {
  table.Heading("By " + PrintableLine(grouped.by) + ", distances and cycles on average");
  std::vector<const GroupTraffic*> groups;
  for (const GroupTraffic& group : grouped.groups) {
    groups.push_back(&group);
  }
  std::stable_sort(groups.begin(), groups.end(), [](const GroupTraffic* a, const GroupTraffic* b) {
    return a->Events() > b->Events();
  });
  for (size_t i = 0; i < std::min(groups.size(), MOST_LISTED); ++i) {
    table.Line(GroupName(*groups[i]), GroupText(*groups[i]));
  }
  if (groups.size() > MOST_LISTED || grouped.others.Events() > 0) {
    table.Line("others", "see --csv groups");
  }
  if (grouped.without.Events() > 0) {
    table.Line("none of them", GroupText(grouped.without));
  }
}

}  // namespace

std::string StatsText(const RunAnswer& answer) {
  const RunMeasures& measures = answer.measures;
  Table table;
  table.text = answer.trace + ": " + CountOf(measures.records, "record") + " of cycles " +
               CountText(measures.range.first) + " to " + CountText(measures.range.last) + ", " +
               ArrayText(answer.shape) + "\n";
  if (measures.records == 0) {
    return table.text;
  }
  if (measures.outside > 0) {
    table.text += CountOf(measures.outside, "place") + " of events outside the array\n";
  }
  if (measures.fires > 0) {
    AddWork(table, measures);
    AddPhases(table, answer);
  }
  if (measures.sends > 0) {
    AddMessages(table, answer);
    AddLinks(table, measures.links);
    AddTraffic(table, answer);
  }
  if (measures.transmissions > 0) {
    AddSwitches(table, measures);
  }
  if (answer.packets) {
    AddPackets(table, *answer.packets, answer.packetsAreThreads);
  }
  for (const GroupedTraffic& grouped : answer.groups) {
    AddGroups(table, grouped);
  }
  return table.text;
}

}  // namespace marrowfin
