#include "sql/EventColumns.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string>

#include "trace/base/NotesFormat.h"

namespace marrowfin {

namespace {

struct FieldWords {
  const char* name;
  const char* meaning;
  const char* type = "INTEGER";
};

constexpr std::array<FieldWords, EVENT_FIELDS> WORDS = {{
    {"record", "number of the record, from 0"},
    {"cycle", "when it happened"},
    {"step", "step of the viewer that takes it up"},
    {"type", "fire, send or switch", "TEXT"},
    {"thread", "its thread"},
    {"col", "where it fired or transmitted, or the sender"},
    {"row", "the same"},
    {"to_col", "the receiver of a message"},
    {"to_row", "the same"},
    {"cluster_col", "the cluster of that place"},
    {"cluster_row", "the same"},
    {"domain_col", "the domain of that place, over the whole array"},
    {"domain_row", "the same"},
    {"to_cluster_col", "the cluster of the receiver"},
    {"to_cluster_row", "the same"},
    {"to_domain_col", "the domain of the receiver"},
    {"to_domain_row", "the same"},
    {"distance", "columns and rows from sender to receiver"},
}};

bool HasField(EventSet set, EventField field) {
  const bool ofSends = field >= EventField::TO_CLUSTER_COL && field <= EventField::DISTANCE;
  const bool ofReceiver = field == EventField::TO_COL || field == EventField::TO_ROW;
  const bool ofDomain = field == EventField::DOMAIN_COL || field == EventField::DOMAIN_ROW;
  switch (set) {
    case EventSet::EVENTS:
      return !ofSends;
    case EventSet::SENDS:
      return field != EventField::TYPE;
    case EventSet::FIRES:
      return field != EventField::TYPE && !ofSends && !ofReceiver;
    default:
      return field != EventField::TYPE && !ofSends && !ofReceiver && !ofDomain;
  }
}

const char* TypeOf(NoteType type) {
  return type == NoteType::REAL                                ? "REAL"
         : type == NoteType::NAME || type == NoteType::RECORDS ? "TEXT"
                                                               : "INTEGER";
}

std::string LowerCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

}  // namespace

EventColumns::EventColumns(EventSet set, const SqlTrace* trace) : set(set) {
  for (size_t field = 0; field < EVENT_FIELDS; ++field) {
    if (HasField(set, static_cast<EventField>(field))) {
      Add(static_cast<EventField>(field));
    }
  }
  if (trace != nullptr) {
    AddNotes(*trace);
  }
}

void EventColumns::Add(EventField field) {
  const FieldWords& words = WORDS[static_cast<size_t>(field)];
  columns.push_back({words.name, words.type, words.meaning});
  fields.push_back(field);
}

// SQL does not tell names apart by their case.
void EventColumns::AddNotes(const SqlTrace& trace) {
  if (trace.companion.Notes() == nullptr) {
    return;
  }
  for (const NoteAttribute& attribute : trace.companion.Notes()->Declarations().attributes) {
    std::string name = attribute.name;
    while (std::any_of(columns.begin(), columns.end(), [&](const SqlColumn& column) {
      return LowerCase(column.name) == LowerCase(name);
    })) {
      name += "_note";
    }
    const std::string unit = attribute.unit.empty() ? "" : ", in " + attribute.unit;
    columns.push_back({name, TypeOf(attribute.type), "noted of the event" + unit});
    fields.push_back(EventField::NOTE);
    types.push_back(attribute.type);
  }
}

}  // namespace marrowfin
