#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "tools/program/WhyAnswer.h"
#include "trace/base/TypeNames.h"

namespace marrowfin {
namespace {

using Json = nlohmann::json;

Json AsJson(Place place) { return {place.column, place.row}; }

Json AsJson(const TraceEvent& event) {
  Json json = {{"record", event.record},
               {"cycle", event.cycle},
               {"thread", event.thread},
               {"type", RecordTypeName(event.type)},
               {"at", AsJson(event.at)}};
  if (event.type == SEND_RECORD) {
    json["to"] = AsJson(event.to);
  }
  return json;
}

Json AsJson(const TimeSplit& time) {
  return {{"work", time.work}, {"travel", time.travel}, {"wait", time.wait}};
}

Json AsJson(const std::vector<ChainPlace>& places) {
  Json json = Json::array();
  for (const ChainPlace& place : places) {
    Json entry = AsJson(place.time);
    entry["at"] = AsJson(place.at);
    json.push_back(std::move(entry));
  }
  return json;
}

const char* EvidenceName(Evidence evidence) {
  return evidence == Evidence::TOLD ? "told" : evidence == Evidence::PACKET ? "packet" : "inferred";
}

Json ChainAsJson(const WhyAnswer& answer) {
  const CausalChain& chain = *answer.chain;
  Json steps = Json::array();
  for (const ChainStep& step : answer.steps) {
    Json entry = AsJson(step.event);
    entry.update(AsJson(step.since));
    entry["evidence"] = EvidenceName(step.evidence);
    steps.push_back(std::move(entry));
  }
  return {{"certain", chain.IsCertain()},
          {"inferred", chain.inferred},
          {"firstRecord", chain.first},
          {"firstCycle", chain.firstTime},
          {"lastCycle", chain.lastTime},
          {"before", chain.firstTime - answer.firstTime},
          {"fires", chain.fires},
          {"messages", chain.messages},
          {"transmissions", chain.transmissions},
          {"time", AsJson(chain.time)},
          {"longestMessage", chain.longestMessage},
          {"longestMessageRecord",
           chain.longestMessage > 0 ? Json(chain.longestMessageRecord) : Json()},
          {"pes", AsJson(OfKind(chain.places, false))},
          {"domains", AsJson(ByLevel(chain.places, answer.shape, Level::DOMAIN))},
          {"clusters", AsJson(ByLevel(chain.places, answer.shape, Level::CLUSTER))},
          {"switches", AsJson(OfKind(chain.places, true))},
          {"steps", steps}};
}

Json AsJson(const RunBounds& bounds) {
  return {{"end", bounds.end},
          {"noWaits", bounds.noWaits},
          {"freeMessages", bounds.freeMessages},
          {"instantWork", bounds.instantWork}};
}

Json AsJson(const RunSlack& slack) {
  Json json = Json::array();
  for (const PlaceSlack& place : slack.places) {
    json.push_back({{"at", AsJson(place.at)},
                    {"fires", place.fires},
                    {"least", place.least},
                    {"mean", place.mean}});
  }
  return json;
}

Json ConeAsJson(const CausalCone& cone, ConeDirection direction) {
  Json places = Json::array();
  for (const CausalCone::Fires& place : cone.places) {
    places.push_back({{"at", AsJson(place.at)}, {"fires", place.fires}});
  }
  return {{"direction", direction == ConeDirection::BACK ? "back" : "forward"},
          {"certain", cone.inferred == 0},
          {"inferred", cone.inferred},
          {"firstCycle", cone.firstCycle},
          {"lastCycle", cone.lastCycle},
          {"fires", cone.fires},
          {"messages", cone.messages},
          {"transmissions", cone.transmissions},
          {"pes", places}};
}

Json AsJson(const PacketHistory& packet) {
  Json steps = Json::array();
  for (const PacketStep& step : packet.steps) {
    Json entry = AsJson(step.event);
    Json holders = Json::array();
    for (const PacketHolder& holder : step.holders) {
      holders.push_back({{"packet", holder.packet},
                         {"events", holder.events},
                         {"firstCycle", holder.firstCycle},
                         {"lastCycle", holder.lastCycle}});
    }
    entry["since"] = step.since;
    entry["wait"] = step.wait;
    entry["holders"] = holders;
    entry["untold"] = step.untold;
    steps.push_back(std::move(entry));
  }
  return {{"packet", packet.packet},   {"created", packet.created ? Json(*packet.created) : Json()},
          {"cycles", packet.Cycles()}, {"waited", packet.waited},
          {"certain", packet.certain}, {"steps", steps}};
}

}  // namespace

Json WhyJson(const WhyAnswer& answer) {
  const CauseCounts& counts = answer.counts;
  Json json = {{"trace", answer.trace},
               {"event", answer.event ? AsJson(*answer.event) : Json()},
               {"causes",
                {{"certain", counts.AreCertain()},
                 {"told", counts.told},
                 {"byPacket", counts.byPacket},
                 {"inferred", counts.inferred},
                 {"unusedMessages", counts.unused},
                 {"forgottenMessages", counts.forgotten},
                 {"contradicting", counts.contradicting}}}};
  if (answer.chain) {
    json["chain"] = ChainAsJson(answer);
  }
  if (answer.bounds) {
    json["bounds"] = AsJson(*answer.bounds);
  }
  if (answer.slack) {
    json["slack"] = AsJson(*answer.slack);
  }
  if (answer.cone) {
    json["cone"] = ConeAsJson(*answer.cone, answer.direction);
  }
  if (answer.packet) {
    json["packet"] = AsJson(*answer.packet);
  }
  return json;
}

}  // namespace marrowfin
