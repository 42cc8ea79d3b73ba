#include <algorithm>
#include <memory>
#include <string>

#include "sql/NoteText.h"
#include "sql/NumberedRows.h"
#include "sql/RunTables.h"
#include "trace/ask/BatchCursor.h"
#include "trace/ask/NotesOfTrace.h"

namespace marrowfin {

namespace {

enum NoteField { NOTE_RECORD, NOTE_NAME, NOTE_VALUE };

// Goes through the values of notes, record by record and attribute by attribute.
class NoteRows : public SqlCursor {
 public:
  explicit NoteRows(SqlWork& work) : work(work) {}
  ~NoteRows() override { work.Leave(this); }

  [[nodiscard]] Fault Ask(const SqlTrace& trace, const SqlQuestion& question) override {
    work.Leave(this);
    atEnd = true;
    number = 0;
    if (trace.companion.Notes() == nullptr) {
      return {};
    }
    notes = std::make_unique<NotesOfTrace>(trace.file, trace.index, *trace.companion.Notes());
    ChooseAttributes(question);
    const NumberBounds records = ArgumentOf(question, NOTE_RECORD);
    EventFilter filter;
    filter.firstRecord = records.first;
    filter.lastRecord = notes->File().Records();
    if (records.last < filter.lastRecord) {
      filter.lastRecord = records.last + 1;
    }
    if (records.IsEmpty() || attributes.empty()) {
      return {};
    }
    batches = std::make_unique<BatchCursor>(
        trace.file, trace.index, filter,
        [this](const Progress& now) { return work.Report(this, now); });
    found = {};
    row = 0;
    return Settle();
  }

  [[nodiscard]] Fault Next() override {
    ++number;
    ++value;
    return Settle();
  }

  bool IsAtEnd() const override { return atEnd; }

  [[nodiscard]] Fault Tell(size_t column, sqlite3_context* to) override {
    const NoteAttribute& declared = notes->Declarations().attributes[attributes[attribute]];
    if (column == NOTE_RECORD) {
      TellNumber(to, found.Record(row));
    } else if (column == NOTE_NAME) {
      TellText(declared.name, to);
    } else {
      TellNoteValue(declared, values[attribute]->All(row)[value], to);
    }
    return {};
  }

  sqlite3_int64 RowNumber() const override { return number; }

 private:
  // Those whose name may be the one that is asked for.
  void ChooseAttributes(const SqlQuestion& question) {
    attributes.clear();
    const auto& declared = notes->Declarations().attributes;
    for (uint32_t i = 0; i < declared.size(); ++i) {
      const bool asked = std::all_of(
          question.conditions.begin(), question.conditions.end(), [&](const SqlCondition& asks) {
            return asks.column != NOTE_NAME || sqlite3_value_type(asks.value) != SQLITE_TEXT ||
                   declared[i].name ==
                       reinterpret_cast<const char*>(sqlite3_value_text(asks.value));
          });
      if (asked) {
        attributes.push_back(i);
      }
    }
  }

  // Reads the next records; none where there are no more.
  Fault Load() {
    row = attribute = value = 0;
    values.clear();
    if (!batches->Next(found)) {
      found = {};
      return batches->GetFault();
    }
    for (const uint32_t each : attributes) {
      const Result<const NoteValues*> all = notes->Of(found, each);
      if (!all) {
        return all.Why();
      }
      values.push_back(*all);
    }
    if (notes->Refused() && !work.refused) {
      work.refused = notes->Refused();
    }
    return {};
  }

  // Whether there is a value among the records that were read, to which it moves on.
  bool Find() {
    for (; row < found.Size(); ++row, attribute = 0) {
      for (; attribute < attributes.size(); ++attribute, value = 0) {
        if (value < values[attribute]->All(row).size()) {
          return true;
        }
      }
    }
    return false;
  }

  // Moves on to where there is a value.
  Fault Settle() {
    while (!Find()) {
      if (Fault fault = Load()) {
        return fault;
      }
      if (found.Size() == 0) {
        atEnd = true;
        work.Leave(this);
        return {};
      }
    }
    atEnd = false;
    return {};
  }

  SqlWork& work;
  std::unique_ptr<NotesOfTrace> notes;
  std::unique_ptr<BatchCursor> batches;
  std::vector<uint32_t> attributes;  // that are asked for
  Selection found;
  std::vector<const NoteValues*> values;  // of each of them
  size_t row = 0;                         // of the records found
  size_t attribute = 0;                   // of those asked for
  size_t value = 0;                       // of several
  sqlite3_int64 number = 0;
  bool atEnd = true;
};

class NotesTable : public SmallTable<NoteRows> {
 public:
  using SmallTable::SmallTable;

  bool Narrows(size_t column, int comparison) const override {
    return column == NOTE_RECORD ||
           (column == NOTE_NAME && comparison == SQLITE_INDEX_CONSTRAINT_EQ);
  }
  bool Ascends(size_t /*column*/) const override { return false; }
  double Rows() const override { return 1e6; }
  double Share(size_t column, int comparison) const override {
    return comparison != SQLITE_INDEX_CONSTRAINT_EQ ? 0.25 : column == NOTE_RECORD ? 1e-6 : 0.2;
  }
};

}  // namespace

std::unique_ptr<SqlTable> MakeNotesTable(const SqlTrace* /*trace*/, SqlWork& work) {
  return std::make_unique<NotesTable>(
      std::vector<SqlColumn>{{"record", "INTEGER", "the event that it is noted of"},
                             {"name", "TEXT", "the attribute"},
                             {"value", "", "its value, or one of several"}},
      work);
}

}  // namespace marrowfin
