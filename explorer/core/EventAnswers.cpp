// Lists of events, how many there are, and the next one of a piece.

#include <algorithm>
#include <bit>
#include <memory>
#include <string>
#include <utility>

#include "explorer/core/Answers.h"
#include "explorer/core/AskedFilter.h"
#include "explorer/core/EventNotes.h"

namespace marrowfin {
namespace {

// Columns of events, in order of the trace.
class EventColumns {
 public:
  void Add(const Selection& found, size_t i) { events.push_back(found.Event(i)); }

  size_t Size() const { return events.size(); }
  const TraceEvent& Last() const { return events.back(); }
  void DropLast() { events.pop_back(); }
  void TurnRound() { std::reverse(events.begin(), events.end()); }
  const std::vector<TraceEvent>& Events() const { return events; }

  void Put(AnswerBytes& answer) const {
    answer.Column("record",
                  Each<double>([](const TraceEvent& e) { return static_cast<double>(e.record); }));
    answer.Column("cycle", Each<uint64_t>([](const TraceEvent& e) { return e.cycle; }));
    answer.Column("thread", Each<uint32_t>([](const TraceEvent& e) { return e.thread; }));
    answer.Column("type",
                  Each<uint8_t>([](const TraceEvent& e) { return static_cast<uint8_t>(e.type); }));
    answer.Column("at", Each<Place>([](const TraceEvent& e) { return e.at; }));
    answer.Column("to", Each<Place>([](const TraceEvent& e) { return e.to; }));
  }

 private:
  template <class T, class Field>
  std::vector<T> Each(Field field) const {
    std::vector<T> values;
    values.reserve(events.size());
    for (const TraceEvent& event : events) {
      values.push_back(field(event));
    }
    return values;
  }

  std::vector<TraceEvent> events;
};

MaybeRefusal PutNotes(const Asking& asking, const std::vector<TraceEvent>& events,
                      AnswerBytes& answer) {
  const Result<LentNotes::Lease> notes = asking.view.Notes(asking.progress);
  if (!notes || !*notes) {
    return RefusalIf(notes.Why());
  }
  const Result<std::vector<EventNotes>> columns = NotesOf(asking, **notes, events);
  if (!columns) {
    return RefusalOf(columns.Why());
  }
  const std::vector<NoteAttribute>& attributes = (*notes)->notes.Declarations().attributes;
  for (size_t i = 0; i < attributes.size(); ++i) {
    const std::vector<uint64_t>& values = (*columns)[i].values;
    if (attributes[i].type == NoteType::REAL) {
      std::vector<double> reals;
      for (const uint64_t bits : values) {
        reals.push_back(std::bit_cast<double>(bits));
      }
      answer.Column("note." + attributes[i].name, reals);
    } else {
      answer.Column("note." + attributes[i].name, values);
    }
    answer.Column("has." + attributes[i].name, (*columns)[i].has);
  }
  return std::nullopt;
}

void PutOrNull(const char* name, const std::optional<uint64_t>& value, JsonText& head) {
  head.Key(name);
  if (value) {
    head.Number(*value);
  } else {
    head.Null();
  }
}

// The record from which a list begins: the one that was asked for, or that of the n-th event.
struct ListStart {
  uint64_t record = 0;
  MaybeRefusal refusal;
};

ListStart StartOf(const Asking& asking, const AskedFilter& filter, uint64_t from,
                  const std::optional<uint64_t>& nth) {
  if (!nth) {
    return {from, {}};
  }
  const CountAnswer counted = CountEvents(asking, filter, {{}, nth});
  return {counted.counts.nth.value_or(asking.GetSummary().records), counted.refusal};
}

}  // namespace

MaybeRefusal AnswerEvents(Asking& asking, AnswerBytes& answer) {
  constexpr uint64_t MOST_EVENTS = 2000;
  const ArrayShape shape = TakeShape(asking);
  const AskedFilter filter = TakeFilter(asking, shape);
  std::optional<uint64_t> nth;
  if (asking.members.Has("nth")) {
    nth = asking.members.Number("nth");
  }
  const uint64_t from =
      asking.members.Number("from", nth ? std::optional<uint64_t>(0) : std::nullopt);
  const uint64_t count = asking.members.NumberUpTo("count", MOST_EVENTS);
  const bool back = asking.members.Flag("back");
  const bool withNotes = asking.members.Flag("notes");
  if (MaybeRefusal refusal = asking.Check()) {
    return refusal;
  }
  const ListStart start = StartOf(asking, filter, from, nth);
  if (start.refusal) {
    return start.refusal;
  }
  EventColumns events;
  const MaybeRefusal refusal =
      WalkEvents(asking, filter, start.record, back, [&](const Selection& found, size_t i) {
        events.Add(found, i);
        return events.Size() <= count;
      });
  if (refusal) {
    return refusal;
  }
  // One more than was asked for tells whether there are more.
  std::optional<uint64_t> next;
  if (events.Size() > count) {
    next = back ? events.Last().record + 1 : events.Last().record;
    events.DropLast();
  }
  if (back) {
    events.TurnRound();
  }
  answer.Head().Key("more").Flag(next.has_value());
  PutOrNull("next", next, answer.Head());
  events.Put(answer);
  return withNotes ? PutNotes(asking, events.Events(), answer) : std::nullopt;
}

MaybeRefusal AnswerCount(Asking& asking, AnswerBytes& answer) {
  const ArrayShape shape = TakeShape(asking);
  const AskedFilter filter = TakeFilter(asking, shape);
  CountQuestion question;
  if (asking.members.Has("before")) {
    question.before = asking.members.Number("before");
  }
  if (asking.members.Has("nth")) {
    question.nth = asking.members.Number("nth");
  }
  if (MaybeRefusal refusal = asking.Check()) {
    return refusal;
  }
  const CountAnswer counted = CountEvents(asking, filter, question);
  if (counted.refusal) {
    return counted.refusal;
  }
  JsonText& head = answer.Head();
  head.Key("count").Number(counted.counts.count);
  head.Key("exact").Flag(true);
  if (question.before) {
    PutOrNull("before", counted.counts.before, head);
  }
  if (question.nth) {
    PutOrNull("record", counted.counts.nth, head);
  }
  return std::nullopt;
}

MaybeRefusal AnswerNext(Asking& asking, AnswerBytes& answer) {
  const ArrayShape shape = TakeShape(asking);
  AskedFilter filter = TakeFilter(asking, shape);
  const AskedPiece piece = TakePiece(asking, shape);
  if (filter.events.region || filter.HasEnds()) {
    asking.members.Refuse("`filter` has a place beside `piece`", "leave one of them out");
  }
  const uint64_t record = asking.members.Number("record");
  const bool back = asking.members.Flag("back");
  if (MaybeRefusal refusal = asking.Check()) {
    return refusal;
  }
  NarrowTo(piece, shape, filter);
  std::optional<TraceEvent> event;
  const MaybeRefusal refusal =
      WalkEvents(asking, filter, record, back, [&](const Selection& found, size_t i) {
        event = found.Event(i);
        return false;
      });
  if (refusal) {
    return refusal;
  }
  answer.Head().Key("event");
  if (event) {
    PutEvent(*event, answer.Head()).End();
  } else {
    answer.Head().Null();
  }
  return std::nullopt;
}

}  // namespace marrowfin
