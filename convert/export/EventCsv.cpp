#include "convert/export/EventCsv.h"

#include <algorithm>

#include "convert/export/CsvField.h"
#include "convert/export/EventChars.h"
#include "convert/export/EventWords.h"
#include "trace/ask/NoteCondition.h"
#include "trace/base/Record.h"
#include "trace/base/TypeNames.h"

namespace marrowfin {

namespace {

constexpr const char* TITLES[] = {"record",   "cycle", "thread",     "type",  "column", "row",
                                  "toColumn", "toRow", "threadName", "place", "toPlace"};
constexpr size_t OF_EVERY_EVENT = 8;  // the rest names

void AppendName(const std::string* name, std::string& out) {
  out += ',';
  if (name != nullptr) {
    AppendCsvField(*name, out);
  }
}

std::string TitleOf(const NoteAttribute& attribute) {
  const bool taken =
      std::find(std::begin(TITLES), std::end(TITLES), attribute.name) != std::end(TITLES);
  return taken ? attribute.name + "Note" : attribute.name;
}

// Several values of one event have blanks between.
void AppendNote(const NoteAttribute& attribute, std::span<const uint64_t> values,
                std::string& out) {
  std::string text;
  for (const uint64_t value : values) {
    text += (text.empty() ? "" : " ") + NoteValueText(attribute, value);
  }
  AppendCsvField(text, out);
}

}  // namespace

EventCsv::EventCsv(const EventNaming& naming)
    : naming(naming),
      namesThreads(HasThreadNames(naming)),
      namesPlaces(HasPlaceNames(naming)),
      isPlain(!namesThreads && !namesPlaces && Attributes(naming).empty()) {}

void EventCsv::Begin(std::string& out) {
  for (size_t i = 0; i < OF_EVERY_EVENT; ++i) {
    out += i == 0 ? "" : ",";
    out += TITLES[i];
  }
  out += namesThreads ? ",threadName" : "";
  out += namesPlaces ? ",place,toPlace" : "";
  for (const NoteAttribute& attribute : Attributes(naming)) {
    out += ',';
    AppendCsvField(TitleOf(attribute), out);
  }
  out += '\n';
}

void EventCsv::Add(const NotedSelection& from, size_t i, std::string& out) {
  const TraceEvent event = from.found.Event(i);
  const bool isSend = event.type == SEND_RECORD;
  for (const uint64_t number : {event.record, event.cycle, uint64_t{event.thread}}) {
    AppendNumber(number, out);
    out += ',';
  }
  out += RecordTypeName(event.type);
  out += ',';
  AppendPlace(event.at, ",", out);
  out += ',';
  if (isSend) {
    AppendPlace(event.to, ",", out);
  } else {
    out += ',';
  }
  if (namesThreads) {
    AppendName(NameOfThread(naming, event.thread), out);
  }
  if (namesPlaces) {
    AppendName(event.type == SWITCH_RECORD ? nullptr : NameOfPlace(naming, event.at), out);
    AppendName(isSend ? NameOfPlace(naming, event.to) : nullptr, out);
  }
  const auto attributes = Attributes(naming);
  for (size_t a = 0; a < attributes.size(); ++a) {
    out += ',';
    AppendNote(attributes[a], from.notes[a]->All(i), out);
  }
  out += '\n';
}

void EventCsv::AddFirst(const NotedSelection& from, size_t size, std::string& out) {
  if (!isPlain) {
    EventLines::AddFirst(from, size, out);
    return;
  }
  constexpr size_t LONGEST_LINE = 8 * (EventChars::LONGEST_NUMBER + 1) + 8;
  EventChars chars(out, size * LONGEST_LINE);
  const Columns& columns = *from.found.columns;
  for (size_t i = 0; i < size; ++i) {
    const size_t row = from.found.rows[i];
    const Columns::Tag tag = columns.tag[row];
    chars.Number(from.found.Record(i));
    chars.Put(',');
    chars.Repeated(columns.cycle[row], lastCycle, lastCycleText);
    chars.Put(',');
    chars.Number(tag.thread);
    if (tag.type == FIRE_RECORD) {
      chars.Put(",fire,");
    } else if (tag.type == SEND_RECORD) {
      chars.Put(",send,");
    } else {
      chars.Put(",switch,");
    }
    chars.Number(columns.at[row].column);
    chars.Put(',');
    chars.Number(columns.at[row].row);
    if (tag.type != SEND_RECORD) {
      chars.Put(",,\n");
      continue;
    }
    chars.Put(',');
    chars.Number(columns.to[row].column);
    chars.Put(',');
    chars.Number(columns.to[row].row);
    chars.Put('\n');
  }
}

void EventCsv::Count(uint64_t events, std::string& out) {
  out += "events\n";
  AppendNumber(events, out);
  out += '\n';
}

}  // namespace marrowfin
