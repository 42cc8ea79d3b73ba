#include "convert/export/EventJsonLines.h"

#include "convert/export/EventChars.h"
#include "convert/export/EventWords.h"
#include "convert/export/JsonWords.h"
#include "trace/base/Record.h"
#include "trace/base/TypeNames.h"

namespace marrowfin {

namespace {

void AppendKey(const char* key, std::string& out) {
  out += ",\"";
  out += key;
  out += "\":";
}

void AddPlace(const char* key, Place place, std::string& out) {
  AppendKey(key, out);
  out += '[';
  AppendPlace(place, ",", out);
  out += ']';
}

void AddName(const char* key, const std::string* name, std::string& out) {
  if (name != nullptr) {
    AppendKey(key, out);
    AppendJsonText(*name, out);
  }
}

}  // namespace

EventJsonLines::EventJsonLines(const EventNaming& naming)
    : naming(naming),
      isPlain(!HasThreadNames(naming) && !HasPlaceNames(naming) && naming.notes == nullptr) {}

void EventJsonLines::Add(const NotedSelection& from, size_t i, std::string& out) {
  const TraceEvent event = from.found.Event(i);
  const bool isSend = event.type == SEND_RECORD;
  out += "{\"record\":";
  AppendNumber(event.record, out);
  AppendKey("cycle", out);
  AppendNumber(event.cycle, out);
  AppendKey("thread", out);
  AppendNumber(event.thread, out);
  AddName("threadName", NameOfThread(naming, event.thread), out);
  AppendKey("type", out);
  out += '"';
  out += RecordTypeName(event.type);
  out += '"';
  AddPlace(isSend ? "from" : "at", event.at, out);
  if (event.type != SWITCH_RECORD) {
    AddName(isSend ? "fromPlace" : "place", NameOfPlace(naming, event.at), out);
  }
  if (isSend) {
    AddPlace("to", event.to, out);
    AddName("toPlace", NameOfPlace(naming, event.to), out);
  }
  if (const std::optional<Place> cluster = ClusterOf(naming, event)) {
    AddPlace("cluster", *cluster, out);
  }
  if (naming.notes != nullptr) {
    AppendKey("notes", out);
    AppendJsonNotes(naming, from, i, out);
  }
  out += "}\n";
}

void EventJsonLines::AddFirst(const NotedSelection& from, size_t size, std::string& out) {
  if (!isPlain) {
    EventLines::AddFirst(from, size, out);
    return;
  }
  constexpr size_t LONGEST_LINE = 9 * EventChars::LONGEST_NUMBER + 80;
  EventChars chars(out, size * LONGEST_LINE);
  const auto place = [&](Place at) {
    chars.Number(at.column);
    chars.Put(',');
    chars.Number(at.row);
    chars.Put(']');
  };
  for (size_t i = 0; i < size; ++i) {
    const TraceEvent event = from.found.Event(i);
    chars.Put("{\"record\":");
    chars.Number(event.record);
    chars.Put(",\"cycle\":");
    chars.Repeated(event.cycle, lastCycle, lastCycleText);
    chars.Put(",\"thread\":");
    chars.Number(event.thread);
    if (event.type == SEND_RECORD) {
      chars.Put(",\"type\":\"send\",\"from\":[");
      place(event.at);
      chars.Put(",\"to\":[");
      place(event.to);
      chars.Put("}\n");
      continue;
    }
    if (event.type == FIRE_RECORD) {
      chars.Put(",\"type\":\"fire\",\"at\":[");
      place(event.at);
    } else {
      chars.Put(",\"type\":\"switch\",\"at\":[");
      place(event.at);
      if (const std::optional<Place> cluster = ClusterOf(naming, event)) {
        chars.Put(",\"cluster\":[");
        place(*cluster);
      }
    }
    chars.Put("}\n");
  }
}

void EventJsonLines::Count(uint64_t events, std::string& out) {
  out += "{\"events\":";
  AppendNumber(events, out);
  out += "}\n";
}

}  // namespace marrowfin
