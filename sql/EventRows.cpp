#include "sql/EventRows.h"

#include <string>
#include <utility>

#include "sql/EventBounds.h"
#include "sql/NoteBounds.h"
#include "sql/NoteText.h"
#include "sql/NumberBounds.h"
#include "sql/SqlText.h"
#include "trace/base/Record.h"

namespace marrowfin {

namespace {

// A list that JSON functions take.
std::string ListText(std::span<const uint64_t> values) {
  std::string text = "[";
  for (const uint64_t value : values) {
    text += (text.size() > 1 ? "," : "") + std::to_string(value);
  }
  return text + "]";
}

uint64_t Apart(uint32_t a, uint32_t b) { return a < b ? b - a : a - b; }

}  // namespace

EventRows::~EventRows() { work.Leave(this); }

Fault EventRows::Ask(const SqlTrace& of, const SqlQuestion& question) {
  work.Leave(this);
  batches.reset();
  noted.reset();
  if (trace != &of) {
    trace = &of;
    steps.reset();
    notes.reset();
  }
  backwards = question.backwards;
  const std::optional<EventFilter> filter = EventBounds(table, question).Filter(trace->shape);
  bool isEmpty = !filter;
  std::vector<NoteCondition> conditions;
  if (table.Attributes() > 0 && trace->companion.Notes() != nullptr) {
    const NoteBounds bounds(table, trace->companion.Notes()->Declarations().attributes, question);
    isEmpty = isEmpty || bounds.IsEmpty();
    conditions = bounds.Conditions();
  }
  atEnd = true;
  return isEmpty ? Fault() : Search(*filter, conditions);
}

Fault EventRows::Search(const EventFilter& filter, const std::vector<NoteCondition>& conditions) {
  const auto progress = [this](const Progress& now) { return work.Report(this, now); };
  const uint64_t from = backwards ? ~uint64_t{0} : 0;
  if (conditions.empty()) {
    batches = std::make_unique<BatchCursor>(trace->file, trace->index, filter, progress);
    batches->Seek(from);
    return Load();
  }
  JoinNotes();
  if (Fault fault = SeekNotesIndex()) {
    return fault;
  }
  noted = std::make_unique<NotedCursor>(trace->file, trace->index, *notes,
                                        NotedFilter{filter, conditions}, progress);
  noted->Seek(from);
  return Load();
}

void EventRows::JoinNotes() {
  if (!notes) {
    notes = std::make_unique<NotesOfTrace>(trace->file, trace->index, *trace->companion.Notes());
  }
}

// Where there is none to have, notes are read, and tell themselves what is wrong.
Fault EventRows::SeekNotesIndex() {
  SqlNotes& known = *trace->notes;
  if (!known.wasSought) {
    Result<std::unique_ptr<NotesIndex>> index = NotesIndex::Open(
        trace->file, trace->index, *notes, [this](const Progress&) { return work.GoesOn(); });
    if (!index && index.Why().kind == Fault::CANCELLED) {
      return index.Why();
    }
    known.wasSought = true;
    known.index = index ? std::move(index).Take() : nullptr;
  }
  notes->Know(known.index ? &known.index->Tables() : nullptr);
  return {};
}

bool EventRows::ReadBatch() {
  if (noted) {
    return backwards ? noted->Previous(found) : noted->Next(found);
  }
  return backwards ? batches->Previous(found) : batches->Next(found);
}

Fault EventRows::Load() {
  atEnd = !ReadBatch();
  row = atEnd || !backwards ? 0 : found.Size() - 1;
  hasSteps = false;
  values.assign(table.Attributes(), nullptr);
  if (notes && notes->Refused() && !work.refused) {
    work.refused = notes->Refused();
  }
  if (!atEnd) {
    return {};
  }
  work.Leave(this);
  const Fault& fault = noted ? noted->GetFault() : batches->GetFault();
  // Notes of another trace are as if there were none.
  return noted && fault.kind == Fault::OTHER_TRACE ? Fault() : fault;
}

Fault EventRows::Next() {
  if (backwards ? row > 0 : row + 1 < found.Size()) {
    row += backwards ? -1 : 1;
    return {};
  }
  return Load();
}

sqlite3_int64 EventRows::RowNumber() const { return static_cast<sqlite3_int64>(found.Record(row)); }

Fault EventRows::Tell(size_t column, sqlite3_context* to) {
  const EventField field = table.Field(column);
  switch (field) {
    case EventField::RECORD:
      TellNumber(to, found.Record(row));
      return {};
    case EventField::CYCLE:
      TellNumber(to, found.columns->cycle[Row()]);
      return {};
    case EventField::STEP:
      return TellStep(to);
    case EventField::TYPE:
      TellType(to);
      return {};
    case EventField::THREAD:
      sqlite3_result_int64(to, found.columns->tag[Row()].thread);
      return {};
    case EventField::NOTE:
      return TellNote(table.Attribute(column), to);
    default:
      TellOfSource(field, to);
      return {};
  }
}

Fault EventRows::TellStep(sqlite3_context* to) {
  if (!hasSteps) {
    if (!steps) {
      steps.emplace(trace->file, trace->index);
    }
    if (Fault fault = steps->Take(*found.columns)) {
      return fault;
    }
    hasSteps = true;
  }
  TellNumber(to, steps->Step(Row()));
  return {};
}

void EventRows::TellType(sqlite3_context* to) const {
  const uint32_t type = found.columns->tag[Row()].type;
  sqlite3_result_text(to,
                      type == FIRE_RECORD   ? "fire"
                      : type == SEND_RECORD ? "send"
                                            : "switch",
                      -1, SQLITE_STATIC);
}

void EventRows::TellOfSource(EventField field, sqlite3_context* to) const {
  const Place at = found.columns->at[Row()];
  if (field == EventField::COL) {
    sqlite3_result_int64(to, at.column);
  } else if (field == EventField::ROW) {
    sqlite3_result_int64(to, at.row);
  } else if (field >= EventField::CLUSTER_COL && field <= EventField::DOMAIN_ROW) {
    TellLevels(field, to);
  } else {
    TellOfTarget(field, to);
  }
}

// What is nowhere in the array, and what no array is known for, is in no cluster.
void EventRows::TellLevels(EventField field, sqlite3_context* to) const {
  const Place at = found.columns->at[Row()];
  const bool isSwitch = found.columns->tag[Row()].type == SWITCH_RECORD;
  const bool ofCluster = field == EventField::CLUSTER_COL || field == EventField::CLUSTER_ROW;
  if (!trace->shape || (isSwitch && !ofCluster) ||
      !(isSwitch ? trace->shape->HasSwitch(at) : trace->shape->HasElement(at))) {
    return;
  }
  const Place level = isSwitch    ? trace->shape->ClusterOfSwitch(at)
                      : ofCluster ? trace->shape->ClusterOf(at)
                                  : trace->shape->DomainOf(at);
  const bool isColumn = field == EventField::CLUSTER_COL || field == EventField::DOMAIN_COL;
  sqlite3_result_int64(to, isColumn ? level.column : level.row);
}

void EventRows::TellOfTarget(EventField field, sqlite3_context* to) const {
  if (found.columns->tag[Row()].type != SEND_RECORD) {
    return;
  }
  const Place target = found.columns->to[Row()];
  if (field == EventField::TO_COL || field == EventField::TO_ROW) {
    sqlite3_result_int64(to, field == EventField::TO_COL ? target.column : target.row);
  } else if (field == EventField::DISTANCE) {
    TellDistance(to);
  } else if (trace->shape && trace->shape->HasElement(target)) {
    const bool ofCluster =
        field == EventField::TO_CLUSTER_COL || field == EventField::TO_CLUSTER_ROW;
    const Place level =
        ofCluster ? trace->shape->ClusterOf(target) : trace->shape->DomainOf(target);
    const bool isColumn = field == EventField::TO_CLUSTER_COL || field == EventField::TO_DOMAIN_COL;
    sqlite3_result_int64(to, isColumn ? level.column : level.row);
  }
}

void EventRows::TellDistance(sqlite3_context* to) const {
  const Place from = found.columns->at[Row()];
  const Place target = found.columns->to[Row()];
  TellNumber(to, Apart(from.column, target.column) + Apart(from.row, target.row));
}

Fault EventRows::FindNotes(uint32_t attribute) {
  JoinNotes();
  const Result<const NoteValues*> all = notes->Of(found, attribute);
  if (all) {
    values[attribute] = *all;
  }
  if (notes->Refused() && !work.refused) {
    work.refused = notes->Refused();
  }
  return all.Why();
}

Fault EventRows::TellNote(uint32_t attribute, sqlite3_context* to) {
  if (values[attribute] == nullptr) {
    if (Fault fault = FindNotes(attribute)) {
      return fault;
    }
  }
  const NoteValues& all = *values[attribute];
  if (!all.Has(row)) {
    return {};
  }
  const NoteAttribute& declared = notes->Declarations().attributes[attribute];
  if (declared.type == NoteType::RECORDS) {
    TellText(ListText(all.All(row)), to);
  } else {
    TellNoteValue(declared, all.Value(row), to);
  }
  return {};
}

}  // namespace marrowfin
