#include <nlohmann/json.hpp>

#include "tools/program/ExpectAnswer.h"

namespace marrowfin {
namespace {

using Json = nlohmann::json;

Json AsJson(Place place) { return {place.column, place.row}; }

template <class Value>
Json OrNull(const std::optional<Value>& value) {
  return value ? Json(*value) : Json();
}

Json AsJson(const Limits& limits) {
  return {{"least", OrNull(limits.least)},
          {"aboveLeast", limits.aboveLeast},
          {"most", OrNull(limits.most)},
          {"belowMost", limits.belowMost}};
}

// Where a number is: nothing of what the finding does not tell.
Json AsJson(const Witness& witness) {
  Json json = {{"firstCycle", witness.range.first},
               {"lastCycle", witness.range.last},
               {"cycle", OrNull(witness.cycle)}};
  const std::string place = WitnessPlaceText(witness);
  if (!place.empty()) {
    json["place"] = {
        {"kind", MeasureOfName(witness.of)}, {"at", AsJson(witness.at)}, {"name", place}};
    if (witness.position) {
      json["place"]["position"] = AsJson(*witness.position);
    }
    if (witness.of == MeasureOf::TRAFFIC) {
      json["place"]["to"] = AsJson(witness.to);
    }
    if (witness.of == MeasureOf::LINK) {
      json["place"]["heading"] = HeadingName(witness.heading);
    }
  }
  if (witness.message) {
    json["message"] = {{"record", witness.message->record},
                       {"from", AsJson(witness.message->at)},
                       {"to", AsJson(witness.message->to)}};
  }
  if (witness.packet) {
    json["packet"] = *witness.packet;
  }
  return json;
}

Json AsJson(const ExpectAnswer& answer, const Rule& rule, const Finding& finding) {
  Json json = {{"measure", finding.measure},       {"unit", finding.unit},
               {"value", OrNull(finding.value)},   {"baseline", OrNull(finding.baseline)},
               {"wanted", AsJson(finding.wanted)}, {"holds", finding.holds}};
  if (!finding.untold.empty()) {
    json["untold"] = finding.untold;
  }
  if (finding.value) {
    json["where"] = AsJson(finding.witness);
    json["compared"] = finding.compared;
    json["beyond"] = finding.beyond;
    json["farMessages"] = finding.messages;
    json["picture"] = PictureCommand(answer, rule, finding);
  }
  return json;
}

Json AsJson(const ExpectAnswer& answer, const Verdict& verdict) {
  const Rule& rule = answer.rules[verdict.rule];
  Json findings = Json::array();
  for (const Finding& finding : verdict.findings) {
    findings.push_back(AsJson(answer, rule, finding));
  }
  return {{"name", rule.name},        {"description", rule.description},
          {"line", rule.line},        {"outcome", OutcomeName(verdict.outcome)},
          {"reason", verdict.reason}, {"findings", findings}};
}

}  // namespace

Json ExpectJson(const ExpectAnswer& answer) {
  const VerdictCounts counts = CountVerdicts(answer.verdicts);
  Json verdicts = Json::array();
  for (const Verdict& verdict : answer.verdicts) {
    verdicts.push_back(AsJson(answer, verdict));
  }
  Json json = {{"trace", answer.trace},       {"file", answer.file},
               {"holds", counts.holds},       {"fails", counts.fails},
               {"untold", counts.untold},     {"skipped", counts.skipped},
               {"rules", std::move(verdicts)}};
  if (!answer.baselines.empty()) {
    Json changes = Json::array();
    for (const BaselineChange& change : answer.changes) {
      changes.push_back({{"baseline", change.baseline},
                         {"rule", change.rule},
                         {"measure", change.measure},
                         {"before", OrNull(change.before)},
                         {"now", OrNull(change.now)}});
    }
    json["baselines"] = answer.baselines;
    json["changes"] = changes;
  }
  return json;
}

}  // namespace marrowfin
