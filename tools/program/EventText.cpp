#include "tools/program/EventText.h"

#include <algorithm>

#include "convert/export/EventWords.h"
#include "trace/ask/NoteCondition.h"
#include "trace/base/Record.h"

namespace marrowfin {

namespace {

constexpr char BETWEEN[] = "  ";

size_t Digits(uint64_t number) { return std::to_string(number).size(); }

uint32_t LargestThread(const Summary& summary) {
  if (summary.otherThreads > 0) {
    return ~uint32_t{0};
  }
  return summary.threads.empty() ? 0 : summary.threads.rbegin()->first;
}

size_t LongestName(const About& about) {
  size_t longest = 0;
  for (const auto& [unused, thread] : about.threads) {
    longest = std::max(longest, thread.name.size());
  }
  return longest;
}

size_t LongestName(const NoteAttribute& attribute) {
  size_t longest = 0;
  for (const auto& [unused, name] : attribute.names) {
    longest = std::max(longest, name.size());
  }
  return longest;
}

}  // namespace

EventText::EventText(const EventNaming& naming)
    : naming(naming), namesThreads(HasThreadNames(naming)) {
  const Summary& s = naming.summary;
  AddColumn("record", Digits(s.records > 0 ? s.records - 1 : 0), false);
  AddColumn("cycle", Digits(s.maxCycle), false);
  AddColumn("thread", Digits(LargestThread(s)), false);
  if (namesThreads) {
    AddColumn("named", LongestName(*naming.about), true);
  }
  firstNote = columns.size();
  for (const NoteAttribute& attribute : Attributes(naming)) {
    const bool isCycle = attribute.type == NoteType::CYCLE;
    AddColumn(OnOneLine(attribute.name), isCycle ? Digits(s.maxCycle) : LongestName(attribute),
              attribute.type == NoteType::NAME);
  }
}

void EventText::AddColumn(const std::string& title, size_t width, bool leftwards) {
  columns.push_back({title, std::max(title.size(), width), leftwards});
}

void EventText::Put(const Column& column, const std::string& text, std::string& out) const {
  const size_t blanks = column.width - std::min(column.width, text.size());
  out.append(column.leftwards ? 0 : blanks, ' ');
  out += text;
  out.append(column.leftwards ? blanks : 0, ' ');
  out += BETWEEN;
}

void EventText::Meet(const NotedSelection& next) {
  const auto attributes = Attributes(naming);
  for (size_t a = 0; a < attributes.size(); ++a) {
    size_t& width = columns[firstNote + a].width;
    for (size_t i = 0; i < next.found.Size(); ++i) {
      width = std::max(width, ValueOf(attributes[a], *next.notes[a], i).size());
    }
  }
}

void EventText::Begin(std::string& out) {
  for (const Column& column : columns) {
    Put(column, column.title, out);
  }
  out += "event\n";
}

void EventText::Add(const NotedSelection& from, size_t i, std::string& out) {
  const TraceEvent event = from.found.Event(i);
  size_t column = 0;
  for (const uint64_t number : {event.record, event.cycle, uint64_t{event.thread}}) {
    cell.clear();
    AppendNumber(number, cell);
    Put(columns[column++], cell, out);
  }
  if (namesThreads) {
    const std::string* const name = NameOfThread(naming, event.thread);
    Put(columns[column++], name != nullptr ? OnOneLine(*name) : "-", out);
  }
  const auto attributes = Attributes(naming);
  for (size_t a = 0; a < attributes.size(); ++a) {
    Put(columns[column++], ValueOf(attributes[a], *from.notes[a], i), out);
  }
  AppendEvent(naming, event, out);
  out += '\n';
}

void EventText::Count(uint64_t events, std::string& out) {
  AppendNumber(events, out);
  out += '\n';
}

// What is not noted is a dash, so that whoever splits lines at blanks finds every column.
std::string EventText::ValueOf(const NoteAttribute& attribute, const NoteValues& values,
                               size_t i) const {
  std::string text;
  for (const uint64_t value : values.All(i)) {
    text += (text.empty() ? "" : ",") + OnOneLine(NoteValueText(attribute, value));
  }
  return text.empty() ? "-" : text;
}

}  // namespace marrowfin
