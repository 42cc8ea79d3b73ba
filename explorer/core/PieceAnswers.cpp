// What a piece of the array shows and why.

#include <algorithm>
#include <vector>

#include "explorer/core/Answers.h"
#include "explorer/core/AskedFilter.h"
#include "explorer/core/EventNotes.h"
#include "explorer/core/PieceInRun.h"
#include "explorer/core/Spot.h"

namespace marrowfin {
namespace {

void PutTotals(const PieceTotals& totals, JsonText& head) {
  head.Key("fires").Real(totals.fires);
  head.Key("sends").Real(totals.sends);
  head.Key("receives").Real(totals.receives);
  head.Key("transmissions").Real(totals.transmissions);
}

void PutWhole(const PieceInRun& whole, JsonText& head) {
  head.Key("whole").Object();
  PutTotals(whole.totals, head);
  head.Key("average").Object();
  PutTotals(whole.average, head);
  head.End().End();
}

void PutNeighbours(const PieceInRun& whole, JsonText& head) {
  head.Key("neighbours").Array();
  for (const PieceNeighbour& neighbour : whole.neighbours) {
    head.Object();
    head.Key("direction").Text(neighbour.isReceiver ? "to" : "from");
    head.Key("place").At(neighbour.at);
    head.Key("messages").Number(neighbour.messages).End();
  }
  head.End();
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
  const Result<ToldNotes> notes = ToldNotes::Of(asking, {*event});
  if (!notes) {
    return RefusalOf(notes.Why());
  }
  notes->Put(0, head);
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
  const Result<ToldNotes> notes = ToldNotes::Of(asking, before);
  if (!notes) {
    return RefusalOf(notes.Why());
  }
  const Region region = RegionOf(piece, shape);
  head.Key("around").Array();
  for (size_t i = 0; i < before.size(); ++i) {
    PutEvent(before[i], head).Key("what").Text(WhatOf(before[i], region));
    notes->Put(i, head);
    head.End();
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
  const auto whole = PieceInRunOf(asking, {piece, shape});
  if (!whole) {
    return RefusalOf(whole.Why());
  }
  PutWhole(**whole, head);
  if (MaybeRefusal refusal = PutAround(asking, piece, shape, *spot, head)) {
    return refusal;
  }
  PutNeighbours(**whole, head);
  return std::nullopt;
}

}  // namespace marrowfin
