#include <nlohmann/json.hpp>
#include <string>

#include "convert/export/EventWords.h"
#include "tools/program/DiffAnswer.h"
#include "tools/program/Json.h"
#include "trace/base/TypeNames.h"

namespace marrowfin {
namespace {

using Json = nlohmann::json;

Json PlaceJson(Place place) { return {place.column, place.row}; }

template <class Value>
Json OrNull(const std::optional<Value>& value) {
  return value ? Json(*value) : Json();
}

Json RunJson(const DiffedRun& run, uint64_t records) {
  Json json = {{"trace", run.trace},
               {"records", records},
               {"firstCycle", run.cycles ? Json(run.cycles->first) : Json()},
               {"lastCycle", run.cycles ? Json(run.cycles->last) : Json()},
               {"shape", Json()}};
  if (run.measures) {
    json["shape"] = LevelsAsJson(run.run->question.shape);
  }
  return json;
}

Json EventJson(const std::optional<TraceEvent>& event) {
  if (!event) {
    return nullptr;
  }
  Json json = {{"record", event->record},
               {"cycle", event->cycle},
               {"type", RecordTypeName(event->type)},
               {"thread", event->thread}};
  if (event->type == SEND_RECORD) {
    json["from"] = PlaceJson(event->at);
    json["to"] = PlaceJson(event->to);
  } else {
    json["at"] = PlaceJson(event->at);
  }
  return json;
}

Json CountsJson(const ElementCounts& counts, bool isSwitch) {
  return isSwitch
             ? Json{{"transmissions", counts.fires}}
             : Json{
                   {"fires", counts.fires}, {"sends", counts.sends}, {"receives", counts.receives}};
}

Json DivergenceJson(const DiffAnswer& answer, const std::optional<Divergence>& found) {
  if (!found) {
    return nullptr;
  }
  Json json = {{AlignmentName(answer.alignment), found->unit}};
  if (answer.alignment != Alignment::PHASE) {
    json["a"] = EventJson(found->a);
    json["b"] = EventJson(found->b);
  } else if (found->counts) {
    const PlaceDifference& counts = *found->counts;
    json[counts.isSwitch ? "cluster" : "at"] = PlaceJson(counts.at);
    json["a"] = CountsJson(counts.a, counts.isSwitch);
    json["b"] = CountsJson(counts.b, counts.isSwitch);
  }
  return json;
}

Json SlipJson(const DiffAnswer& answer) {
  if (answer.alignment != Alignment::FIRE) {
    return nullptr;
  }
  Json places = Json::array();
  for (const FireSlip& slip : answer.aligned.slips) {
    places.push_back({{"at", PlaceJson(slip.at)},
                      {"firesA", slip.firesA},
                      {"firesB", slip.firesB},
                      {"mean", slip.Mean()},
                      {"largest", slip.largest},
                      {"last", slip.last}});
  }
  return {{"first", DivergenceJson(answer, answer.aligned.firstSlip)}, {"elements", places}};
}

Json ChangesJson(const std::vector<Change>& changes) {
  Json json = Json::array();
  for (const Change& change : changes) {
    json.push_back({{"name", change.name},
                    {"a", OrNull(change.a)},
                    {"b", OrNull(change.b)},
                    {"change", OrNull(change.Difference())},
                    {"relative", OrNull(change.Relative())}});
  }
  return json;
}

Json GroupsJson(const DiffAnswer& answer) {
  Json json = Json::array();
  for (const GroupedChanges& grouped : answer.groups) {
    Json groups = Json::array();
    for (const GroupChange& group : grouped.groups) {
      groups.push_back({{"value", OrNull(group.value)},
                        {"name", group.name.empty() ? Json() : Json(group.name)},
                        {"measures", ChangesJson(group.changes)}});
    }
    json.push_back({{"by", grouped.by}, {"groups", std::move(groups)}});
  }
  return json;
}

Json UnitJson(const std::optional<UnitChange>& change) {
  return change ? Json{{"at", PlaceJson(change->at)},
                       {"a", OrNull(change->a)},
                       {"b", OrNull(change->b)}}
                : Json();
}

Json WhereJson(const DiffAnswer& answer, Level level) {
  Json json = Json::object();
  for (const UnitMeasure measure : UNIT_MEASURES) {
    if (IsOfSwitches(measure) && level != Level::CLUSTER) {
      continue;
    }
    const std::vector<UnitChange> changes =
        UnitChangesOf(answer.a.Measured(), answer.b.Measured(), measure, level);
    if (changes.empty()) {
      json[UnitMeasureName(measure)] = nullptr;
      continue;
    }
    const UnitSummary summary = SummaryOf(changes);
    json[UnitMeasureName(measure)] = {{"up", summary.up},
                                      {"down", summary.down},
                                      {"same", summary.same},
                                      {"onlyA", summary.onlyA},
                                      {"onlyB", summary.onlyB},
                                      {"meanA", summary.meanA},
                                      {"meanB", summary.meanB},
                                      {"mostUp", UnitJson(summary.mostUp)},
                                      {"mostDown", UnitJson(summary.mostDown)}};
  }
  return json;
}

Json SpanJson(const std::optional<PhaseSpan>& span) {
  return span ? Json{{"firstCycle", span->cycles.first},
                     {"lastCycle", span->cycles.last},
                     {"firesPerCycle", span->firesPerCycle}}
              : Json();
}

Json PhasesJson(const DiffAnswer& answer) {
  Json json = Json::array();
  for (const PhasePair& pair : answer.phases) {
    json.push_back(
        {{"a", SpanJson(pair.a)}, {"b", SpanJson(pair.b)}, {"speedUp", OrNull(pair.SpeedUp())}});
  }
  return json;
}

}  // namespace

Json DiffJson(const DiffAnswer& answer) {
  const RunAlignment& aligned = answer.aligned;
  Json json = {{"a", RunJson(answer.a, aligned.recordsA)},
               {"b", RunJson(answer.b, aligned.recordsB)},
               {"align", AlignmentName(answer.alignment)},
               {"ordered", answer.ordered},
               {"equal", aligned.AreEqual()},
               {"sameBytes", aligned.sameBytes},
               {"units", aligned.units},
               {"differing", aligned.differing},
               {"reordered", aligned.reordered},
               {"onlyA", aligned.onlyA},
               {"onlyB", aligned.onlyB},
               {"first", DivergenceJson(answer, aligned.first)},
               {"slip", SlipJson(answer)},
               {"speedUp", Json()},
               {"measures", Json()},
               {"where", Json()},
               {"groups", Json()},
               {"phases", Json()}};
  if (answer.IsMeasured()) {
    json["speedUp"] = answer.b.measures->cycles / answer.a.measures->cycles;
    json["measures"] = ChangesJson(ChangesOf(answer.a.Measured(), answer.b.Measured()));
    json["where"] = {{"pes", WhereJson(answer, Level::PE)},
                     {"domains", WhereJson(answer, Level::DOMAIN)},
                     {"clusters", WhereJson(answer, Level::CLUSTER)}};
    json["groups"] = GroupsJson(answer);
    json["phases"] = PhasesJson(answer);
  }
  return json;
}

}  // namespace marrowfin
