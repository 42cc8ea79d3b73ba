#include <unistd.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "bench/trace/Measure.h"
#include "bench/trace/Sections.h"
#include "bench/trace/Table.h"
#include "trace/ask/ActivityOverTime.h"
#include "trace/ask/ActivityReader.h"
#include "trace/ask/StateReader.h"
#include "trace/read/OpenSource.h"
#include "trace/read/Reader.h"
#include "trace/read/Split.h"

namespace marrowfin::bench {

namespace {

constexpr int QUESTIONS = 200;

std::string IndexName(const Subject& subject) { return subject.file + ".mfindex"; }

std::unique_ptr<TraceSource> OpenTrace(const Subject& subject) {
  return Value(TraceSource::Open(subject.file));
}

void DecodePlainly(const Subject& subject) {
  ReadOptions options;
  options.array = subject.options.shape;
  Reader reader(Value(OpenSource(subject.file)), subject.file, options);
  auto columns = std::make_unique<Columns>();
  while (reader.Next(*columns)) {
  }
  Require(!reader.GetFault(), reader.GetFault().Text());
}

void BuildIndex(const Subject& subject, const TraceSource& trace) {
  Require(Index::Build(trace, IndexName(subject)));
}

// The times of many single questions, by processor time.
template <class Ask>
std::vector<double> Times(int questions, Ask ask) {
  std::vector<double> times;
  for (int i = 0; i < questions; ++i) {
    times.push_back(Measure(ask).processor);
  }
  return times;
}

double MeasureSeek(const TraceSource& trace, uint64_t lastCycle) {
  Draw draw;
  const auto seek = [&] { Value(SeekCycle(trace, draw.Below(lastCycle + 1))); };
  Times(QUESTIONS, seek);  // warms up
  const double median = Median(Times(QUESTIONS, seek));
  AtMost("seek to a cycle without index, median", median * 1e6, "us", 50);
  return median;
}

double MeasureStates(const Subject& subject, const TraceSource& trace, const Index& index) {
  const StateReader reader(trace, index, subject.options.shape);
  const uint64_t steps = Value(reader.CountSteps(0));
  Draw draw;
  const auto atStep = [&] { Value(reader.AtStep(draw.Below(steps + 1), 0)); };
  const uint64_t lastCycle = index.GetSummary().lastCycle;
  const auto atCycle = [&] { Value(reader.AtCycle(draw.Below(lastCycle + 1))); };
  Times(QUESTIONS / 10, atStep);
  const std::vector<double> byStep = Times(QUESTIONS, atStep);
  const std::vector<double> byCycle = Times(QUESTIONS, atCycle);
  const double bar = subject.options.shape.Columns() <= 64 ? 1 : 2;
  AtMost("state at a random step, median", Median(byStep) * 1e3, "ms", bar);
  AtMost("state at a random cycle, median", Median(byCycle) * 1e3, "ms", bar);
  AtMost("  the slowest of a hundred steps", Quantile(byStep, 0.99) * 1e3, "ms", bar);
  MeasureSteps(subject, trace, index, steps, Median(byStep));
  return std::max(Median(byStep), Median(byCycle));
}

// Counts without an index, from the start of the trace to the end of the range.
void ScanFires(const Subject& subject, Answer& answer) {
  Reader reader(Value(OpenSource(subject.file)), subject.file);
  auto columns = std::make_unique<Columns>();
  while (reader.Next(*columns) && columns->cycle[0] <= answer.last) {
    for (size_t i = 0; i < columns->size; ++i) {
      const bool counts = columns->tag[i].type == FIRE_RECORD &&
                          columns->cycle[i] >= answer.first && columns->cycle[i] <= answer.last;
      if (counts) {
        ++answer.fires[columns->at[i].row * answer.columns + columns->at[i].column];
      }
    }
  }
}

Answer DrawRange(Draw& draw, const ActivityReader& reader, uint64_t lastCycle) {
  const uint64_t a = draw.Below(lastCycle + 1);
  const uint64_t b = draw.Below(lastCycle + 1);
  Answer answer{std::min(a, b), std::max(a, b), reader.ColumnCount(), {}};
  answer.fires.assign(static_cast<size_t>(reader.ColumnCount()) * reader.RowCount(), 0);
  return answer;
}

// The fires in many random ranges of cycles, some of which are counted by a scan as well. Returns a
// range of middle length with its answer, and the median of what the index takes.
Answer MeasureFires(const Subject& subject, const TraceSource& trace, const Index& index,
                    double& median) {
  const ActivityReader reader(trace, index);
  Draw draw;
  const uint64_t lastCycle = index.GetSummary().lastCycle;
  std::vector<uint64_t> fires;
  const auto ask = [&](const Answer& range) {
    Require(reader.CountCycles(range.first, range.last, FIRES, fires));
  };
  median = Median(Times(QUESTIONS, [&] { ask(DrawRange(draw, reader, lastCycle)); }));
  std::vector<double> scans;
  for (int i = 0; i < 5; ++i) {
    Answer range = DrawRange(draw, reader, lastCycle);
    scans.push_back(Measure([&] { ScanFires(subject, range); }).processor);
    ask(range);
    Require(fires == range.fires, "the index counts other fires than a scan");
  }
  AtMost("fires per PE in a random range of cycles, median", median * 1e3, "ms", 1);
  AtLeast("  against a scan", Median(scans) / median, "x", 100);
  Answer answer = DrawRange(draw, reader, lastCycle);
  answer.first = lastCycle / 4;
  answer.last = lastCycle / 4 * 3;
  ask(answer);
  answer.fires = fires;
  return answer;
}

// How many records each bin has, by reading the trace from its start.
std::vector<uint64_t> ScanBins(const Subject& subject, const ActivityBins& bins) {
  Reader reader(Value(OpenSource(subject.file)), subject.file);
  auto columns = std::make_unique<Columns>();
  std::vector<uint64_t> records(bins.firsts.size());
  size_t bin = 0;
  while (reader.Next(*columns) && columns->cycle[0] <= bins.last) {
    for (size_t i = 0; i < columns->size; ++i) {
      while (bin + 1 < records.size() && columns->cycle[i] >= bins.firsts[bin + 1]) {
        ++bin;
      }
      const bool inside = columns->cycle[i] >= bins.firsts[0] && columns->cycle[i] <= bins.last;
      records[bin] += inside ? 1 : 0;
    }
  }
  return records;
}

std::vector<uint64_t> RecordsOf(const ActivityBins& bins) {
  std::vector<uint64_t> records(bins.firsts.size());
  for (size_t i = 0; i < bins.counts.size(); ++i) {
    records[i % records.size()] += bins.counts[i];
  }
  return records;
}

// The activity over time of random ranges of cycles, as many bins as a wide picture has columns.
void MeasureOverTime(const Subject& subject, const TraceSource& trace, const Index& index) {
  constexpr size_t BINS = 1600;
  Draw draw;
  const uint64_t lastCycle = index.GetSummary().lastCycle;
  ActivityBins bins;
  const auto ask = [&] {
    const uint64_t a = draw.Below(lastCycle + 1);
    const uint64_t b = draw.Below(lastCycle + 1);
    const ActivityQuestion question = {std::min(a, b), std::max(a, b), BINS,
                                       ActivityQuestion::QUICK};
    bins = Value(ActivityOverTime(trace, index, question));
  };
  const double first = Measure(ask).processor;
  const std::vector<double> times = Times(QUESTIONS, ask);
  AtMost("activity over time, all types and threads, median", Median(times) * 1e3, "ms", 2);
  AtMost("  the slowest of a hundred", Quantile(times, 0.99) * 1e3, "ms", 2);
  Note("  the first, which reads the table", first * 1e3, "ms");
  std::vector<double> scans;
  for (int i = 0; i < 3; ++i) {
    ask();
    std::vector<uint64_t> records;
    scans.push_back(Measure([&] { records = ScanBins(subject, bins); }).processor);
    Require(records == RecordsOf(bins), "the index counts other records than a scan");
  }
  Note("  against a scan that tells neither types nor threads", Median(scans) / Median(times), "x");
}

}  // namespace

uint64_t Draw::Below(uint64_t bound) {
  state = state * 6364136223846793005 + 1442695040888963407;
  return (state >> 20) % bound;
}

Latencies MeasureIndex(const Subject& subject) {
  const std::unique_ptr<TraceSource> trace = OpenTrace(subject);
  const std::vector<Time> times = Alternate(
      subject.repetitions, {[&] { DecodePlainly(subject); }, [&] { BuildIndex(subject, *trace); }});
  const bool small = subject.options.shape.Columns() <= 64;
  AtMost("building the index against decoding by blocks (elapsed)",
         times[1].elapsed / times[0].elapsed, "x", small ? 3 : 4);
  Note("  the same by processor time, both threads", times[1].processor / times[0].processor, "x");
  Note("  the same by processor time, reading thread alone",
       times[1].ownProcessor / times[0].ownProcessor, "x");
  const std::unique_ptr<Index> index = Value(Index::Load(*trace, IndexName(subject)));
  Require(index->GetSummary().records == subject.options.records, "the index lost records");
  AtMost("size of the index against the trace",
         100.0 * static_cast<double>(index->FileSize()) / static_cast<double>(trace->Size()), "%",
         small ? 1 : 3);
  Latencies latencies;
  latencies.seek = MeasureSeek(*trace, index->GetSummary().lastCycle);
  latencies.state = MeasureStates(subject, *trace, *index);
  MeasureFinding(subject, *trace, *index);
  double ask = 0;
  const Answer answer = MeasureFires(subject, *trace, *index, ask);
  MeasureOverTime(subject, *trace, *index);
  if (subject.peers) {
    MeasurePeers(subject, answer, times[1].processor, ask);
  }
  unlink(IndexName(subject).c_str());
  return latencies;
}

}  // namespace marrowfin::bench
