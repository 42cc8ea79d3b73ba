// How fast the trace engine is, each line a ratio that is measured in this very run.
//
// usage: marrowfin_trace_bench [--quick | --notes | --packed | --index-only FILE] FOLDER
//
// Traces and what other programs make of them go to FOLDER, which needs some 8 GB (--quick: 1 GB),
// and are removed again. Times are medians of what takes turns, by processor time where one thread
// works and by the clock where two do ("elapsed"). Exits with 3 where a bar is not met.

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>

#include "bench/trace/Measure.h"
#include "bench/trace/Sections.h"
#include "bench/trace/Table.h"
#include "trace/ask/StateReader.h"
#include "trace/read/Reader.h"
#include "trace/write/Writer.h"

namespace marrowfin::bench {

namespace {

constexpr uint64_t SMALL = 2400000;
constexpr uint64_t LARGE = 24000000;
constexpr uint64_t HUGE_TRACE = 96000000;

void Synthesise(const Subject& subject) {
  Writer writer;
  Require(!writer.Open(subject.file) && !Synthesize(subject.options, writer) && !writer.Close(),
          "cannot write " + subject.file);
}

Subject MakeSubject(const std::string& folder, uint32_t side, SynthOptions::Mode mode,
                    uint64_t records) {
  Subject subject;
  subject.options.mode = mode;
  subject.options.shape = side == 64 ? ArrayShape{4, 2, 8} : ArrayShape{8, 4, 8};
  subject.options.records = records;
  subject.options.threads = 8;
  subject.folder = folder;
  subject.file = folder + "/bench.trace";
  // Other programs take minutes with long traces; of those they get the likeness of real ones.
  subject.peers = mode == SynthOptions::PROGRAMS && (records == SMALL || side == 64);
  subject.repetitions = records == SMALL ? 7 : 3;
  return subject;
}

std::string Describe(const Subject& subject) {
  const std::string side = std::to_string(subject.options.shape.Columns());
  return (subject.options.mode == SynthOptions::PROGRAMS ? "Programs, " : "Random, ") + side +
         " x " + side + " PEs, " +
         std::to_string(subject.options.records / 100000 / 10.0).substr(0, 4) + " M records";
}

Latencies MeasureAll(const Subject& subject) {
  Heading(Describe(subject));
  Synthesise(subject);
  MeasureDecoding(subject);
  const Latencies latencies = MeasureIndex(subject);
  MeasurePacking(subject);
  unlink(subject.file.c_str());
  return latencies;
}

void MeasureArray(const std::string& folder, uint32_t side, SynthOptions::Mode mode, bool quick) {
  const Latencies small = MeasureAll(MakeSubject(folder, side, mode, SMALL));
  if (quick) {
    return;
  }
  const Latencies large = MeasureAll(MakeSubject(folder, side, mode, LARGE));
  AtMost("seek, against 2.4 M records", large.seek / small.seek, "x", 2);
  AtMost("state, against 2.4 M records", large.state / small.state, "x", 2);
}

// In a process of its own: everything that is read from front to back.
int IndexOnly(const std::string& file) {
  const std::unique_ptr<TraceSource> trace = Value(TraceSource::Open(file));
  Require(Index::Build(*trace, file + ".mfindex"));
  printf("%f\n", PeakMemory());
  return 0;
}

void MeasureMemory(const std::string& program, const std::string& folder, bool quick) {
  Heading("Peak memory of indexing (programs, 64 x 64 PEs)");
  double first = 0;
  for (const uint64_t records : {SMALL, LARGE, HUGE_TRACE}) {
    if (quick && records != SMALL) {
      break;
    }
    const Subject subject = MakeSubject(folder, 64, SynthOptions::PROGRAMS, records);
    Synthesise(subject);
    const std::string answer = folder + "/peak";
    RunProgram({program, "--index-only", subject.file}, answer);
    double peak = 0;
    Require(std::ifstream(answer) >> peak ? true : false, "the child told no peak");
    const std::string what = std::to_string(records / 100000) + "00,000 records";
    Note(what, peak, "MiB");
    first = records == SMALL ? peak : first;
    if (records != SMALL) {
      AtMost("  against 2,400,000 records", peak / first, "x", 1.25);
    }
    unlink(subject.file.c_str());
    unlink((subject.file + ".mfindex").c_str());
    unlink(answer.c_str());
  }
}

void MeasureNotesOf(const std::string& folder, uint64_t records) {
  Heading("Notes beside " + std::to_string(records / 100000 / 10.0).substr(0, 4) + " M records");
  MeasureNotes(folder, records, records == SMALL ? 7 : 3);
}

int Summed() {
  printf("\n%d lines not met\n", NotMet());
  return NotMet() == 0 ? 0 : 3;
}

// Notes alone.
int RunNotes(const std::string& folder) {
  printf("%s\n", Machine().c_str());
  MeasureNotesOf(folder, SMALL);
  MeasureNotesOf(folder, LARGE);
  return Summed();
}

// Packed traces alone.
int RunPacked(const std::string& folder) {
  printf("%s\n", Machine().c_str());
  for (const uint64_t records : {SMALL, LARGE}) {
    for (const SynthOptions::Mode mode : {SynthOptions::PROGRAMS, SynthOptions::RANDOM}) {
      const Subject subject = MakeSubject(folder, 64, mode, records);
      Heading(Describe(subject));
      Synthesise(subject);
      MeasurePacking(subject);
      unlink(subject.file.c_str());
    }
  }
  return Summed();
}

int Run(const std::string& program, const std::string& folder, bool quick) {
  printf("%s\n", Machine().c_str());
  for (const SynthOptions::Mode mode : {SynthOptions::PROGRAMS, SynthOptions::RANDOM}) {
    for (const uint32_t side : {64U, 256U}) {
      MeasureArray(folder, side, mode, quick);
    }
  }
  MeasureMemory(program, folder, quick);
  MeasureNotesOf(folder, SMALL);
  if (!quick) {
    MeasureNotesOf(folder, LARGE);
  }
  return Summed();
}

}  // namespace

}  // namespace marrowfin::bench

int main(int argc, char** argv) {
  using namespace marrowfin::bench;
  if (argc == 3 && strcmp(argv[1], "--index-only") == 0) {
    return IndexOnly(argv[2]);
  }
  const bool quick = argc == 3 && strcmp(argv[1], "--quick") == 0;
  if (argc == 3 && strcmp(argv[1], "--notes") == 0) {
    return RunNotes(argv[2]);
  }
  if (argc == 3 && strcmp(argv[1], "--packed") == 0) {
    return RunPacked(argv[2]);
  }
  if (argc != 2 && !quick) {
    fprintf(
        stderr,
        "usage: marrowfin_trace_bench [--quick | --notes | --packed | --index-only FILE] FOLDER\n");
    return 2;
  }
  return Run(argv[0], argv[argc - 1], quick);
}
