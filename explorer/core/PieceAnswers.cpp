// What a piece of the array shows and why, and finding pieces by name.

#include <algorithm>
#include <cctype>
#include <map>
#include <vector>

#include "explorer/core/Answers.h"
#include "explorer/core/AskedFilter.h"
#include "explorer/core/CountPart.h"
#include "explorer/core/EventNotes.h"
#include "explorer/core/Spot.h"
#include "measure/Level.h"

namespace marrowfin {
namespace {

constexpr uint64_t MOST_FOUND = 1000;

// Sums of what some elements and switches did.
struct Totals {
  double fires = 0;
  double sends = 0;
  double receives = 0;
  double transmissions = 0;

  void Add(const ElementCounts& element) {
    fires += static_cast<double>(element.fires);
    sends += static_cast<double>(element.sends);
    receives += static_cast<double>(element.receives);
  }
  Totals Over(double units) const {
    return {fires / units, sends / units, receives / units, transmissions / units};
  }
};

void PutTotals(const Totals& totals, JsonText& head) {
  head.Key("fires").Real(totals.fires);
  head.Key("sends").Real(totals.sends);
  head.Key("receives").Real(totals.receives);
  head.Key("transmissions").Real(totals.transmissions);
}

// How many pieces of the kind there are.
double UnitsOf(const AskedPiece& piece, const ArrayShape& shape) {
  const double clusters = static_cast<double>(shape.Switches());
  switch (piece.kind) {
    case AskedPiece::PE:
      return static_cast<double>(shape.Elements());
    case AskedPiece::DOMAIN:
      return clusters * shape.domains.columns * shape.domains.rows;
    default:
      return clusters;
  }
}

Totals AllOf(const RunCounts& counts) {
  Totals totals;
  for (const ElementCounts& element : counts.Places().Elements()) {
    totals.Add(element);
  }
  for (const uint64_t transmissions : counts.Places().Transmissions()) {
    totals.transmissions += static_cast<double>(transmissions);
  }
  return totals;
}

Totals TotalsOf(const RunCounts& counts, const AskedPiece& piece, const ArrayShape& shape) {
  Totals totals;
  const bool hasSwitch = piece.kind == AskedPiece::SWITCH || piece.kind == AskedPiece::CLUSTER;
  if (hasSwitch) {
    const size_t number = size_t{piece.at.row} * shape.clusters.columns + piece.at.column;
    totals.transmissions = static_cast<double>(counts.Places().Transmissions()[number]);
  }
  if (piece.kind == AskedPiece::SWITCH) {
    return totals;
  }
  const Region region = RegionOf(piece, shape);
  for (uint32_t row = region.first.row; row <= region.last.row && row < shape.Rows(); ++row) {
    for (uint32_t column = region.first.column;
         column <= region.last.column && column < shape.Columns(); ++column) {
      totals.Add(counts.Places().Elements()[shape.ElementNumber({column, row})]);
    }
  }
  return totals;
}

MaybeRefusal PutWhole(const Asking& asking, const AskedPiece& piece, const ArrayShape& shape,
                      JsonText& head) {
  Totals totals;
  Totals average;
  if (piece.kind == AskedPiece::LINK) {
    AskedFilter filter;
    NarrowTo(piece, shape, filter);
    const CountAnswer counted = CountEvents(asking, filter, {});
    if (counted.refusal) {
      return counted.refusal;
    }
    totals.sends = static_cast<double>(counted.counts.count);
  } else {
    const auto counts = CountPart(asking, {shape, 0, asking.GetSummary().maxCycle, true});
    if (!counts) {
      return RefusalOf(counts.Why());
    }
    totals = TotalsOf(**counts, piece, shape);
    average = AllOf(**counts).Over(UnitsOf(piece, shape));
  }
  head.Key("whole").Object();
  PutTotals(totals, head);
  head.Key("average").Object();
  PutTotals(average, head);
  head.End().End();
  return std::nullopt;
}

// The event that the piece shows: of elements the last fire, of switches the last transmission, of
// links the last message.
AskedFilter TouchesOf(const AskedPiece& piece, const ArrayShape& shape) {
  AskedFilter filter;
  NarrowTo(piece, shape, filter);
  if (piece.kind != AskedPiece::LINK && piece.kind != AskedPiece::SWITCH) {
    filter.events.sends = filter.events.switches = false;
  }
  return filter;
}

MaybeRefusal PutTouched(const Asking& asking, const AskedPiece& piece, const ArrayShape& shape,
                        const Moment& moment, const Spot& spot, JsonText& head) {
  std::optional<TraceEvent> event;
  MaybeRefusal refusal = WalkEvents(asking, TouchesOf(piece, shape), spot.end, true,
                                    [&](const Selection& found, size_t i) {
                                      event = found.Event(i);
                                      return false;
                                    });
  if (refusal) {
    return refusal;
  }
  head.Key("touched");
  if (!event) {
    head.Null();
    return std::nullopt;
  }
  PutEvent(*event, head);
  if (moment.natural) {
    head.Key("ago").Wide(moment.cycle - std::min(moment.cycle, event->cycle));
  } else {
    const Result<uint64_t> step = StepOfRecord(asking, moment.skipTo, event->record);
    if (!step) {
      return RefusalOf(step.Why());
    }
    head.Key("ago").Number(spot.step - std::min(spot.step, *step));
  }
  if (Fault fault = PutNotesOf(asking, *event, head)) {
    return RefusalOf(fault);
  }
  head.End();
  return std::nullopt;
}

// What an event means to a piece.
const char* WhatOf(const TraceEvent& event, const Region& region) {
  if (event.type == SEND_RECORD) {
    return region.Has(event.at) ? "sends" : "gets";
  }
  return event.type == FIRE_RECORD ? "fires" : "transmits";
}

MaybeRefusal PutAround(const Asking& asking, const AskedPiece& piece, const ArrayShape& shape,
                       const Spot& spot, JsonText& head) {
  constexpr size_t BEFORE = 5;
  constexpr size_t AFTER = 4;
  AskedFilter filter;
  NarrowTo(piece, shape, filter);
  std::vector<TraceEvent> before;
  std::vector<TraceEvent> after;
  const auto collect = [](std::vector<TraceEvent>& events, size_t most) {
    return [&events, most](const Selection& found, size_t i) {
      events.push_back(found.Event(i));
      return events.size() < most;
    };
  };
  if (MaybeRefusal refusal = WalkEvents(asking, filter, spot.end, true, collect(before, BEFORE))) {
    return refusal;
  }
  if (MaybeRefusal refusal = WalkEvents(asking, filter, spot.end, false, collect(after, AFTER))) {
    return refusal;
  }
  std::reverse(before.begin(), before.end());
  before.insert(before.end(), after.begin(), after.end());
  const Region region = RegionOf(piece, shape);
  head.Key("around").Array();
  for (const TraceEvent& event : before) {
    PutEvent(event, head).Key("what").Text(WhatOf(event, region)).End();
  }
  head.End();
  return std::nullopt;
}

Level LevelOf(const AskedPiece& piece) {
  return piece.kind == AskedPiece::DOMAIN    ? Level::DOMAIN
         : piece.kind == AskedPiece::CLUSTER ? Level::CLUSTER
                                             : Level::PE;
}

struct Neighbour {
  bool isReceiver = false;
  Place at;
  uint64_t messages = 0;
};

// With whom a piece exchanges messages, the most first.
MaybeRefusal PutNeighbours(const Asking& asking, const AskedPiece& piece, const ArrayShape& shape,
                           JsonText& head) {
  constexpr size_t MOST = 16;
  std::map<std::tuple<bool, uint32_t, uint32_t>, uint64_t> traffic;  // to, row, column
  const bool exchanges = piece.kind != AskedPiece::SWITCH && piece.kind != AskedPiece::LINK;
  if (exchanges) {
    AskedFilter filter;
    NarrowTo(piece, shape, filter);
    filter.events.fires = filter.events.switches = false;
    const Region region = *filter.events.region;
    const Level level = LevelOf(piece);
    MaybeRefusal refusal =
        WalkEvents(asking, filter, 0, false, [&](const Selection& found, size_t i) {
          const Place from = found.columns->at[found.rows[i]];
          const Place to = found.columns->to[found.rows[i]];
          const bool sends = region.Has(from);
          const Place other = sends ? to : from;
          if (shape.HasElement(other) && region.Has(from) != region.Has(to)) {
            const Place unit = UnitOf(shape, level, other);
            ++traffic[{sends, unit.row, unit.column}];
          }
          return true;
        });
    if (refusal) {
      return refusal;
    }
  }
  std::vector<Neighbour> neighbours;
  for (const auto& [key, messages] : traffic) {
    neighbours.push_back({std::get<0>(key), {std::get<2>(key), std::get<1>(key)}, messages});
  }
  std::stable_sort(neighbours.begin(), neighbours.end(),
                   [](const Neighbour& a, const Neighbour& b) { return a.messages > b.messages; });
  head.Key("neighbours").Array();
  for (size_t i = 0; i < std::min(MOST, neighbours.size()); ++i) {
    head.Object();
    head.Key("direction").Text(neighbours[i].isReceiver ? "to" : "from");
    head.Key("place").At(neighbours[i].at);
    head.Key("messages").Number(neighbours[i].messages).End();
  }
  head.End();
  return std::nullopt;
}

std::string NameOf(const Asking& asking, const AskedPiece& piece) {
  const About* const about = asking.view.Beside().GetAbout();
  if (about == nullptr || piece.kind != AskedPiece::PE) {
    return "";
  }
  const auto name = about->places.find(piece.at);
  return name != about->places.end() ? name->second : "";
}

std::string Lower(std::string text) {
  for (char& character : text) {
    character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
  }
  return text;
}

// Names in which a text stands, in whatever letters.
class NameSearch {
 public:
  NameSearch(const std::string& text, uint64_t most) : text(Lower(text)), most(most) {}

