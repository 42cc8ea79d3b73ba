#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "bench/trace/Measure.h"
#include "bench/trace/Sections.h"
#include "bench/trace/Table.h"
#include "trace/ask/CounterOverTime.h"
#include "trace/ask/NotedCounter.h"
#include "trace/ask/NotedCursor.h"
#include "trace/ask/NotesIndex.h"
#include "trace/ask/NotesOfTrace.h"
#include "trace/ask/NotesOverTime.h"
#include "trace/read/Companion.h"
#include "trace/write/ByteSink.h"
#include "trace/write/NotesWriter.h"
#include "trace/write/Writer.h"

namespace marrowfin::bench {

namespace {

constexpr int QUESTIONS = 60;
constexpr uint32_t SIDE = 64;
constexpr uint64_t PACKET_RECORDS = 24;  // an injection, an ejection and hops between
constexpr uint64_t IN_FLIGHT = 4096;     // packets, at any time
enum { KIND, PACKET, CREATED };

// A network of SIDE x SIDE places: packets that overlap, each of some records in a row of cycles,
// with their kinds and when they were created, and how full the buffers of its places are.
void Record(const std::string& file, uint64_t records) {
  Writer writer;
  Require(writer.Open(file));
  const int descriptor =
      open(NotesFile::NameBeside(file).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  Require(descriptor != -1, "cannot write the notes");
  DescriptorSink sink(descriptor, file);
  NotesWriter notes(sink);
  notes.Attribute(KIND_ATTRIBUTE, NoteType::NAME);
  notes.Attribute(PACKET_ATTRIBUTE, NoteType::NUMBER);
  notes.Attribute(CREATED_ATTRIBUTE, NoteType::CYCLE);
  const char* const kinds[] = {"compute", "inject", "eject", "wait"};
  for (uint64_t kind = 0; kind < std::size(kinds); ++kind) {
    notes.NameValue(KIND, kind, kinds[kind]);
  }
  const uint32_t queue = notes.Counter("queue", "flits");
  Draw draw;
  for (uint64_t i = 0; i < records; ++i) {
    const uint64_t cycle = i / 512;
    const Place at = {static_cast<uint32_t>(draw.Below(SIDE)),
                      static_cast<uint32_t>(draw.Below(SIDE))};
    if (notes.IsFull()) {
      Require(writer.Flush());
    }
    writer.Fire(cycle, 0, at);
    notes.Record(FIRE_RECORD, cycle, 0, at, {});
    const uint64_t packet = i / PACKET_RECORDS + draw.Below(IN_FLIGHT);
    Require(notes.Note(KIND, draw.Below(std::size(kinds))) && notes.Note(PACKET, packet) &&
                notes.Note(CREATED, cycle - std::min(cycle, packet % 200)),
            "a note was not taken");
    if (i % 16 == 0) {
      notes.Sample({cycle, queue, at, static_cast<double>(draw.Below(16))});
    }
  }
  Require(writer.Close());
  Require(notes.Close());
  close(descriptor);
}

// All records with all their notes, compared with the trace, against decoding the records alone.
void MeasureReading(const TraceSource& trace, const Index& index, const NotesFile& file,
                    int repetitions) {
  const uint64_t size = index.GetSummary().bytes;
  auto columns = std::make_unique<Columns>();
  const auto decode = [&] {
    for (uint64_t offset = 0; offset < size;) {
      offset = Value(trace.Decode(offset, size, *columns));
    }
  };
  uint64_t sum = 0;
  const auto join = [&] {
    NotesOfTrace notes(trace, index, file);
    BatchCursor cursor(trace, index, {});
    Selection found;
    while (cursor.Next(found)) {
      for (const uint32_t attribute : {KIND, PACKET, CREATED}) {
        const NoteValues& values = *Value(notes.Of(found, attribute));
        for (size_t i = 0; i < values.Size(); ++i) {
          sum += values.Value(i);
        }
      }
    }
    Require(cursor.GetFault());
    Require(notes.Refused());
  };
  const auto scan = [&] {
    NotesOfTrace notes(trace, index, file);
    NotedCounter counter(trace, index, notes, {{}, {{PACKET, NoteCondition::EQUAL, 16538, 0}}});
    sum += Value(counter.Count());
  };
  const std::vector<Time> times = Alternate(repetitions, {decode, join, scan});
  const auto records = static_cast<double>(index.GetSummary().records);
  AtMost("three notes of every record, compared with the trace, against decoding it",
         times[1].processor / times[0].processor, "x", 16);
  Note("  a record", times[1].processor / records * 1e9, "ns");
  Note("one packet without an index of the notes, against decoding",
       times[2].processor / times[0].processor, "x");
  Require(sum > 0, "there are no notes");
}

template <class Ask>
void TellAtMost(const std::string& what, double bar, Ask ask) {
  Draw draw;
  std::vector<double> times;
  for (int i = 0; i < QUESTIONS; ++i) {
    times.push_back(Measure([&] { ask(draw); }).processor);
  }
  AtMost(what + ", median", Median(times) * 1e3, "ms", bar);
  Note("  the slowest", Quantile(times, 1) * 1e3, "ms");
}

void MeasureQuestions(const TraceSource& trace, const Index& index, NotesOfTrace& notes,
                      const NotesIndex& known) {
  const Summary& summary = index.GetSummary();
  const auto filter = [&](Draw& draw) {
    const uint64_t packet = draw.Below(summary.records / PACKET_RECORDS);
    return NotedFilter{{}, {{PACKET, NoteCondition::EQUAL, packet, 0}}};
  };
  TellAtMost("the first event of a packet", 10, [&](Draw& draw) {
    NotedCursor cursor(trace, index, notes, filter(draw));
    Selection found;
    static_cast<void>(cursor.Next(found));
    Require(cursor.GetFault());
  });
  TellAtMost("all events of a packet, counted, and the last", 25, [&](Draw& draw) {
    NotedCounter counter(trace, index, notes, filter(draw));
    const uint64_t count = Value(counter.Count());
    if (count > 0) {
      Value(counter.Find(count - 1));
    }
  });
  const auto range = [&](Draw& draw) {
    ActivityQuestion question;
    question.first = draw.Below(summary.maxCycle);
    question.last = question.first + draw.Below(summary.maxCycle - question.first + 1);
    question.bins = 1600;
    question.readAtMost = ActivityQuestion::QUICK;
    return question;
  };
  TellAtMost("1,600 bins of activity by kind", 2, [&](Draw& draw) {
    Value(NotesOverTime(trace, index, notes, known, KIND, range(draw)));
  });
  for (const bool all : {false, true}) {
    TellAtMost(all ? "1,600 bins of a counter at all places" : "1,600 bins of a counter at a place",
               2, [&](Draw& draw) {
                 const ActivityQuestion bins = range(draw);
                 CounterQuestion question;
                 question.first = bins.first;
                 question.last = bins.last;
                 question.bins = bins.bins;
                 question.readAtMost = 0;
                 if (!all) {
                   question.at = Place{static_cast<uint32_t>(draw.Below(SIDE)),
                                       static_cast<uint32_t>(draw.Below(SIDE))};
                 }
                 Value(CounterOverTime(notes.File(), known, question));
               });
  }
}

// Going on with the index of notes, of which a twentieth came since it was made.
void MeasureGrowth(const TraceSource& trace, const Index& index, const std::string& file,
                   const Time& made) {
  const auto open = [&] {
    const std::unique_ptr<NotesFile> notesFile = Value(NotesFile::Open(file));
    NotesOfTrace notes(trace, index, *notesFile);
    Require(Value(NotesIndex::Open(trace, index, notes))->IsKept(), "the index was not kept");
  };
  const auto blocks = Value(NotesFile::Open(file));
  const uint64_t size = blocks->Blocks()[blocks->Blocks().size() * 19 / 20].offset;
  std::ifstream in(file, std::ios::binary);
  in.seekg(static_cast<std::streamoff>(size));
  const std::string rest(std::istreambuf_iterator<char>(in), {});
  std::filesystem::resize_file(file, size);
  open();
  std::ofstream(file, std::ios::binary | std::ios::app) << rest;
  const Time grown = Measure(open);
  Note("going on with it where a twentieth came, against making it",
       grown.processor / made.processor, "x");
}

}  // namespace

void MeasureNotes(const std::string& folder, uint64_t records, int repetitions) {
  const std::string file = folder + "/notes.trace";
  Record(file, records);
  const std::unique_ptr<TraceSource> trace = Value(TraceSource::Open(file));
  const std::unique_ptr<Index> index = Value(Index::Open(*trace));
  const Companion companion = Companion::Beside(*trace);
  Require(companion.WhyNoNotes());
  Require(companion.Notes() != nullptr, "there are no notes");
  const NotesFile& notesFile = *companion.Notes();
  Note("three notes of an event, and a sixteenth of a sample",
       static_cast<double>(notesFile.File().Size()) / static_cast<double>(records), "bytes");
  MeasureReading(*trace, *index, notesFile, repetitions);
  NotesOfTrace notes(*trace, *index, notesFile);
  std::unique_ptr<NotesIndex> known;
  const Time made = Measure([&] { known = Value(NotesIndex::Open(*trace, *index, notes)); });
  Note("making the index of the notes, an event",
       made.processor / static_cast<double>(records) * 1e9, "ns");
  Require(known->IsKept(), "the index of the notes was not kept");
  const Time opened = Measure([&] { known = Value(NotesIndex::Open(*trace, *index, notes)); });
  AtMost("opening it", opened.processor * 1e3, "ms", 25);
  MeasureQuestions(*trace, *index, notes, *known);
  MeasureGrowth(*trace, *index, file + ".notes", made);
  for (const char* suffix : {"", ".mfindex", ".notes", ".notes.mfindex"}) {
    unlink((file + suffix).c_str());
  }
}

}  // namespace marrowfin::bench
