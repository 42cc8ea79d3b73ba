#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "measure/ClusterTraffic.h"
#include "measure/NumberText.h"
#include "tools/program/Json.h"
#include "tools/program/RunAnswer.h"

namespace marrowfin {
namespace {

using Json = nlohmann::json;

Json AsJson(Place place) { return {place.column, place.row}; }

Json AsJson(const std::vector<PlaceValue>& places) {
  Json json = Json::array();
  for (const PlaceValue& place : places) {
    json.push_back({{"at", AsJson(place.at)}, {"value", place.value}});
  }
  return json;
}

Json AsJson(const std::optional<Imbalance>& imbalance) {
  return imbalance ? Json{{"maxOverMean", imbalance->maxOverMean},
                          {"gini", imbalance->gini},
                          {"cov", imbalance->cov}}
                   : Json();
}

Json AsJson(const Usage& usage) {
  return {{"units", usage.units},
          {"total", static_cast<uint64_t>(usage.total)},
          {"rate", usage.rate},
          {"never", usage.never},
          {"imbalance", AsJson(usage.imbalance)},
          {"busiest", AsJson(usage.busiest)},
          {"quietest", AsJson(usage.quietest)}};
}

Json SwitchesAsJson(const RunMeasures& measures) {
  Json json = AsJson(measures.switches);
  const std::optional<SwitchLoads>& loads = measures.switchLoads;
  json["meanLoad"] = loads ? Json(loads->mean) : Json();
  json["mostLoaded"] = loads ? AsJson(loads->busiest) : Json();
  return json;
}

Json OrNull(const std::optional<uint64_t>& value) { return value ? Json(*value) : Json(); }

Json AsJson(const ValueCounts& counts) {
  if (counts.IsEmpty()) {
    return nullptr;
  }
  return {{"count", counts.Size()},
          {"mean", counts.Mean()},
          {"min", counts.Smallest()},
          {"p50", OrNull(counts.Percentile(50))},
          {"p95", OrNull(counts.Percentile(95))},
          {"p99", OrNull(counts.Percentile(99))},
          {"max", counts.Largest()}};
}

Json AsJson(const LinkMeasures& links) {
  Json busiest = Json::array();
  for (const LinkValue& link : links.busiest) {
    busiest.push_back({{"from", AsJson(link.node)},
                       {"heading", HeadingName(link.heading)},
                       {"messages", link.messages},
                       {"load", link.load}});
  }
  return {{"observed", links.observed},
          {"level", LevelName(links.level)},
          {"capacity", links.capacity},
          {"links", links.links},
          {"unused", links.unused},
          {"meanLoad", links.mean},
          {"imbalance", AsJson(links.imbalance)},
          {"busiest", busiest},
          {"bisection",
           {{"cut", links.bisection.ofColumns ? "columns" : "rows"},
            {"messages", links.bisection.messages},
            {"links", links.bisection.links},
            {"rate", links.bisectionRate},
            {"share", links.bisectionShare}}},
          {"modelError", links.modelError ? Json(*links.modelError) : Json()}};
}

// Arrays with more clusters have a table of it: a matrix grows with their square.
constexpr uint64_t MOST_CLUSTERS = 64;

Json TrafficAsJson(const RunAnswer& answer) {
  if (answer.shape.Switches() > MOST_CLUSTERS) {
    return nullptr;
  }
  Json json = Json::array();
  for (const ClusterPair& pair : TrafficOf(*answer.counts)) {
    json.push_back(
        {{"from", AsJson(pair.from)}, {"to", AsJson(pair.to)}, {"messages", pair.messages}});
  }
  return json;
}

Json PhasesAsJson(const RunAnswer& answer) {
  if (!answer.measures.phases) {
    return nullptr;
  }
  const TimeColumns& columns = answer.counts->Times().Columns();
  Json json = Json::array();
  for (const Phase& phase : *answer.measures.phases) {
    const size_t last = phase.firstColumn + phase.columns - 1;
    json.push_back({{"firstCycle", columns.FirstOf(phase.firstColumn)},
                    {"lastCycle", columns.FirstOf(last) + columns.WidthOf(last) - 1},
                    {"firesPerCycle", phase.mean / static_cast<double>(columns.width)}});
  }
  return json;
}

Json AsJson(const PacketLife& life) {
  return {{"packet", life.packet},     {"from", AsJson(life.from)},
          {"to", AsJson(life.to)},     {"created", OrNull(life.created)},
          {"injected", life.injected}, {"ejected", life.ejected},
          {"hops", life.hops}};
}

Json AsJson(const GroupTraffic& group) {
  return {{"fires", group.fires},
          {"sends", group.sends},
          {"transmissions", group.transmissions},
          {"distance", AsJson(group.distances)},
          {"sendToFire", AsJson(group.sendToFire)},
          {"latency", AsJson(group.latencies)}};
}

Json AsJson(const GroupedTraffic& grouped) {
  Json groups = Json::array();
  for (const GroupTraffic& group : grouped.groups) {
    Json json = AsJson(group);
    json["value"] = group.value;
    json["name"] = group.name.empty() ? Json() : Json(group.name);
    groups.push_back(json);
  }
  Json json = {{"by", grouped.by}, {"groups", groups}};
  if (grouped.others.Events() > 0) {
    json["others"] = AsJson(grouped.others);
  }
  if (grouped.without.Events() > 0) {
    json["none"] = AsJson(grouped.without);
  }
  return json;
}

Json AsJson(const PacketCounts& packets) {
  Json windows = Json::array();
  for (const LatencyWindow& window : packets.Windows()) {
    windows.push_back({{"firstCycle", window.firstCycle},
                       {"lastCycle", window.lastCycle},
                       {"injected", window.injected},
                       {"incomplete", window.IsIncomplete()},
                       {"latency", AsJson(window.latencies)}});
  }
  Json slowest = Json::array();
  for (const PacketLife& life : packets.SlowestOnes()) {
    slowest.push_back(AsJson(life));
  }
  return {{"delivered", packets.Delivered()},
          {"underWay", packets.UnderWay()},
          {"latency", AsJson(packets.Latencies())},
          {"totalLatency", AsJson(packets.TotalLatencies())},
          {"sourceWait", AsJson(packets.SourceWaits())},
          {"hops", AsJson(packets.Hops())},
          {"hopTime", AsJson(packets.HopTimes())},
          {"distance", AsJson(packets.Distances())},
          {"slowest", packets.Slowest() != nullptr ? AsJson(*packets.Slowest()) : Json()},
          {"slowestOnes", slowest},
          {"onset", OrNull(packets.Onset())},
          {"windows", windows}};
}

}  // namespace

Json StatsJson(const RunAnswer& answer) {
  const RunMeasures& m = answer.measures;
  Json json = {{"trace", answer.trace},
               {"shape", LevelsAsJson(answer.shape)},
               {"firstCycle", m.range.first},
               {"lastCycle", m.range.last},
               {"records", m.records},
               {"fires", m.fires},
               {"sends", m.sends},
               {"transmissions", m.transmissions},
               {"outside", m.outside},
               {"firesPerCycle", m.firesPerCycle},
               {"utilisation", m.utilisation},
               {"mostUtilised", AsJson(m.mostUtilised)},
               {"elements", AsJson(m.elements)},
               {"clusters", AsJson(m.clusters)},
               {"switches", SwitchesAsJson(m)},
               {"peakFires", m.peakFires},
               {"peakCycle", m.peakCycle},
               {"quietCycles", m.quietCycles},
               {"quietFirst", m.quietFirst},
               {"distance", AsJson(m.distances)},
               {"links", AsJson(m.links)},
               {"traffic", TrafficAsJson(answer)},
               {"phases", PhasesAsJson(answer)}};
  if (m.longestGap) {
    json["longestGap"] = {{"at", AsJson(m.longestGap->at)},
                          {"cycles", WholeOf(m.longestGap->value)},
                          {"end", m.longestGapEnd}};
  }
  if (!answer.groups.empty()) {
    json["sendToFire"] = AsJson(SendToFireOf(answer.groups[0]));
    json["groups"] = Json::array();
    for (const GroupedTraffic& grouped : answer.groups) {
      json["groups"].push_back(AsJson(grouped));
    }
  }
  if (answer.packets) {
    json["packets"] = AsJson(*answer.packets);
  }
  return json;
}

}  // namespace marrowfin
