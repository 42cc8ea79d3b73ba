// Counters over time: equal to a plain scan of their samples.

#include "trace/ask/CounterOverTime.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "tests/trace/support/NotedTrace.h"
#include "trace/ask/TimeBins.h"
#include "trace/write/NotesWriter.h"

namespace marrowfin::testing {
namespace {

using ::testing::HasSubstr;

constexpr uint32_t COUNTERS = 2;
constexpr uint32_t PLACES = 3;

// Notes that have samples alone, about a trace of one record.
struct Sampled {
  explicit Sampled(const std::vector<CounterSample>& samples, size_t perBlock = 500)
      : opened(Encode({Event()})) {
    MemorySink sink;
    NotesWriter writer(sink);
    writer.Counter("queue", "flits");
    writer.Counter("credits");
    for (size_t i = 0; i < samples.size(); ++i) {
      writer.Sample(samples[i]);
      if (i % perBlock == perBlock - 1) {
        EXPECT_TRUE(IsFine(writer.Flush()));
      }
    }
    EXPECT_TRUE(IsFine(writer.Close()));
    bytes.assign(sink.Bytes().begin(), sink.Bytes().end());
    Reopen();
  }

  void Reopen() {
    file = OpenNotes(bytes);
    notes = std::make_unique<NotesOfTrace>(*opened.trace, *opened.index, *file);
    index = Made(NotesIndex::Open(*opened.trace, *opened.index, *notes, *store));
  }

