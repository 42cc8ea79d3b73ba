#include "tools/program/ShownPlaces.h"

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <utility>

#include "convert/export/EventWords.h"
#include "tools/program/ColorText.h"
#include "tools/program/Interruption.h"
#include "tools/program/Json.h"
#include "tools/program/ProgressLine.h"
#include "trace/ask/BatchCursor.h"
#include "trace/ask/LastTouches.h"
#include "trace/ask/NoteCondition.h"
#include "trace/ask/NotesOfTrace.h"
#include "trace/base/Record.h"

namespace marrowfin {

namespace {

// Gathers what is shown.
class Gatherer {
 public:
  explicit Gatherer(const PlacesQuestion& question) : question(question) {
    if (question.notes != nullptr) {
      notes = std::make_unique<NotesOfTrace>(*question.trace.file, *question.trace.index,
                                             *question.notes);
      kind = notes->Declarations().Attribute(KIND_ATTRIBUTE);
    }
  }

  Fault Gather(const ProgressCallback& progress) {
    const auto take = [this](const Piece& piece, const Selection& found, size_t i) {
      return AddPiece(piece, found, i);
    };
    if (Fault fault = FindLastTouches(*question.trace.file, *question.trace.index, question.state,
                                      question.region, question.lastCycle, take, progress)) {
      return fault;
    }
    std::sort(pieces.begin(), pieces.end(),
              [](const auto& a, const auto& b) { return a.first < b.first; });
    return AddMessages(progress);
  }

  std::vector<ShownPlace> Take() {
    std::vector<ShownPlace> all;
    for (auto& [unused, place] : pieces) {
      all.push_back(std::move(place));
    }
    std::move(messages.begin(), messages.end(), std::back_inserter(all));
    return all;
  }

  Fault Refused() const { return notes != nullptr ? notes->Refused() : Fault(); }

 private:
  // Elements come before switches.
  using Order = std::pair<bool, uint32_t>;

  Fault SetKind(const Selection& found, size_t i, ShownPlace& place) {
    if (!kind) {
      return {};
    }
    const Result<const NoteValues*> values = notes->Of(found, *kind);
    if (values && (*values)->Has(i)) {
      place.kind = NoteValueText(notes->Declarations().attributes[*kind], (*values)->Value(i));
    }
    return values.Why();
  }

  Fault AddPiece(const Piece& piece, const Selection& found, size_t i) {
    const ArrayState& s = question.state;
    ShownPlace place;
    place.event = found.Event(i);
    if (piece.isSwitch) {
      place.age = SwitchCodes::Age(s.switchCodes[piece.number]);
      place.rests = place.age == SwitchCodes::OLDEST;
      place.color = s.switches[piece.number];
    } else {
      place.age = ElementCodes::Age(s.elementCodes[piece.number]);
      place.rests = place.age == ElementCodes::OLDEST;
      place.color = s.elements[piece.number];
    }
    const Fault fault = SetKind(found, i, place);
    pieces.push_back({Order(piece.isSwitch, piece.number), std::move(place)});
    return fault;
  }

  // Messages of a state are those of its last steps: what is between the first and the last of them
  // is gone through.
  Fault AddMessages(const ProgressCallback& progress) {
    const auto& live = question.state.messages;
    if (live.empty()) {
      return {};
    }
    EventFilter filter;
    filter.firstRecord = live.front().record;
    filter.lastRecord = live.back().record + 1;
    filter.fires = false;
    filter.switches = false;
    filter.region = question.region;
    BatchCursor cursor(*question.trace.file, *question.trace.index, filter, progress);
    auto next = live.begin();
    Selection found;
    while (cursor.Next(found)) {
      for (size_t i = 0; i < found.Size(); ++i) {
        next = std::find_if(next, live.end(), [&](const LiveMessage& message) {
          return message.record >= found.Record(i);
        });
        if (next != live.end() && next->record == found.Record(i)) {
          ShownPlace place = {found.Event(i), question.state.AgeOf(*next), false,
                              question.state.ColorOf(*next), ""};
          if (Fault fault = SetKind(found, i, place)) {
            return fault;
          }
          messages.push_back(std::move(place));
        }
      }
    }
    return cursor.GetFault();
  }

