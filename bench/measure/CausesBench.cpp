// How long it takes to find what caused what, against decoding the trace, and how much memory.
//
// usage: marrowfin_causes_bench [--quick | --only WHAT FILE] FOLDER
//
// A trace goes to FOLDER, which needs 1 GB (--quick: 0.1 GB), and is removed again. Times are
// medians of what takes turns, by processor time: one thread works. Exits with 3 where a bar is not
// met.

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>

#include "bench/trace/Measure.h"
#include "bench/trace/Table.h"
#include "measure/CausalChain.h"
#include "measure/FindCauses.h"
#include "measure/RunBounds.h"
#include "trace/write/Synth.h"

namespace marrowfin::bench {
namespace {

constexpr uint64_t SMALL = 2400000;
constexpr uint64_t LARGE = 24000000;

SynthOptions Options(uint32_t side, SynthOptions::Mode mode, uint64_t records) {
  SynthOptions options;
  options.mode = mode;
  options.shape = side == 64 ? ArrayShape{4, 2, 8} : ArrayShape{8, 4, 8};
  options.records = records;
  options.threads = 8;
  return options;
}

CauseQuestion QuestionFor(uint32_t side) {
  CauseQuestion question;
  question.shape = Options(side, SynthOptions::PROGRAMS, 0).shape;
  return question;
}

struct Opened {
  explicit Opened(const std::string& file)
      : trace(Value(TraceSource::Open(file))), index(Value(Index::Open(*trace))) {}

  std::unique_ptr<TraceSource> trace;
  std::unique_ptr<Index> index;
};

void Decode(const Opened& run) {
  auto columns = std::make_unique<Columns>();
  for (uint64_t offset = 0; offset < run.trace->Size();) {
    offset = Value(run.trace->Decode(offset, run.trace->Size(), *columns));
  }
}

// In a process of its own, for its memory: the trace alone, its causes and the critical path, or
// all that is told of a run.
int Only(const std::string& what, const std::string& file) {
  const Opened run(file);
  Decode(run);
  if (what != "nothing") {
    const Causes causes = Value(FindCauses(*run.trace, *run.index, nullptr, QuestionFor(64)));
    Require(causes.last.has_value(), "the run has no end");
    const CausalChain chain = Value(FindChain(causes, QuestionFor(64).shape, *causes.last));
    Require(chain.fires > 0, "the chain is empty");
    if (what == "everything") {
      Value(FindBounds(causes));
      Value(FindSlack(causes));
    }
  }
  printf("%f\n", PeakMemory());
  return 0;
}

double PeakOf(const std::string& program, const std::string& what, const std::string& file) {
  const std::string answer = file + ".peak";
  RunProgram({program, "--only", what, file}, answer);
  double peak = 0;
  Require(std::ifstream(answer) >> peak ? true : false, "the child told no peak");
  unlink(answer.c_str());
  return peak;
}

void MeasureOf(const std::string& folder, uint32_t side, SynthOptions::Mode mode,
               uint64_t records) {
  const std::string file = folder + "/causes.trace";
  const SynthOptions options = Options(side, mode, records);
  Writer writer;
  Require(!writer.Open(file) && !Synthesize(options, writer) && !writer.Close(),
          "cannot write " + file);
  Heading(std::string(mode == SynthOptions::PROGRAMS ? "Programs, " : "Random, ") +
          std::to_string(side) + " x " + std::to_string(side) + " PEs, " +
          std::to_string(records / 100000 / 10.0).substr(0, 4) + " M records");
  const Opened run(file);
  std::unique_ptr<Causes> causes;
  CausalChain chain;
  const auto find = [&] {
    causes = std::make_unique<Causes>(
        Value(FindCauses(*run.trace, *run.index, nullptr, QuestionFor(side))));
    chain = Value(FindChain(*causes, options.shape, *causes->last));
  };
  const std::vector<Time> times =
      Alternate(3, {[&] { Decode(run); }, find, [&] { Value(FindBounds(*causes)); },
                    [&] { Value(FindSlack(*causes)); }});
  const auto ratio = [&](size_t i) { return times[i].processor / times[0].processor; };
  Note("decode, a record", times[0].processor / static_cast<double>(records) * 1e9, "ns");
  const std::string path = "causes and critical path, against decode";
  if (mode == SynthOptions::PROGRAMS) {
    AtMost(path, ratio(1), "x", 10);
  } else {
    Note(path, ratio(1), "x");
  }
  Note("  steps of the path", static_cast<double>(chain.Steps()), "");
  Note("three bounds, against decode", ratio(2), "x");
  Note("slack of all places, against decode", ratio(3), "x");
  Note("causes kept, a record",
       static_cast<double>(causes->graph.Bytes()) / static_cast<double>(records), "bytes");
}

void MeasureMemory(const std::string& program, const std::string& file, uint64_t records) {
  const double nothing = PeakOf(program, "nothing", file);
  for (const char* what : {"path", "everything"}) {
    const double bytes = (PeakOf(program, what, file) - nothing) * (1 << 20);
    AtMost(std::string("memory of ") + what + ", a record, beyond that of decoding",
           bytes / static_cast<double>(records), "bytes", 8);
  }
}

int Run(const std::string& program, const std::string& folder, bool quick) {
  printf("%s\n", Machine().c_str());
  const uint64_t records = quick ? SMALL : LARGE;
  const std::string file = folder + "/causes.trace";
  // Records that are drawn one by one: each is about a place of its own, and no cache helps.
  MeasureOf(folder, 64, SynthOptions::RANDOM, SMALL);
  for (const uint32_t side : {256U, 64U}) {
    MeasureOf(folder, side, SynthOptions::PROGRAMS, records);
  }
  Heading("Peak memory (programs, 64 x 64 PEs)");
  MeasureMemory(program, file, records);
  unlink(file.c_str());
  unlink((file + ".mfindex").c_str());
  printf("\n%d lines not met\n", NotMet());
  return NotMet() == 0 ? 0 : 3;
}

}  // namespace
}  // namespace marrowfin::bench

int main(int argc, char** argv) {
  if (argc == 4 && strcmp(argv[1], "--only") == 0) {
    return marrowfin::bench::Only(argv[2], argv[3]);
  }
  const bool quick = argc == 3 && strcmp(argv[1], "--quick") == 0;
  if (argc != 2 && !quick) {
    fprintf(stderr, "usage: %s [--quick] FOLDER\n", argv[0]);
    return 2;
  }
  return marrowfin::bench::Run(argv[0], argv[argc - 1], quick);
}