  Opened opened;
  std::string bytes;
  std::unique_ptr<NotesFile> file;
  std::unique_ptr<NotesOfTrace> notes;
  std::unique_ptr<IndexStore> store = IndexInMemory();
  std::unique_ptr<NotesIndex> index;
};

// Whole numbers, so that sums are exact. Cycles rise, in steps of up to `step`; some are equal.
std::vector<CounterSample> RandomSamples(std::mt19937& random, size_t count, uint64_t step,
                                         uint64_t firstCycle = 0) {
  std::vector<CounterSample> samples;
  uint64_t cycle = firstCycle;
  for (size_t i = 0; i < count; ++i) {
    cycle += random() % 3 == 0 ? random() % (step + 1) : 0;
    samples.push_back({cycle,
                       static_cast<uint32_t>(random() % COUNTERS),
                       {static_cast<uint32_t>(random() % PLACES), 7},
                       static_cast<double>(random() % 100)});
  }
  return samples;
}

// The value from each cycle on at which it changes, by going through all samples.
std::map<uint64_t, double> StepsOf(const std::vector<CounterSample>& samples, uint32_t counter,
                                   const std::optional<Place>& at) {
  std::map<uint64_t, double> steps;
  std::map<uint32_t, double> values;
  for (const CounterSample& sample : samples) {
    if (sample.counter == counter && (!at || sample.at == *at)) {
      values[sample.at.column] = sample.value;
      double sum = 0;
      for (const auto& [column, value] : values) {
        sum += value;
      }
      steps[sample.cycle] = sum;
    }
  }
  return steps;
}

CounterSpan Scan(const std::map<uint64_t, double>& steps, CycleEdge from, CycleEdge to) {
  CounterSpan span;
  for (auto step = steps.begin(); step != steps.end(); ++step) {
    const auto after = std::next(step);
    const CycleEdge end = after == steps.end() ? to : CycleEdge{after->first};
    const CycleEdge begin = std::max(from, CycleEdge{step->first});
    if (begin < std::min(to, end)) {
      span.Add(step->second, static_cast<uint64_t>(std::min(to, end) - begin));
    }
  }
  return span;
}

void ExpectScanned(const CounterBins& bins, const std::map<uint64_t, double>& steps,
                   const std::string& what) {
  for (size_t bin = 0; bin < bins.firsts.size(); ++bin) {
    const CycleEdge end =
        bin + 1 < bins.firsts.size() ? CycleEdge{bins.firsts[bin + 1]} : CycleEdge{bins.last} + 1;
    const CounterSpan expected = Scan(steps, bins.firsts[bin], end);
    ASSERT_EQ(expected.cycles, bins.spans[bin].cycles) << what << " bin " << bin;
    ASSERT_EQ(expected.sum, bins.spans[bin].sum) << what << " bin " << bin;
    if (expected.cycles > 0) {
      ASSERT_EQ(expected.low, bins.spans[bin].low) << what << " bin " << bin;
      ASSERT_EQ(expected.high, bins.spans[bin].high) << what << " bin " << bin;
    }
  }
}

void CompareWithScan(const Sampled& sampled, const std::vector<CounterSample>& samples,
                     std::mt19937& random) {
  const uint64_t last = samples.back().cycle;
  for (int round = 0; round < 120; ++round) {
    CounterQuestion question;
    question.counter = static_cast<uint32_t>(random() % COUNTERS);
    if (random() % 3 != 0) {
      question.at = Place{static_cast<uint32_t>(random() % PLACES), 7};
    }
    question.first = random() % (last + 5);
    question.last = question.first + random() % (last + 5);
    question.bins = 1 + random() % 40;
    question.readAtMost = random() % 3 == 0 ? 0 : ~uint64_t{0};
    const Result<CounterBins> bins = CounterOverTime(*sampled.file, *sampled.index, question);
    ASSERT_TRUE(bins) << bins.Why().Text();
    const std::string what = "round " + std::to_string(round);
    ExpectScanned(*bins, StepsOf(samples, question.counter, question.at), what);
    if (question.readAtMost > 0) {
      const auto edges = EqualBins(question.first, question.last, question.bins);
      ASSERT_EQ(FirstsOf(edges).first, bins->firsts) << what;
      ASSERT_EQ(question.last, bins->last) << what;
    } else if (!bins->firsts.empty()) {
      ASSERT_LE(bins->firsts[0], question.first) << what;
      ASSERT_GE(bins->last, question.last) << what;
    }
  }
}

TEST(CounterOverTimeTest, BinsEqualAPlainScanAtEveryWidthOfCells) {
  std::mt19937 random(1);
  // Few samples have cells of one cycle, many samples wide ones.
  for (const auto& [count, step] :
       std::vector<std::pair<size_t, uint64_t>>{{200, 1}, {3000, 4}, {20000, 40}, {60000, 1000}}) {
    const std::vector<CounterSample> samples = RandomSamples(random, count, step, random() % 100);
    const Sampled sampled(samples);
    CompareWithScan(sampled, samples, random);
  }
}

TEST(CounterOverTimeTest, WhatIsKeptTellsTheSameAsWhatWasMade) {
  std::mt19937 random(2);
  const std::vector<CounterSample> samples = RandomSamples(random, 20000, 40);
  Sampled sampled(samples);
  ASSERT_TRUE(sampled.index->IsKept());
  sampled.Reopen();
  CompareWithScan(sampled, samples, random);
}

TEST(CounterOverTimeTest, ValueAtACycleIsThatOfTheLastSampleBefore) {
  const Place at = {1, 2};
  const Sampled sampled({{10, 0, at, 3}, {20, 0, at, 5}, {20, 0, at, 4}, {30, 0, {0, 0}, 100}});
  const auto value = [&](uint64_t cycle, const std::optional<Place>& place) {
    std::optional<double> found;
    EXPECT_TRUE(Take(CounterAt(*sampled.file, *sampled.index, 0, place, cycle), found));
    return found;
  };
  EXPECT_EQ(std::nullopt, value(9, at));
  EXPECT_EQ(3, value(10, at));
  EXPECT_EQ(3, value(19, at));
  EXPECT_EQ(4, value(20, at));  // what was replaced in its cycle does not count
  EXPECT_EQ(4, value(~uint64_t{0}, at));
  EXPECT_EQ(4, value(29, std::nullopt));
  EXPECT_EQ(104, value(30, std::nullopt));
  EXPECT_EQ(std::nullopt, value(30, Place{5, 5}));
}

TEST(CounterOverTimeTest, LastCyclesOfAllAreCounted) {
  const uint64_t last = ~uint64_t{0};
  const Place at = {1, 2};
  const std::vector<CounterSample> samples = {
      {0, 0, at, 1}, {last - 8, 0, at, 2}, {last - 1, 0, at, 3}, {last, 0, at, 4}};
  const Sampled sampled(samples);
  for (const uint64_t first : {last - 20, last - 8, last - 3, last}) {
    CounterQuestion question;
    question.at = at;
    question.first = first;
    question.last = last;
    const Result<CounterBins> bins = CounterOverTime(*sampled.file, *sampled.index, question);
    ASSERT_TRUE(bins) << bins.Why().Text();
    ExpectScanned(*bins, StepsOf(samples, 0, at), std::to_string(first));
  }
}

TEST(CounterOverTimeTest, RangeWithoutCyclesHasNoBins) {
  const Sampled sampled({{10, 0, {1, 2}, 3}});
  CounterQuestion question;
  question.first = 5;
  question.last = 4;
  const Result<CounterBins> bins = CounterOverTime(*sampled.file, *sampled.index, question);
  ASSERT_TRUE(bins);
  EXPECT_TRUE(bins->spans.empty());
}

TEST(CounterOverTimeTest, SamplesThatGoBackInTimeAreNoCounter) {
  const Sampled back({{10, 0, {1, 2}, 3}, {9, 0, {1, 2}, 4}, {20, 1, {0, 0}, 1}});
  CounterQuestion question;
  question.at = Place{1, 2};
  Result<CounterBins> bins = CounterOverTime(*back.file, *back.index, question);
  EXPECT_EQ(Fault::DAMAGED_NOTES, bins.Why().kind);
  EXPECT_THAT(bins.Why().Text(), HasSubstr("the samples of queue go back in time"));
  // From one place to another they may; only their sum is not known then.
  const Sampled places({{10, 0, {1, 2}, 3}, {9, 0, {1, 3}, 4}});
  bins = CounterOverTime(*places.file, *places.index, question);
  EXPECT_TRUE(bins);
  question.at = std::nullopt;
  bins = CounterOverTime(*places.file, *places.index, question);
  EXPECT_EQ(Fault::OUT_OF_RANGE, bins.Why().kind);
}

TEST(CounterOverTimeTest, ReadingTellsHowFarItIsAndCanBeStopped) {
  std::mt19937 random(5);
  const Sampled sampled(RandomSamples(random, 150000, 400));
  CounterQuestion question;
  question.first = 1001;
  question.last = 300000;
  question.bins = 1000;
  std::vector<Progress> told;
  const auto ask = [&](bool goOn) {
    return CounterOverTime(*sampled.file, *sampled.index, question, [&](const Progress& now) {
      told.push_back(now);
      return goOn;
    });
  };
  EXPECT_EQ(Fault::CANCELLED, ask(false).Why().kind);
  EXPECT_EQ(1U, told.size());
  told.clear();
  EXPECT_TRUE(ask(true));
  ASSERT_GT(told.size(), 1U);
  for (const Progress& now : told) {
    EXPECT_EQ(Progress::BYTES, now.unit);
    EXPECT_EQ(sampled.bytes.size(), now.all);
    EXPECT_LT(now.done, now.all);
  }
  // What the index tells needs no reading, which nobody can stop.
  question.readAtMost = 0;
  EXPECT_TRUE(ask(false));
}

TEST(CounterOverTimeTest, CounterThatIsNotDeclaredIsAFault) {
  const Sampled sampled({{10, 0, {1, 2}, 3}});
  CounterQuestion question;
  question.counter = COUNTERS;
  EXPECT_EQ(Fault::OUT_OF_RANGE,
            CounterOverTime(*sampled.file, *sampled.index, question).Why().kind);
}

TEST(CounterOverTimeTest, BehindADamagedBlockNothingIsKnownOfCounters) {
  std::mt19937 random(3);
  Sampled sampled(RandomSamples(random, 3000, 4));
  const NotesEntry entry = sampled.file->Blocks()[2];
  sampled.bytes[entry.offset + NOTES_BLOCK_HEAD + 5] ^= 1;
  sampled.store = IndexInMemory();
  sampled.Reopen();
  EXPECT_FALSE(sampled.index->IsKept());
  const Result<CounterBins> bins = CounterOverTime(*sampled.file, *sampled.index, {});
  EXPECT_EQ(Fault::DAMAGED_NOTES, bins.Why().kind);
  EXPECT_THAT(bins.Why().Text(), HasSubstr("byte " + std::to_string(entry.offset)));
}

TEST(CounterTableTest, CellsAreBoundedHoweverManyCountersThereAre) {
  std::mt19937 random(4);
  CounterTable table({.series = 60, .cells = 1024, .seriesCells = 256, .leastCells = 4});
  std::vector<CounterSample> samples;
  uint64_t cycle = 0;
  for (size_t i = 0; i < 30000; ++i) {
    cycle += random() % 5;
    samples.push_back({cycle, 0, {static_cast<uint32_t>(random() % (1 + i / 400)), 7}, 1.0});
    table.Add(samples.back());
  }
  size_t cells = 0;
  size_t sums = 0;
  for (const CounterTable::Entry& entry : table.Entries()) {
    (entry.key.all ? sums : cells) += entry.series.Cells().size();
  }
  EXPECT_LE(cells, 1024U);
  EXPECT_LE(sums, 256U);
  EXPECT_FALSE(table.IsWhole());
  EXPECT_EQ(61U, table.Entries().size());
}

TEST(CounterSeriesTest, BytesThatAreNoSeriesAreRefused) {
  CounterSeries series;
  for (uint64_t cycle = 5; cycle < 300; cycle += 3) {
    series.Add(cycle, static_cast<double>(cycle % 7));
  }
  series.Limit(16);
  const std::vector<uint8_t> bytes = series.Encode();
  const std::optional<CounterSeries> again = CounterSeries::Decode(bytes);
  ASSERT_TRUE(again);
  EXPECT_EQ(bytes, again->Encode());
  for (size_t size = 0; size < bytes.size(); ++size) {
    EXPECT_FALSE(CounterSeries::Decode(std::span(bytes).first(size))) << size;
  }
}

}  // namespace
}  // namespace marrowfin::testing
