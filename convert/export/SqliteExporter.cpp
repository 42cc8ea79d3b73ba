#include "convert/export/SqliteExporter.h"

#include <bit>

#include "convert/export/AboutFacts.h"
#include "convert/export/EventWords.h"
#include "convert/export/SqliteFile.h"
#include "convert/export/SqliteSchema.h"
#include "trace/base/Record.h"
#include "trace/base/TypeNames.h"

namespace marrowfin {
namespace {

class SqliteExporter : public Exporter {
 public:
  SqliteExporter(const EventNaming& naming, const ExportTarget& target)
      : naming(naming), file(target.file, target.name), insertEvent(MakeTables()) {}

  bool WantsSteps() const override { return true; }
  Fault Begin() override;
  Fault Add(const NotedSelection& events) override;
  bool TakesSamples() const override { return true; }
  Fault AddSample(const CounterSample& sample) override;
  Fault End() override;

 private:
  // Statements are made for tables that are there.
  std::string MakeTables() {
    file.Do(SqliteTables(naming));
    return SqliteEventInsert(naming);
  }

  void AddThreads();
  void AddElements(const ArrayShape& shape);
  void AddEvent(const TraceEvent& of, uint64_t step);
  void AddNotes(const NotedSelection& from, size_t i);
  static void AddPlace(SqliteInsert& insert, Place place) {
    insert.Number(place.column).Number(place.row);
  }

  const EventNaming& naming;
  SqliteFile file;
  const std::string insertEvent;
  SqliteInsert event = {file, insertEvent};
  SqliteInsert sampled = {file, "INSERT INTO counters VALUES (?, ?, ?, ?, ?, ?)"};
};

Fault SqliteExporter::Begin() {
  SqliteInsert fact(file, "INSERT INTO about VALUES (?, ?)");
  ForFacts(naming,
           [&](const char* key, const std::string& value) { fact.Text(key).Text(value).Done(); });
  AddThreads();
  if (naming.shape) {
    AddElements(*naming.shape);
  }
  return file.GetFault();
}

void SqliteExporter::AddThreads() {
  if (naming.about != nullptr) {
    SqliteInsert insert(file, "INSERT INTO thread_names VALUES (?, ?, ?)");
    for (const auto& [thread, said] : naming.about->threads) {
      insert.Number(thread).Text(said.name).Text(said.meaning).Done();
    }
  }
}

void SqliteExporter::AddElements(const ArrayShape& shape) {
  SqliteInsert insert(file, "INSERT INTO pes VALUES (?, ?, ?, ?, ?, ?, ?)");
  for (uint32_t column = 0; column < shape.Columns(); ++column) {
    for (uint32_t row = 0; row < shape.Rows() && !file.GetFault(); ++row) {
      const Place at = {column, row};
      AddPlace(insert, at);
      AddPlace(insert, shape.ClusterOf(at));
      AddPlace(insert, shape.DomainOf(at));
      const std::string* const name = NameOfPlace(naming, at);
      (name != nullptr ? insert.Text(*name) : insert.Null()).Done();
    }
  }
}

Fault SqliteExporter::Add(const NotedSelection& events) {
  for (size_t i = 0; i < events.found.Size() && !file.GetFault(); ++i) {
    AddEvent(events.found.Event(i), events.steps->Step(events.found.rows[i]));
    AddNotes(events, i);
    event.Done();
  }
  return file.GetFault();
}

// Types are words: tables are read by people.
void SqliteExporter::AddEvent(const TraceEvent& of, uint64_t step) {
  event.Number(of.record)
      .Number(of.cycle)
      .Number(step)
      .Text(RecordTypeName(of.type))
      .Number(of.thread);
  AddPlace(event, of.at);
  if (of.type == SEND_RECORD) {
    AddPlace(event, of.to);
  } else {
    event.Null().Null();
  }
}

// Earlier records as JSON has them: [3,17].
std::string RecordList(std::span<const uint64_t> records) {
  std::string list;
  for (const uint64_t record : records) {
    list += list.empty() ? '[' : ',';
    AppendNumber(record, list);
  }
  return list + "]";
}

void SqliteExporter::AddNotes(const NotedSelection& from, size_t i) {
  const auto attributes = Attributes(naming);
  for (size_t a = 0; a < attributes.size(); ++a) {
    const NoteAttribute& attribute = attributes[a];
    if (!from.notes[a]->Has(i)) {
      event.Null();
    } else if (attribute.type == NoteType::RECORDS) {
      event.Text(RecordList(from.notes[a]->All(i)));
    } else if (const uint64_t value = from.notes[a]->Value(i); attribute.type == NoteType::REAL) {
      event.Real(std::bit_cast<double>(value));
    } else if (attribute.type == NoteType::NAME) {
      const auto name = attribute.names.find(value);
      event.Text(name != attribute.names.end() ? name->second : std::to_string(value));
    } else {
      event.Number(value);
    }
  }
}

Fault SqliteExporter::AddSample(const CounterSample& sample) {
  const NoteCounter& counter = naming.notes->counters[sample.counter];
  sampled.Number(sample.cycle).Text(counter.name);
  AddPlace(sampled, sample.at);
  sampled.Real(sample.value).Text(counter.unit).Done();
  return file.GetFault();
}

Fault SqliteExporter::End() {
  event.Finish();
  sampled.Finish();
  file.Do(SqliteIndexes());
  file.Close();
  return file.GetFault();
}

}  // namespace

std::unique_ptr<Exporter> MakeSqliteExporter(const EventNaming& naming,
                                             const ExportTarget& target) {
  return std::make_unique<SqliteExporter>(naming, target);
}

}  // namespace marrowfin