  const PlacesQuestion& question;
  std::unique_ptr<NotesOfTrace> notes;
  std::optional<uint32_t> kind;  // the attribute
  std::vector<std::pair<Order, ShownPlace>> pieces;
  std::vector<ShownPlace> messages;
};

typedef std::vector<std::string> Row;

std::string AgeText(const ShownPlace& place) {
  return std::to_string(place.age) + (place.rests ? "+" : "");
}

std::string NameText(const EventNaming& naming, uint32_t thread) {
  const std::string* const name = NameOfThread(naming, thread);
  return name != nullptr ? OnOneLine(*name) : "-";
}

Row RowOf(const ShownPlace& place, const EventNaming& naming) {
  Row row = {AgeText(place), std::to_string(place.event.thread)};
  if (HasThreadNames(naming)) {
    row.push_back(NameText(naming, place.event.thread));
  }
  row.push_back(place.kind.empty() ? "-" : OnOneLine(place.kind));
  row.push_back(ColorText(place.color));
  row.push_back(std::to_string(place.event.record));
  row.push_back(std::to_string(place.event.cycle));
  row.emplace_back();
  AppendEvent(naming, place.event, row.back());
  return row;
}

// All columns stand at their right edge but for the last.
void PrintRow(const Row& row, const std::vector<size_t>& widths, std::ostream& out) {
  for (size_t i = 0; i + 1 < row.size(); ++i) {
    out << std::string(widths[i] - row[i].size(), ' ') << row[i] << "  ";
  }
  out << row.back() << "\n";
}

nlohmann::json Positions(Place place) { return {place.column, place.row}; }

nlohmann::json AsJson(const ShownPlace& place, const EventNaming& naming) {
  const TraceEvent& event = place.event;
  const bool isMessage = event.type == SEND_RECORD;
  nlohmann::json json = {{"thread", event.thread},
                         {"age", place.age},
                         {"rests", place.rests},
                         {"color", ColorText(place.color)},
                         {"record", event.record},
                         {"cycle", event.cycle},
                         {isMessage ? "from" : "at", Positions(event.at)}};
  json["piece"] = isMessage ? "message" : event.type == FIRE_RECORD ? "element" : "switch";
  if (isMessage) {
    json["to"] = Positions(event.to);
  }
  if (const std::optional<Place> cluster = ClusterOf(naming, event)) {
    json["cluster"] = Positions(*cluster);
  }
  if (!place.kind.empty()) {
    json["kind"] = place.kind;
  }
  if (const std::string* const name = NameOfThread(naming, event.thread)) {
    json["threadName"] = *name;
  }
  const std::string* const at =
      event.type == SWITCH_RECORD ? nullptr : NameOfPlace(naming, event.at);
  if (at != nullptr) {
    json[isMessage ? "fromPlace" : "place"] = *at;
  }
  const std::string* const to = isMessage ? NameOfPlace(naming, event.to) : nullptr;
  if (to != nullptr) {
    json["toPlace"] = *to;
  }
  return json;
}

}  // namespace

Result<NotedAnswer<std::vector<ShownPlace>>> FindShownPlaces(const PlacesQuestion& question) {
  const Interruption interruption;
  ProgressLine line(question.console.terminal, "going back in " + question.trace.file->Name(),
                    "M records", 1e6);
  Gatherer gatherer(question);
  const Fault fault = gatherer.Gather([&](const Progress& now) {
    line.Update(now.done, now.all);
    return !interruption.Asked();
  });
  if (fault) {
    return fault;
  }
  return NotedAnswer<std::vector<ShownPlace>>{gatherer.Take(), gatherer.Refused()};
}

void PrintPlaces(const std::vector<ShownPlace>& places, const EventNaming& naming,
                 std::ostream& out) {
  Row titles = {"age", "thread"};
  if (HasThreadNames(naming)) {
    titles.push_back("named");
  }
  titles.insert(titles.end(), {"kind", "color", "record", "cycle", "place"});
  std::vector<size_t> widths;
  for (const std::string& title : titles) {
    widths.push_back(title.size());
  }
  for (const ShownPlace& place : places) {
    const Row row = RowOf(place, naming);
    for (size_t i = 0; i < row.size(); ++i) {
      widths[i] = std::max(widths[i], row[i].size());
    }
  }
  PrintRow(titles, widths, out);
  for (const ShownPlace& place : places) {
    PrintRow(RowOf(place, naming), widths, out);
  }
}

void PrintPlacesAsJson(const std::vector<ShownPlace>& places, const EventNaming& naming,
                       std::ostream& out) {
  out << "[";
  const char* before = "";
  for (const ShownPlace& place : places) {
    std::string text = JsonText(AsJson(place, naming), -1);
    text.pop_back();
    out << before << text;
    before = ",";
  }
  out << "]";
}

}  // namespace marrowfin
