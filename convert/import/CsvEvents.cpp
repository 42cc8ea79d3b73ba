#include "convert/import/CsvEvents.h"

#include <algorithm>

#include "convert/import/CsvRows.h"
#include "convert/import/FoundNotes.h"
#include "convert/import/LineNumbers.h"
#include "convert/import/NamedEvent.h"
#include "convert/import/Refusal.h"
#include "trace/base/Utf8.h"

namespace marrowfin {
namespace {

class CsvStream : public EventStream {
 public:
  CsvStream(InputBytes& input, const StreamOptions& options)
      : input(input), options(options), rows(input) {}

  Fault Begin(NotesWriter* writer) override;
  Result<bool> Next(StreamEvent& event, uint64_t record) override;
  void Describe(About& about) const override { found.Describe(about); }
  uint64_t NotesLeftOut() const override { return notes.LeftOut(); }

 private:
  Fault TakeTitles();
  NamedEvent TakeParts() const;
  void TakeNames(const StreamEvent& event);
  void TakeNotes(uint64_t record, StreamEvent& event);

  InputBytes& input;
  const StreamOptions options;
  CsvRows rows;
  EventPartNames names;
  std::vector<EventPart> parts;     // of the columns; EVENT_PARTS for what is noted
  std::vector<std::string> titles;  // of the columns
  std::vector<std::string> row;
  FoundNotes notes;
  FoundNames found;
};

Fault CsvStream::Begin(NotesWriter* writer) {
  notes = FoundNotes(writer, options.renumbered);
  if (Fault fault = names.Take(options, input.Name())) {
    return fault;
  }
  return TakeTitles();
}

Fault CsvStream::TakeTitles() {
  if (!rows.Next(titles)) {
    return rows.GetFault() ? rows.GetFault()
                           : Refusal(input.Name(), "there is no line of names",
                                     "name the columns in the first line");
  }
  constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";
  if (titles[0].starts_with(BYTE_ORDER_MARK)) {
    titles[0].erase(0, BYTE_ORDER_MARK.size());
  }
  for (size_t column = 0; column < titles.size(); ++column) {
    titles[column] = AsUtf8(titles[column]);
    const auto before = titles.begin() + static_cast<std::ptrdiff_t>(column);
    if (std::find(titles.begin(), before, titles[column]) != before) {
      return Refusal(input.Name(), "two columns are called \"" + titles[column] + "\"",
                     "call one of them something else");
    }
    parts.push_back(names.PartOf(titles[column]));
  }
  for (const EventPart needed : {PART_CYCLE, PART_COLUMN, PART_ROW}) {
    if (std::find(parts.begin(), parts.end(), needed) == parts.end()) {
      return Refusal(input.Name(), "no column is called \"" + names.NameOf(needed) + "\"",
                     "say what it is called with --map, as in cycle=time,column=x");
    }
  }
  return {};
}

Result<bool> CsvStream::Next(StreamEvent& event, uint64_t record) {
  while (rows.Next(row)) {
    ++counts.read;
    SkipReason reason = SKIP_ODD_VALUE;
    std::string wrong = TakeParts().Finish(names, event, reason);
    if (row.size() > titles.size()) {
      wrong = "more fields than there are names";
      reason = SKIP_ODD_VALUE;
    }
    if (wrong.empty()) {
      TakeNames(event);
      TakeNotes(record, event);
      return true;
    }
    if (Fault fault = Skip(options, input, reason, "line " + std::to_string(rows.Line()), wrong)) {
      return fault;
    }
  }
  if (Fault fault = rows.GetFault() ? rows.GetFault() : WhyNothing()) {
    return fault;
  }
  return false;
}

NamedEvent CsvStream::TakeParts() const {
  NamedEvent event;
  for (size_t column = 0; column < std::min(row.size(), parts.size()); ++column) {
    const EventPart part = parts[column];
    if (part == PART_TYPE) {
      event.type = row[column];
    } else if (part <= PART_TO_ROW && !row[column].empty()) {
      event.numbers[part] = WholeNumber<uint64_t>(row[column]);
      event.odd[part] = !event.numbers[part];
    }
  }
  return event;
}

void CsvStream::TakeNames(const StreamEvent& event) {
  for (size_t column = 0; column < std::min(row.size(), parts.size()); ++column) {
    if (parts[column] == PART_THREAD_NAME) {
      found.AddThread(event.thread, row[column]);
    } else if (parts[column] == PART_PLACE && event.type != SWITCH_RECORD) {
      found.AddPlace(event.at, row[column]);
    } else if (parts[column] == PART_TO_PLACE && event.type == SEND_RECORD) {
      found.AddPlace(event.to, row[column]);
    }
  }
}

void CsvStream::TakeNotes(uint64_t record, StreamEvent& event) {
  for (size_t column = 0; column < std::min(row.size(), parts.size()); ++column) {
    if (parts[column] == EVENT_PARTS) {
      notes.AddText(titles[column], row[column], record, event);
    }
  }
}

}  // namespace

std::unique_ptr<EventStream> OpenCsvEvents(InputBytes& input, const StreamOptions& options) {
  return std::make_unique<CsvStream>(input, options);
}

}  // namespace marrowfin
