#include "tools/program/EventLines.h"

#include <algorithm>
#include <charconv>

#include "trace/base/Record.h"

namespace marrowfin {

namespace {

void Append(uint64_t number, std::string& out) {
  char digits[20];
  const auto end = std::to_chars(digits, digits + sizeof(digits), number).ptr;
  out.append(digits, end);
}

// Two numbers of a place.
void Append(Place place, const char* between, std::string& out) {
  Append(place.column, out);
  out += between;
  Append(place.row, out);
}

size_t Digits(uint64_t number) {
  size_t digits = 1;
  for (; number > 9; number /= 10) {
    ++digits;
  }
  return digits;
}

const char* TypeName(uint32_t type) {
  return type == FIRE_RECORD ? "fire" : type == SEND_RECORD ? "send" : "switch";
}

// The cluster whose switch transmitted, where that is known.
std::optional<Place> ClusterOf(const EventNaming& naming, const TraceEvent& event) {
  const bool known =
      event.type == SWITCH_RECORD && naming.shape && naming.shape->HasSwitch(event.at);
  return known ? std::optional(naming.shape->ClusterOfSwitch(event.at)) : std::nullopt;
}

// Columns of numbers, as wide as any number of the trace may be, and the event in words.
class TextLines : public EventLines {
 public:
  explicit TextLines(const EventNaming& naming) : naming(naming) {
    const Summary& s = naming.summary;
    const uint32_t thread =
        s.otherThreads > 0 || s.threads.empty() ? ~uint32_t{0} : s.threads.rbegin()->first;
    widths[0] = Width("record", s.records > 0 ? s.records - 1 : 0);
    widths[1] = Width("cycle", s.maxCycle);
    widths[2] = Width("thread", s.otherThreads > 0 || !s.threads.empty() ? thread : 0);
  }

  void Begin(std::string& out) override {
    AddWord("record", widths[0], out);
    out += "  ";
    AddWord("cycle", widths[1], out);
    out += "  ";
    AddWord("thread", widths[2], out);
    out += "  event\n";
  }

  void Add(const TraceEvent& event, std::string& out) override {
    AddNumber(event.record, widths[0], out);
    out += "  ";
    AddNumber(event.cycle, widths[1], out);
    out += "  ";
    AddNumber(event.thread, widths[2], out);
    out += "  ";
    AddWords(event, out);
    out += '\n';
  }

  void Count(uint64_t events, std::string& out) override {
    Append(events, out);
    out += '\n';
  }

 private:
  static size_t Width(const std::string& title, uint64_t largest) {
    return std::max(title.size(), Digits(largest));
  }

  static void AddWord(const std::string& word, size_t width, std::string& out) {
    out.append(width - word.size(), ' ');
    out += word;
  }

  static void AddNumber(uint64_t number, size_t width, std::string& out) {
    out.append(width - std::min(width, Digits(number)), ' ');
    Append(number, out);
  }

  void AddWords(const TraceEvent& event, std::string& out) const {
    if (event.type == SEND_RECORD) {
      out += "message ";
      Append(event.at, " ", out);
      out += " to ";
      Append(event.to, " ", out);
      return;
    }
    if (const std::optional<Place> cluster = ClusterOf(naming, event)) {
      out += "switch of cluster ";
      Append(*cluster, " ", out);
      out += " at ";
    } else {
      out += event.type == FIRE_RECORD ? "element " : "switch at ";
    }
    Append(event.at, " ", out);
  }

  const EventNaming& naming;
  size_t widths[3];
};

class CsvLines : public EventLines {
 public:
  void Begin(std::string& out) override {
    out += "record,cycle,thread,type,column,row,toColumn,toRow\n";
  }

  void Add(const TraceEvent& event, std::string& out) override {
    Append(event.record, out);
    out += ',';
    Append(event.cycle, out);
    out += ',';
    Append(event.thread, out);
    out += ',';
    out += TypeName(event.type);
    out += ',';
    Append(event.at, ",", out);
    out += ',';
    if (event.type == SEND_RECORD) {
      Append(event.to, ",", out);
    } else {
      out += ',';
    }
    out += '\n';
  }

  void Count(uint64_t events, std::string& out) override {
    out += "events\n";
    Append(events, out);
    out += '\n';
  }
};

// An object a line.
class JsonLines : public EventLines {
 public:
  explicit JsonLines(const EventNaming& naming) : naming(naming) {}

  void Begin(std::string&) override {}

  void Add(const TraceEvent& event, std::string& out) override {
    out += "{\"record\":";
    Append(event.record, out);
    out += ",\"cycle\":";
    Append(event.cycle, out);
    out += ",\"thread\":";
    Append(event.thread, out);
    out += ",\"type\":\"";
    out += TypeName(event.type);
    out += '"';
    AddPlace(event.type == SEND_RECORD ? "from" : "at", event.at, out);
    if (event.type == SEND_RECORD) {
      AddPlace("to", event.to, out);
    }
    if (const std::optional<Place> cluster = ClusterOf(naming, event)) {
      AddPlace("cluster", *cluster, out);
    }
    out += "}\n";
  }

  void Count(uint64_t events, std::string& out) override {
    out += "{\"events\":";
    Append(events, out);
    out += "}\n";
  }

 private:
  static void AddPlace(const char* name, Place place, std::string& out) {
    out += ",\"";
    out += name;
    out += "\":[";
    Append(place, ",", out);
    out += ']';
  }

  const EventNaming& naming;
};

}  // namespace

std::unique_ptr<EventLines> MakeEventLines(EventFormat format, const EventNaming& naming) {
  switch (format) {
    case EventFormat::CSV:
      return std::make_unique<CsvLines>();
    case EventFormat::JSON_LINES:
      return std::make_unique<JsonLines>(naming);
    case EventFormat::TEXT:
      break;
  }
  return std::make_unique<TextLines>(naming);
}

}  // namespace marrowfin