  bool Finds(const std::string& name) const { return Lower(name).find(text) != std::string::npos; }
  bool IsFull() const { return found >= most; }
  void Take() { ++found; }

 private:
  const std::string text;
  const uint64_t most;
  uint64_t found = 0;
};

void SearchPlaces(const Asking& asking, const std::string& text, uint64_t most, JsonText& head) {
  NameSearch search(text, most);
  head.Key("places").Array();
  const About* const about = asking.view.Beside().GetAbout();
  for (const auto& [at, name] : about != nullptr ? about->places : decltype(about->places)()) {
    if (!search.IsFull() && search.Finds(name)) {
      head.Object().Key("at").At(at).Key("name").Text(name).End();
      search.Take();
    }
  }
  head.End();
}

void SearchThreads(const Asking& asking, const std::string& text, uint64_t most, JsonText& head) {
  NameSearch search(text, most);
  head.Key("threads").Array();
  const About* const about = asking.view.Beside().GetAbout();
  for (const auto& [thread, records] : asking.GetSummary().threads) {
    const auto told =
        about != nullptr ? about->threads.find(thread) : decltype(about->threads.end())();
    const std::string name =
        about != nullptr && told != about->threads.end() ? told->second.name : "";
    if (!search.IsFull() &&
        (std::to_string(thread) == text || (!name.empty() && search.Finds(name)))) {
      head.Object().Key("thread").Number(thread);
      head.Key("name").Text(name);
      head.Key("records").Number(records).End();
      search.Take();
    }
  }
  head.End();
}

void SearchKinds(const Asking& asking, const std::string& text, uint64_t most, JsonText& head) {
  NameSearch search(text, most);
  head.Key("kinds").Array();
  const NotesFile* const notes = asking.view.Beside().Notes();
  const std::optional<uint32_t> kind =
      notes != nullptr ? notes->Declarations().Attribute(KIND_ATTRIBUTE) : std::nullopt;
  if (kind) {
    for (const auto& [value, name] : notes->Declarations().attributes[*kind].names) {
      if (!search.IsFull() && search.Finds(name)) {
        head.Object().Key("value").Wide(value).Key("name").Text(name).End();
        search.Take();
      }
    }
  }
  head.End();
}

}  // namespace

MaybeRefusal AnswerPiece(Asking& asking, AnswerBytes& answer) {
  const ArrayShape shape = TakeShape(asking);
  const AskedPiece piece = TakePiece(asking, shape);
  const AskedMoment asked = TakeMoment(asking.members);
  if (MaybeRefusal refusal = asking.Check()) {
    return refusal;
  }
  const Result<Moment> moment = FindMoment(asking, asked);
  const Result<Spot> spot =
      moment ? FindSpot(asking, {std::nullopt, *moment}) : Result<Spot>(moment.Why());
  if (!spot) {
    return RefusalOf(spot.Why());
  }
  JsonText& head = answer.Head();
  head.Key("name").Text(NameOf(asking, piece));
  if (MaybeRefusal refusal = PutTouched(asking, piece, shape, *moment, *spot, head)) {
    return refusal;
  }
  if (MaybeRefusal refusal = PutWhole(asking, piece, shape, head)) {
    return refusal;
  }
  if (MaybeRefusal refusal = PutAround(asking, piece, shape, *spot, head)) {
    return refusal;
  }
  return PutNeighbours(asking, piece, shape, head);
}

MaybeRefusal AnswerSearch(Asking& asking, AnswerBytes& answer) {
  const std::string text = asking.members.Text("text");
  const uint64_t most = asking.members.NumberUpTo("most", MOST_FOUND, 20);
  if (asking.members.Has("shape")) {
    static_cast<void>(TakeShape(asking));
  }
  if (MaybeRefusal refusal = asking.Check()) {
    return refusal;
  }
  SearchPlaces(asking, text, most, answer.Head());
  SearchThreads(asking, text, most, answer.Head());
  SearchKinds(asking, text, most, answer.Head());
  return std::nullopt;
}

}  // namespace marrowfin
