// How long the numbers of a run take, beside decoding its trace, each measured in this very run.
//
// usage: marrowfin_measure_bench [--quick] FOLDER
//
// Traces go to FOLDER, which needs 2 GB (--quick: 0.2 GB), and are removed again. Times are
// medians of what takes turns, by the clock ("elapsed"): several threads work. Exits with 3 where a
// bar is not met.

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench/measure/Differing.h"
#include "bench/trace/Measure.h"
#include "bench/trace/Table.h"
#include "measure/CountRun.h"
#include "measure/CountSpaceTime.h"
#include "measure/KeptCounts.h"
#include "measure/RunMeasures.h"
#include "trace/index/Index.h"
#include "trace/read/TraceSource.h"
#include "trace/write/Synth.h"
#include "trace/write/Writer.h"

namespace marrowfin::bench {
namespace {

constexpr uint64_t SMALL = 2400000;
constexpr uint64_t LARGE = 24000000;
constexpr int REPETITIONS = 7;

// What a picture of a run is drawn of at most: two points of a screen for a cell.
constexpr size_t MAP_COLUMNS = 2000;
constexpr size_t MAP_ROWS = 1024;

// A made-up trace, and its index beside it.
class Subject {
 public:
  Subject(const std::string& folder, uint32_t side, uint64_t records)
      : file(folder + "/bench.trace") {
    options.shape = side == 64 ? ArrayShape{4, 2, 8} : ArrayShape{8, 4, 8};
    options.records = records;
    options.threads = 8;
    Writer writer;
    Require(!writer.Open(file) && !Synthesize(options, writer) && !writer.Close(),
            "cannot write " + file);
    trace = Value(TraceSource::Open(file));
    index = Value(Index::Open(*trace));
  }
  Subject(const Subject&) = delete;
  Subject& operator=(const Subject&) = delete;
  ~Subject() {
    unlink(file.c_str());
    unlink((file + ".mfindex").c_str());
    unlink((file + ".mfcounts").c_str());
  }

  const ArrayShape& Shape() const { return options.shape; }
  const TraceSource& Trace() const { return *trace; }
  const Index& GetIndex() const { return *index; }

 private:
  std::string file;
  SynthOptions options;
  std::unique_ptr<TraceSource> trace;
  std::unique_ptr<Index> index;
};

// One thread, to the last byte.
void Decode(const Subject& subject) {
  const auto columns = std::make_unique<Columns>();
  for (uint64_t offset = 0; offset < subject.Trace().Size();) {
    offset = Value(subject.Trace().Decode(offset, subject.Trace().Size(), *columns));
  }
}

void CountMap(const Subject& subject, bool byThread) {
  SpaceTimeQuestion question;
  question.shape = subject.Shape();
  question.mostColumns = MAP_COLUMNS;
  question.mostRows = MAP_ROWS;
  question.byThread = byThread;
  const SpaceTime map = Value(CountSpaceTime(subject.Trace(), subject.GetIndex(), question));
  Require(map.Total() == subject.GetIndex().GetSummary().fires, "fires were lost");
}

void CountAll(const Subject& subject) {
  RunQuestion question;
  question.shape = subject.Shape();
  const RunCounts counts = Value(CountRun(subject.Trace(), nullptr, question));
  Require(counts.Records() == subject.GetIndex().GetSummary().records, "records were lost");
}

// What `stats` tells of a run that was counted before.
void TellKept(const Subject& subject) {
  RunQuestion question;
  question.shape = subject.Shape();
  const auto store = KeptCountsOf(subject.Trace(), subject.GetIndex());
  const RunCounts counts =
      Value(CountRunOnce(subject.Trace(), subject.GetIndex(), store.get(), question));
  Require(MeasuresOf(counts).fires == subject.GetIndex().GetSummary().fires, "fires were lost");
}

// What a heat map is drawn of.
void CountSums(const Subject& subject) {
  RunQuestion question;
  question.shape = subject.Shape();
  question.sumsSuffice = true;
  const RunCounts counts = Value(CountRun(subject.Trace(), &subject.GetIndex(), question));
  Require(counts.Records() == subject.GetIndex().GetSummary().records, "records were lost");
}

// What a timeline is drawn of.
void CountTimes(const Subject& subject) {
  RunQuestion question;
  question.shape = subject.Shape();
  question.timelineSuffices = true;
  const RunCounts counts = Value(CountRun(subject.Trace(), &subject.GetIndex(), question));
  Require(counts.Records() == subject.GetIndex().GetSummary().records, "records were lost");
}

void MeasureRun(const std::string& folder, uint32_t side, uint64_t records) {
  const std::string sides = std::to_string(side);
  Heading("Programs, " + sides + " x " + sides + " PEs, " +
          std::to_string(records / 100000 / 10.0).substr(0, 4) + " M records (elapsed)");
  const Subject subject(folder, side, records);
  TellKept(subject);  // the first time keeps it
  const std::vector<Time> times =
      Alternate(REPETITIONS, {[&] { Decode(subject); }, [&] { CountAll(subject); },
                              [&] { CountMap(subject, false); }, [&] { CountMap(subject, true); },
                              [&] { CountSums(subject); }, [&] { CountTimes(subject); },
                              [&] { TellKept(subject); }});
  const double decode = times[0].elapsed;
  Note("decoding once, 1 thread", decode * 1e3, "ms");
  AtMost("all counts of a run, without index, against it", times[1].elapsed / decode, "x", 2);
  AtMost("all numbers of stats, counted before, with index", times[6].elapsed * 1e3, "ms",
         side == 64 ? 20 : 60);
  AtMost("sums of every place, with index", times[4].elapsed * 1e3, "ms", side == 64 ? 20 : 60);
  AtMost("timeline of 400 columns, with index", times[5].elapsed * 1e3, "ms", side == 64 ? 20 : 60);
  AtMost("map of 2,000 columns and 1,024 rows, with index", times[2].elapsed * 1e3, "ms", 300);
  Note("  against decoding", times[2].elapsed / decode, "x");
  Note("  processor time of all threads", times[2].processor * 1e3, "ms");
  Note("the same by thread", times[3].elapsed * 1e3, "ms");
}

int Run(const std::string& folder, bool quick) {
  printf("%s\n", Machine().c_str());
  for (const uint32_t side : {64U, 256U}) {
    MeasureRun(folder, side, quick ? SMALL : LARGE);
  }
  MeasureDiffering(folder, quick ? SMALL : LARGE);
  printf("\n%d lines not met\n", NotMet());
  return NotMet() == 0 ? 0 : 3;
}

}  // namespace
}  // namespace marrowfin::bench

int main(int argc, char** argv) {
  const bool quick = argc == 3 && strcmp(argv[1], "--quick") == 0;
  if (argc != 2 && !quick) {
    fprintf(stderr, "usage: marrowfin_measure_bench [--quick] FOLDER\n");
    return 2;
  }
  return marrowfin::bench::Run(argv[argc - 1], quick);
}
