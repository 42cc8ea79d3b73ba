#include "bench/measure/Differing.h"

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <memory>

#include "bench/trace/Measure.h"
#include "bench/trace/Table.h"
#include "measure/AlignRuns.h"
#include "trace/base/Record.h"
#include "trace/write/Synth.h"
#include "trace/write/Writer.h"

namespace marrowfin::bench {
namespace {

constexpr int REPETITIONS = 7;

// A made-up trace and a copy of it.
struct Pair {
  Pair(const std::string& folder, uint64_t records)
      : a(folder + "/a.trace"), b(folder + "/b.trace") {
    SynthOptions options;
    options.shape = {4, 2, 8};
    options.records = records;
    options.threads = 8;
    Writer writer;
    Require(!writer.Open(a) && !Synthesize(options, writer) && !writer.Close(),
            "cannot write " + a);
    std::filesystem::copy_file(a, b, std::filesystem::copy_options::overwrite_existing);
  }
  Pair(const Pair&) = delete;
  Pair& operator=(const Pair&) = delete;
  ~Pair() {
    unlink(a.c_str());
    unlink(b.c_str());
  }

  // Both are opened anew, as by a program that is asked once.
  RunAlignment Align(Alignment alignment) const {
    const std::unique_ptr<TraceSource> one = Value(TraceSource::Open(a));
    const std::unique_ptr<TraceSource> other = Value(TraceSource::Open(b));
    AlignQuestion question;
    question.alignment = alignment;
    return Value(AlignRuns(*one, *other, question));
  }

  void ExpectEqual(Alignment alignment) const {
    Require(Align(alignment).sameBytes, "equal traces differ");
  }

  // Gives a record in the middle of the copy another thread.
  void Differ() const {
    const std::unique_ptr<TraceSource> trace = Value(TraceSource::Open(b));
    uint64_t offset = 0;
    const auto columns = std::make_unique<Columns>();
    while (offset < trace->Size() / 2) {
      offset = Value(trace->Decode(offset, trace->Size(), *columns));
    }
    FILE* const file = fopen(b.c_str(), "r+b");
    Require(file != nullptr, "cannot write " + b);
    const bool done = fseek(file, static_cast<long>(offset + THREAD_OFFSET), SEEK_SET) == 0 &&
                      fwrite("\x01\x02\x03\x04", 1, 4, file) == 4;
    Require(fclose(file) == 0 && done, "cannot write " + b);
  }

  std::string a;
  std::string b;
};

void Compare(const Pair& pair) { RunProgram({"cmp", pair.a, pair.b}, "/dev/null"); }

}  // namespace

void MeasureDiffering(const std::string& folder, uint64_t records) {
  Heading("Differences, 64 x 64 PEs, " + std::to_string(records / 100000 / 10.0).substr(0, 4) +
          " M records (elapsed)");
  const Pair pair(folder, records);
  const std::vector<Time> times =
      Alternate(REPETITIONS, {[&] { Compare(pair); }, [&] { pair.ExpectEqual(Alignment::CYCLE); },
                              [&] { pair.ExpectEqual(Alignment::STEP); },
                              [&] { pair.ExpectEqual(Alignment::FIRE); }});
  const double compare = times[0].elapsed;
  Note("comparing the files by cmp", compare * 1e3, "ms");
  AtMost("two equal traces by cycle, against cmp", times[1].elapsed / compare, "x", 2);
  AtMost("  by step", times[2].elapsed / compare, "x", 2);
  AtMost("  by fire", times[3].elapsed / compare, "x", 2);
  pair.Differ();
  const Time differing = Alternate(
      REPETITIONS,
      {[&] { Require(pair.Align(Alignment::CYCLE).differing == 1, "not one cycle"); }})[0];
  Note("traces that differ in the middle, against cmp of equal ones", differing.elapsed / compare,
       "x");
}

}  // namespace marrowfin::bench
