// What recording costs a simulator, each line a ratio that is measured in this very run.
//
// usage: marrowfin_recording_bench [--quick] FOLDER
//
// The events are those of the mesh of examples/mesh_noc: 3.6 million of them (--quick: 0.7), with
// their packets, kinds and the cycles of their creation. They are recorded from memory into FOLDER,
// which needs 1 GB, by processor time; the files are removed again. Exits with 3 where a bar is not
// met.

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "bench/trace/Measure.h"
#include "bench/trace/Table.h"
#include "examples/mesh_noc/Mesh.h"
#include "trace/base/Record.h"
#include "trace/marrowfin_trace.h"
#include "trace/read/NotesDecode.h"
#include "trace/read/NotesFile.h"
#include "trace/read/OpenSource.h"
#include "trace/read/Reader.h"
#include "trace/write/Recorder.h"

namespace marrowfin::bench {

namespace {

constexpr uint64_t CYCLES = 50000;
constexpr int REPETITIONS = 7;

struct Event {
  uint32_t type;
  uint32_t thread;
  uint64_t cycle;
  Place at;
  Place to;
  uint64_t kind;
  uint64_t packet;
  uint64_t created;
};

// A run of the mesh, and what it recorded.
class Run {
 public:
  Run(const std::string& folder, bool quick) : name(folder + "/mesh.trace") {
    options.cycles = quick ? CYCLES / 5 : CYCLES;
    options.trace = name;
    mesh::Recorder recorder(options, "bench");
    mesh::Mesh(options, recorder).Run();
    recorder.Close();
    ReadRecords();
    ReadNotes();
    std::ifstream file(name, std::ios::binary);
    bytes.assign(std::istreambuf_iterator<char>(file), {});
    Remove(name);
  }

  // The run again, with its trace and notes ("all", "packets", "none"), or without a trace.
  void Simulate(bool recorded, const char* notes = "none") const {
    mesh::Options again = options;
    again.trace = recorded ? name : "";
    again.notes = notes;
    mesh::Recorder recorder(again, "bench");
    mesh::Mesh(again, recorder).Run();
    recorder.Close();
  }

  const std::vector<Event>& Events() const { return events; }
  const std::string& Bytes() const { return bytes; }

  static void Remove(const std::string& trace) {
    unlink(trace.c_str());
    RemoveCompanion(trace);
  }

 private:
  void ReadRecords() {
    Reader reader(Value(OpenSource(name)), name);
    auto columns = std::make_unique<Columns>();
    while (reader.Next(*columns)) {
      for (size_t i = 0; i < columns->size; ++i) {
        events.push_back({columns->tag[i].type, columns->tag[i].thread, columns->cycle[i],
                          columns->at[i], columns->to[i], 0, 0, 0});
      }
    }
    Require(reader.GetFault());
  }

  void ReadNotes() {
    const std::unique_ptr<NotesFile> notes = Value(NotesFile::Open(name + ".notes"));
    for (size_t number = 0; number < notes->Blocks().size(); ++number) {
      if (notes->Blocks()[number].kind != NotesBlockKind::NOTES) {
        continue;
      }
      NotesBlock block = Value(notes->Notes(number));
      std::vector<uint64_t> cycles;
      for (uint64_t i = block.first; i < block.first + block.count; ++i) {
        cycles.push_back(events[i].cycle);
      }
      ResolveCycles(notes->Declarations(), cycles, block);
      for (const NoteColumn& column : block.columns) {
        const std::string& attribute = notes->Declarations().attributes[column.attribute].name;
        for (size_t i = 0; i < column.values.size(); ++i) {
          Event& event = events[block.first + column.positions[i]];
          event.kind = attribute == KIND_ATTRIBUTE ? column.values[i] : event.kind;
          event.packet = attribute == PACKET_ATTRIBUTE ? column.values[i] : event.packet;
          event.created = attribute == CREATED_ATTRIBUTE ? column.values[i] : event.created;
        }
      }
    }
  }

