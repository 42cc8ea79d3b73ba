#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "measure/NumberText.h"
#include "measure/ShareText.h"
#include "tools/program/WhyAnswer.h"

namespace marrowfin {
namespace {

constexpr size_t NAMES = 22;  // characters of the column of names
constexpr size_t PLACES = 5;  // that are told of each kind

void Heading(const std::string& name, std::string& text) { text += "\n" + name + "\n"; }

void Line(const std::string& name, const std::string& value, std::string& text) {
  text +=
      "  " + name + std::string(NAMES > name.size() ? NAMES - name.size() : 1, ' ') + value + "\n";
}

std::string PlaceOf(Place at) { return PlaceText(at.column, at.row); }

std::string EventName(const TraceEvent& event) {
  switch (event.type) {
    case FIRE_RECORD:
      return "fire of " + PlaceOf(event.at);
    case SEND_RECORD:
      return "message " + PlaceOf(event.at) + " to " + PlaceOf(event.to);
    default:
      return "switch at " + PlaceOf(event.at);
  }
}

std::string EventText(const TraceEvent& event) {
  return "record " + std::to_string(event.record) + ", " + EventName(event) + ", thread " +
         std::to_string(event.thread) + ", cycle " + CountText(event.cycle);
}

std::string EventsText(uint64_t fires, uint64_t messages, uint64_t transmissions) {
  return CountOf(fires, "fire") + ", " + CountOf(messages, "message") +
         (transmissions > 0 ? ", " + CountOf(transmissions, "transmission") : "");
}

std::string SplitText(const TimeSplit& time) {
  return CountText(time.work) + " work, " + CountText(time.travel) + " travel, " +
         CountText(time.wait) + " wait";
}

void AddShare(const std::string& name, uint64_t cycles, uint64_t all, std::string& text) {
  Line(name, CountOf(cycles, "cycle") + (all > 0 ? ", " + ShareText(cycles, all) : ""), text);
}

void AddPlaces(const std::string& name, const std::vector<ChainPlace>& places, std::string& text) {
  for (size_t i = 0; i < std::min(PLACES, places.size()); ++i) {
    const ChainPlace& place = places[i];
    Line(name + " " + PlaceOf(place.at),
         CountOf(place.time.Sum(), "cycle") + ": " + SplitText(place.time), text);
  }
}

void AddChain(const WhyAnswer& answer, std::string& text) {
  const CausalChain& chain = *answer.chain;
  Line("chain",
       EventsText(chain.fires, chain.messages, chain.transmissions) + " over " +
           CountOf(chain.time.Sum(), "cycle") + ", from cycle " + CountText(chain.firstTime) +
           " to " + CountText(chain.lastTime),
       text);
  Line("before it",
       chain.firstTime > answer.firstTime ? CountOf(chain.firstTime - answer.firstTime, "cycle") +
                                                " in which nothing known led to it"
                                          : "nothing: it begins with the run",
       text);
  Heading("Time of the chain", text);
  AddShare("work", chain.time.work, chain.time.Sum(), text);
  AddShare("travel", chain.time.travel, chain.time.Sum(), text);
  AddShare("wait", chain.time.wait, chain.time.Sum(), text);
  if (chain.longestMessage > 0) {
    Line("longest message",
         CountOf(chain.longestMessage, "cycle") + ", record " +
             std::to_string(chain.longestMessageRecord),
         text);
  }
  if (chain.places.empty()) {
    return;
  }
  Heading("Where it went", text);
  AddPlaces("PE", OfKind(chain.places, false), text);
  if (answer.shape.domains.columns * answer.shape.domains.rows > 1) {
    AddPlaces("domain", ByLevel(chain.places, answer.shape, Level::DOMAIN), text);
  }
  if (answer.shape.Switches() > 1) {
    AddPlaces("cluster", ByLevel(chain.places, answer.shape, Level::CLUSTER), text);
  }
  AddPlaces("switch", OfKind(chain.places, true), text);
}

std::string Padded(const std::string& text, size_t width) {
  return std::string(width > text.size() ? width - text.size() : 1, ' ') + text;
}

// Columns of numbers, and words behind them.
void AddRow(const std::vector<std::string>& cells, const std::string& words, std::string& text) {
  constexpr size_t WIDTH = 10;
  for (const std::string& cell : cells) {
    text += Padded(cell, WIDTH);
  }
  text += "  " + words + "\n";
}

void AddSteps(const WhyAnswer& answer, std::string& text) {
  if (answer.steps.empty()) {
    return;
  }
  const uint64_t all = answer.chain->Steps();
  Heading("Steps" + (answer.steps.size() < all
                         ? ", the last " + CountText(answer.steps.size()) + " of " + CountText(all)
                         : std::string()),
          text);
  AddRow({"record", "cycle", "work", "travel", "wait"}, "event", text);
  for (const ChainStep& step : answer.steps) {
    AddRow({std::to_string(step.event.record), CountText(step.event.cycle),
            CountText(step.since.work), CountText(step.since.travel), CountText(step.since.wait)},
           EventName(step.event) + ", thread " + std::to_string(step.event.thread), text);
  }
}

void AddBounds(const RunBounds& bounds, std::string& text) {
  Heading("How early the run could end", text);
  Line("as it was", "cycle " + CountText(bounds.end), text);
  const auto line = [&](const std::string& name, uint64_t end) {
    Line(name, "no earlier than cycle " + CountText(end), text);
  };
  line("nothing waits", bounds.noWaits);
  line("messages are free", bounds.freeMessages);
  line("work takes no time", bounds.instantWork);
}

std::string SlackText(const PlaceSlack& place) {
  return PlaceOf(place.at) + " " + CountText(place.least);
}

void AddSlack(const RunSlack& slack, std::string& text) {
  if (slack.places.empty()) {
    return;
  }
  Heading("Slack: how much later PEs could have fired, in cycles", text);
  const size_t count = std::min(PLACES, slack.places.size());
  std::string least;
  std::string most;
  for (size_t i = 0; i < count; ++i) {
    least += (i == 0 ? "" : ", ") + SlackText(slack.places[i]);
    most += (i == 0 ? "" : ", ") + SlackText(slack.places[slack.places.size() - 1 - i]);
  }
  Line("least", least, text);
  Line("most", most, text);
}

void AddEvidence(const CauseCounts& counts, std::string& text) {
  Heading("Evidence", text);
  Line("causes",
       CountText(counts.told) + " told, " + CountText(counts.byPacket) + " by packet, " +
           CountText(counts.inferred) + " inferred",
       text);
  if (counts.unused > 0) {
    Line("unused",
         CountOf(counts.unused, "message") + " that led to nothing known" +
             (counts.forgotten > 0 ? ", " + CountText(counts.forgotten) + " of them given up" : ""),
         text);
  }
  if (counts.contradicting > 0) {
    Line("not believed",
         CountText(counts.contradicting) +
             " told causes: consumed records that are no messages, or producers that are no fires",
         text);
  }
}

void AddCone(const WhyAnswer& answer, std::string& text) {
  const CausalCone& cone = *answer.cone;
  Line("events", EventsText(cone.fires, cone.messages, cone.transmissions), text);
  Line("cycles", CountText(cone.firstCycle) + " to " + CountText(cone.lastCycle), text);
  Line("PEs", CountText(cone.places.size()) + " of " + CountText(answer.shape.Elements()), text);
  std::string most;
  for (size_t i = 0; i < std::min(PLACES, cone.places.size()); ++i) {
    most += (i == 0 ? "" : ", ") + PlaceOf(cone.places[i].at) + " " +
            CountOf(cone.places[i].fires, "fire");
  }
  if (!most.empty()) {
    Line("most of it at", most, text);
  }
}

std::string HoldersText(const PacketStep& step) {
  if (step.wait == 0) {
    return "";
  }
  std::string text;
  for (size_t i = 0; i < std::min(PLACES, step.holders.size()); ++i) {
    const PacketHolder& holder = step.holders[i];
    text += (i == 0 ? "" : ", ") + std::to_string(holder.packet);
  }
  if (step.holders.size() > PLACES) {
    text += " and " + CountText(step.holders.size() - PLACES) + " more";
  }
  if (text.empty()) {
    return step.untold > 0 ? "; meanwhile " + CountOf(step.untold, "event") + " of no told packet"
                           : "; nothing used it meanwhile";
  }
  return "; meanwhile packets " + text;
}

void AddPacket(const PacketHistory& packet, std::string& text) {
  if (packet.created) {
    Line("created", "cycle " + CountText(*packet.created), text);
  }
  Line("way",
       CountOf(packet.Cycles(), "cycle") + ", of which " + CountOf(packet.waited, "cycle") +
           " waiting",
       text);
  Heading("Steps", text);
  AddRow({"record", "cycle", "since", "wait"}, "event", text);
  for (const PacketStep& step : packet.steps) {
    AddRow({std::to_string(step.event.record), CountText(step.event.cycle), CountText(step.since),
            CountText(step.wait)},
           EventName(step.event) + HoldersText(step), text);
  }
}

std::string Title(const WhyAnswer& answer) {
  const bool certain = (!answer.chain || answer.chain->IsCertain()) &&
                       (!answer.cone || answer.cone->inferred == 0) &&
                       (!answer.packet || answer.packet->certain);
  const std::string inferred = certain ? "" : " (inferred)";
  if (answer.packet) {
    return "the way of packet " + std::to_string(answer.packet->packet) + inferred;
  }
  if (!answer.event) {
    return "no fires and no messages, so nothing caused anything";
  }
  const std::string what = answer.bounds ? "the chain that led to its end, "
                           : answer.cone && answer.direction == ConeDirection::FORWARD
                               ? "all that followed from "
                           : answer.cone ? "all that led to "
                                         : "the chain that led to ";
  return what + EventText(*answer.event) + inferred;
}

}  // namespace

std::string WhyText(const WhyAnswer& answer) {
  std::string text = answer.trace + ": " + Title(answer) + "\n";
  if (answer.packet) {
    AddPacket(*answer.packet, text);
  }
  if (answer.cone) {
    AddCone(answer, text);
  }
  if (answer.chain) {
    AddChain(answer, text);
    if (answer.bounds) {
      AddBounds(*answer.bounds, text);
    }
    if (answer.slack) {
      AddSlack(*answer.slack, text);
    }
    AddSteps(answer, text);
  }
  if (answer.event || answer.packet) {
    AddEvidence(answer.counts, text);
  }
  return text;
}

}  // namespace marrowfin
