#include "convert/export/Hdf5Exporter.h"

#include <bit>
#include <deque>
#include <string>
#include <vector>

#include "convert/export/AboutFacts.h"
#include "convert/export/EventWords.h"
#include "convert/export/Hdf5File.h"
#include "trace/base/Record.h"

namespace marrowfin {
namespace {

// Where events that are no messages have no receiver: no array has such a column or row.
constexpr uint32_t NOWHERE = ~uint32_t{0};

// Columns of one group that grow together.
class ColumnGroup {
 public:
  typedef std::pair<const char*, Hdf5Column::Type> Title;

  ColumnGroup(Hdf5File& file, const std::string& path, std::initializer_list<Title> titles) {
    file.MakeGroup(path);
    for (const auto& [name, type] : titles) {
      columns.emplace_back(file, path + "/" + name, type);
    }
  }

  void Add(std::initializer_list<uint64_t> row) {
    auto column = columns.begin();
    for (const uint64_t value : row) {
      (column++)->Add(value);
    }
  }

  void Finish() {
    for (Hdf5Column& column : columns) {
      column.Finish();
    }
  }

 private:
  std::deque<Hdf5Column> columns;
};

// Names of groups have no slash in them, and are no folder.
std::string GroupName(std::string name) {
  for (char& c : name) {
    c = c == '/' || c == '\0' ? '_' : c;
  }
  return name == "." || name == ".." ? "_" : name;
}

class Hdf5Exporter : public Exporter {
 public:
  Hdf5Exporter(const EventNaming& naming, const ExportTarget& target)
      : naming(naming),
        file(target.file, target.name),
        events(file, "events",
               {{"record", Hdf5Column::NUMBER64},
                {"cycle", Hdf5Column::NUMBER64},
                {"thread", Hdf5Column::NUMBER32},
                {"type", Hdf5Column::NUMBER8},
                {"col", Hdf5Column::NUMBER32},
                {"row", Hdf5Column::NUMBER32},
                {"to_col", Hdf5Column::NUMBER32},
                {"to_row", Hdf5Column::NUMBER32}}) {}

  Fault Begin() override;
  Fault Add(const NotedSelection& selection) override;
  bool TakesSamples() const override { return true; }
  Fault AddSample(const CounterSample& sample) override;
  Fault End() override;

 private:
  void BeginNotes();
  void BeginSamples();
  void AddNotes(const NotedSelection& from, size_t i);

  const EventNaming& naming;
  Hdf5File file;
  ColumnGroup events;
  std::deque<ColumnGroup> notes;    // by attribute
  std::deque<ColumnGroup> samples;  // one where there are counters
};

Fault Hdf5Exporter::Begin() {
  ForFacts(naming,
           [this](const char* key, const std::string& value) { file.Say("/", key, value); });
  file.Say("events/type", "meaning", "2: switch, 3: fire, 4: send");
  file.Say("events/to_col", "meaning", "4294967295 where the event is no send");
  file.Say("events/to_row", "meaning", "4294967295 where the event is no send");
  if (naming.notes != nullptr) {
    BeginNotes();
    BeginSamples();
  }
  return file.GetFault();
}

void Hdf5Exporter::BeginNotes() {
  if (naming.notes->attributes.empty()) {
    return;
  }
  file.MakeGroup("notes");
  for (const NoteAttribute& attribute : naming.notes->attributes) {
    const std::string path = "notes/" + GroupName(attribute.name);
    const auto type = attribute.type == NoteType::REAL ? Hdf5Column::REAL : Hdf5Column::NUMBER64;
    notes.emplace_back(file, path,
                       std::initializer_list<ColumnGroup::Title>{{"record", Hdf5Column::NUMBER64},
                                                                 {"value", type}});
    file.Say(path, "unit", attribute.unit);
    if (attribute.type == NoteType::NAME) {
      Hdf5Column named(file, path + "/named", Hdf5Column::NUMBER64);
      std::vector<std::string> names;
      for (const auto& [value, name] : attribute.names) {
        named.Add(value);
        names.push_back(name);
      }
      named.Finish();
      file.PutTexts(path + "/name", names);
    }
  }
}

void Hdf5Exporter::BeginSamples() {
  if (naming.notes->counters.empty()) {
    return;
  }
  samples.emplace_back(file, "samples",
                       std::initializer_list<ColumnGroup::Title>{{"counter", Hdf5Column::NUMBER32},
                                                                 {"cycle", Hdf5Column::NUMBER64},
                                                                 {"col", Hdf5Column::NUMBER32},
                                                                 {"row", Hdf5Column::NUMBER32},
                                                                 {"value", Hdf5Column::REAL}});
  std::vector<std::string> names;
  std::vector<std::string> units;
  for (const NoteCounter& counter : naming.notes->counters) {
    names.push_back(counter.name);
    units.push_back(counter.unit);
  }
  file.PutTexts("samples/counter_name", names);
  file.PutTexts("samples/counter_unit", units);
}

Fault Hdf5Exporter::Add(const NotedSelection& selection) {
  for (size_t i = 0; i < selection.found.Size(); ++i) {
    const TraceEvent event = selection.found.Event(i);
    const Place to = event.type == SEND_RECORD ? event.to : Place{NOWHERE, NOWHERE};
    events.Add({event.record, event.cycle, event.thread, event.type, event.at.column, event.at.row,
                to.column, to.row});
    AddNotes(selection, i);
  }
  return file.GetFault();
}

void Hdf5Exporter::AddNotes(const NotedSelection& from, size_t i) {
  for (size_t a = 0; a < notes.size(); ++a) {
    for (const uint64_t value : from.notes[a]->All(i)) {
      notes[a].Add({from.found.Record(i), value});
    }
  }
}

Fault Hdf5Exporter::AddSample(const CounterSample& sample) {
  samples.front().Add({sample.counter, sample.cycle, sample.at.column, sample.at.row,
                       std::bit_cast<uint64_t>(sample.value)});
  return file.GetFault();
}

Fault Hdf5Exporter::End() {
  events.Finish();
  for (ColumnGroup& group : notes) {
    group.Finish();
  }
  for (ColumnGroup& group : samples) {
    group.Finish();
  }
  file.Close();
  return file.GetFault();
}

}  // namespace

std::unique_ptr<Exporter> MakeHdf5Exporter(const EventNaming& naming, const ExportTarget& target) {
  return std::make_unique<Hdf5Exporter>(naming, target);
}

}  // namespace marrowfin