  mesh::Options options;
  std::string name;
  std::vector<Event> events;
  std::string bytes;
};

// The same bytes by the standard library, one record at a time.
void WriteByStdio(const Run& run, const std::string& name) {
  FILE* file = fopen(name.c_str(), "wb");
  Require(file != nullptr, "cannot write " + name);
  std::vector<char> buffer(MARROWFIN_TRACE_BUFFER);
  setvbuf(file, buffer.data(), _IOFBF, buffer.size());
  const char* record = run.Bytes().data();
  for (const Event& event : run.Events()) {
    const size_t size = RecordSize(event.type);
    Require(fwrite(record, 1, size, file) == size, "cannot write " + name);
    record += size;
  }
  Require(fclose(file) == 0, "cannot write " + name);
}

void RecordInC(const Run& run, const std::string& name, bool noted) {
  marrowfin_trace trace;
  marrowfin_trace_open(&trace, name.c_str());
  int kind = -1;
  int packet = -1;
  int created = -1;
  if (noted) {
    marrowfin_trace_companion(&trace);
    kind = marrowfin_trace_attribute(&trace, "kind", MARROWFIN_TRACE_NAME, "");
    packet = marrowfin_trace_attribute(&trace, "packet", MARROWFIN_TRACE_NUMBER, "");
    created = marrowfin_trace_attribute(&trace, "created", MARROWFIN_TRACE_CYCLE, "cycle");
  }
  for (const Event& event : run.Events()) {
    if (event.type == SEND_RECORD) {
      marrowfin_trace_send(&trace, event.cycle, event.thread, event.at.row, event.at.column,
                           event.to.row, event.to.column);
    } else {
      marrowfin_trace_fire(&trace, event.cycle, event.thread, event.at.row, event.at.column);
    }
    if (noted) {
      marrowfin_trace_note(&trace, kind, event.kind);
      marrowfin_trace_note(&trace, packet, event.packet);
      marrowfin_trace_note(&trace, created, event.created);
    }
  }
  Require(marrowfin_trace_close(&trace) == 0, marrowfin_trace_message(&trace));
}

void RecordInCxx(const Run& run, const std::string& name, bool noted, bool packed) {
  Recorder trace({.companion = noted, .packed = packed});
  Require(trace.Open(name));
  const NameNote kind = trace.DeclareName("kind");
  std::vector<NamedValue> kinds;
  for (const char* value : {"inject", "eject", "head", "body"}) {
    kinds.push_back(trace.DeclareValue(kind, value));
  }
  const NumberNote packet = trace.DeclareNumber("packet");
  const CycleNote created = trace.DeclareCycle("created");
  for (const Event& event : run.Events()) {
    if (event.type == SEND_RECORD) {
      trace.Send(event.cycle, event.thread, event.at, event.to);
    } else {
      trace.Fire(event.cycle, event.thread, event.at);
    }
    if (noted) {
      trace.Note(kinds[event.kind]);
      trace.Note(packet, event.packet);
      trace.Note(created, event.created);
    }
  }
  Require(trace.Close());
}

double SizeOf(const std::string& name) {
  std::ifstream file(name, std::ios::binary | std::ios::ate);
  return static_cast<double>(file.tellg());
}

// The recorders wrote the events that they were given.
void RequireSame(const Run& run, const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  const std::string written(std::istreambuf_iterator<char>(file), {});
  Require(written == run.Bytes(), name + " has other bytes");
}

struct Way {
  const char* what;
  const char* file;
  std::function<void()> record;
};

void MeasureEvents(const Run& run, const std::string& folder) {
  const auto file = [&folder](const char* name) { return folder + "/" + name; };
  const std::vector<Way> ways = {
      {"fwrite of the bytes", "stdio", [&] { WriteByStdio(run, file("stdio")); }},
      {"C", "c", [&] { RecordInC(run, file("c"), false); }},
      {"C, three notes", "c-noted", [&] { RecordInC(run, file("c-noted"), true); }},
      {"C++", "cxx", [&] { RecordInCxx(run, file("cxx"), false, false); }},
      {"C++, three notes", "cxx-noted", [&] { RecordInCxx(run, file("cxx-noted"), true, false); }},
      {"C++, packed", "packed", [&] { RecordInCxx(run, file("packed"), false, true); }},
      {"C++, packed, three notes", "packed-noted",
       [&] { RecordInCxx(run, file("packed-noted"), true, true); }}};
  std::vector<std::function<void()>> works;
  for (const Way& way : ways) {
    works.push_back(way.record);
  }
  const std::vector<Time> times = Alternate(REPETITIONS, works);
  const double events = static_cast<double>(run.Events().size());
  Note("events", events, "");
  for (size_t i = 0; i < ways.size(); ++i) {
    Note(std::string(ways[i].what) + ", an event", times[i].processor / events * 1e9, "ns");
    if (i > 0) {
      Note("  against fwrite of the bytes", times[i].processor / times[0].processor, "x");
    }
  }
  for (const char* plain : {"c", "c-noted", "cxx", "cxx-noted"}) {
    RequireSame(run, file(plain));
  }
  Note("trace, an event", SizeOf(file("cxx")) / events, "B");
  Note("trace, packed, an event", SizeOf(file("packed")) / events, "B");
  Note("notes in C, an event", SizeOf(file("c-noted.notes")) / events, "B");
  AtMost("notes in C++, an event", SizeOf(file("cxx-noted.notes")) / events, "B", 4);
  for (const Way& way : ways) {
    Run::Remove(file(way.file));
  }
}

// What a trace alone added to the run of a network simulator of its own (8 x 8 routers, virtual
// channels) that was instrumented with the plain-C header, and is not at hand here.
constexpr double SIMULATOR_WITH_TRACE = 1.03;

// What it costs the simulator itself, against its run without recording; and what it would cost one
// that does as much more for an event as SIMULATOR_WITH_TRACE tells.
void MeasureExample(const Run& run, const std::string& folder) {
  const std::vector<Time> times =
      Alternate(REPETITIONS,
                {[&run] { run.Simulate(false); }, [&run] { run.Simulate(true, "none"); },
                 [&run] { run.Simulate(true, "packets"); }, [&run] { run.Simulate(true, "all"); }});
  const double events = static_cast<double>(run.Events().size());
  Note("run of the mesh without recording, an event", times[0].processor / events * 1e9, "ns");
  const auto against = [&](size_t i) { return times[i].processor / times[0].processor; };
  Note("  with its trace", against(1), "x");
  Note("  with its trace, and packet, kind and created of every event", against(2), "x");
  Note("  with its trace, five attributes and a counter", against(3), "x");
  const double share = (against(2) - 1) / (against(1) - 1);
  AtMost("a run that its trace makes 1.03 times as long, with the three notes",
         1 + (SIMULATOR_WITH_TRACE - 1) * share, "x", 1.1);
  Run::Remove(folder + "/mesh.trace");
}

int Main(const std::string& folder, bool quick) {
  printf("%s\n", Machine().c_str());
  Heading("Recording the mesh of the examples");
  Run run(folder, quick);
  MeasureEvents(run, folder);
  MeasureExample(run, folder);
  printf("\n%d lines not met\n", NotMet());
  return NotMet() == 0 ? 0 : 3;
}

}  // namespace

}  // namespace marrowfin::bench

int main(int argc, char** argv) {
  const bool quick = argc == 3 && strcmp(argv[1], "--quick") == 0;
  if (argc != 2 && !quick) {
    fprintf(stderr, "usage: marrowfin_recording_bench [--quick] FOLDER\n");
    return 2;
  }
  return marrowfin::bench::Main(argv[argc - 1], quick);
}
