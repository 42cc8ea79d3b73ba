#include "trace/ask/ActivityOverTime.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <map>
#include <random>

#include "tests/support/TraceText.h"
#include "tests/trace/support/Opened.h"
#include "tests/trace/support/RandomTrace.h"

namespace marrowfin::testing {
namespace {

constexpr uint64_t LAST_CYCLE = ~uint64_t{0};

// A trace whose index has a time table of few cells, as that of a long trace has.
struct Coarse {
  explicit Coarse(const std::vector<Event>& events, size_t cells = 32) : opened(Encode(events)) {
    EXPECT_TRUE(IsFine(Index::Build(*opened.trace, opened.index->FileName(), {},
                                    {.segmentRecords = 1, .entryRecords = 1, .timeCells = cells})));
    opened.Reopen();
  }

  Result<ActivityBins> Ask(const ActivityQuestion& question,
                           const ProgressCallback& progress = {}) const {
    return ActivityOverTime(*opened.trace, *opened.index, question, progress);
  }

  Opened opened;
};

// The counts by first cycle of the bin, thread (the number of threads for all others) and type.
typedef std::map<std::tuple<size_t, size_t, uint32_t>, uint64_t> Counts;

// Counts record by record in bins that begin with these cycles.
Counts Scan(const std::vector<Event>& events, const ActivityBins& bins) {
  Counts counts;
  for (const Event& event : events) {
    const auto above = std::upper_bound(bins.firsts.begin(), bins.firsts.end(), event.cycle);
    if (above != bins.firsts.begin() && event.cycle <= bins.last) {
      const auto known = std::find(bins.threads.begin(), bins.threads.end(), event.thread);
      ++counts[{static_cast<size_t>(above - bins.firsts.begin()) - 1,
                static_cast<size_t>(known - bins.threads.begin()), event.type}];
    }
  }
  return counts;
}

Counts Told(const ActivityBins& bins) {
  Counts counts;
  for (size_t slot = 0; slot <= bins.threads.size(); ++slot) {
    for (const uint32_t type : {SWITCH_RECORD, FIRE_RECORD, SEND_RECORD}) {
      for (size_t bin = 0; bin < bins.firsts.size(); ++bin) {
        if (bins.Of(slot, type)[bin] > 0) {
          counts[{bin, slot, type}] = bins.Of(slot, type)[bin];
        }
      }
    }
  }
  return counts;
}

std::vector<uint64_t> EqualBins(uint64_t first, uint64_t last, size_t bins) {
  std::vector<uint64_t> firsts;
  for (size_t b = 0; b < bins; ++b) {
    const unsigned __int128 range = static_cast<unsigned __int128>(last - first) + 1;
    firsts.push_back(first + static_cast<uint64_t>(range * b / bins));
  }
  return firsts;
}

std::vector<Event> Draw(std::mt19937& random, bool falling) {
  RandomTraceOptions options;
  options.records = 1 + random() % 3000;
  options.perCycle = 1 + static_cast<unsigned>(random() % 9);
  options.threads = 1 + static_cast<unsigned>(random() % 24);
  options.firstCycle = random() % 2 == 0 ? 0 : random() % 10000;
  options.falling = falling;
  return RandomEvents(random, options);
}

ActivityQuestion DrawQuestion(std::mt19937& random, const std::vector<Event>& events) {
  const uint64_t most = events.back().cycle + 40;
  const uint64_t a = random() % most;
  const uint64_t b = random() % most;
  return {.first = std::min(a, b), .last = std::max(a, b), .bins = 1 + random() % 60};
}

TEST(ActivityOverTimeTest, EveryBinHasTheRecordsOfItsCycles) {
  std::mt19937 random(1);
  for (int round = 0; round < 40; ++round) {
    const std::vector<Event> events = Draw(random, round % 2 == 0);
    const Coarse coarse(events, size_t{2} << random() % 10);
    for (int i = 0; i < 10; ++i) {
      const ActivityQuestion question = DrawQuestion(random, events);
      const Result<ActivityBins> bins = coarse.Ask(question);
      ASSERT_TRUE(bins) << bins.Why().Text();
      ASSERT_EQ(bins->firsts, EqualBins(question.first, question.last, question.bins));
      ASSERT_EQ(bins->last, question.last);
      ASSERT_EQ(Told(*bins), Scan(events, *bins))
          << "round " << round << ", cycles " << question.first << " to " << question.last << " in "
          << question.bins << " bins";
    }
  }
}

TEST(ActivityOverTimeTest, BinsThatEndBetweenCellsAreToldWithoutReading) {
  std::mt19937 random(2);
  for (int round = 0; round < 40; ++round) {
    const std::vector<Event> events = Draw(random, round % 2 == 0);
    const Coarse coarse(events, size_t{2} << random() % 10);
    ActivityQuestion question = DrawQuestion(random, events);
    question.readAtMost = 0;
    const Result<ActivityBins> bins = coarse.Ask(question, [](const Progress&) {
      ADD_FAILURE() << "something was read";
      return true;
    });
    ASSERT_TRUE(bins) << bins.Why().Text();
    ASSERT_EQ(Told(*bins), Scan(events, *bins)) << "exact for the bins that it tells of";
    ASSERT_FALSE(bins->firsts.empty());
    EXPECT_LE(bins->firsts.size(), question.bins);
    EXPECT_LE(bins->firsts.front(), question.first);
    EXPECT_GE(bins->last, question.last);
    EXPECT_TRUE(std::is_sorted(bins->firsts.begin(), bins->firsts.end()));
    const Result<const TimeTable*> times = coarse.opened.index->Times();
    const uint64_t width = uint64_t{1} << (*times)->Shift();
    const std::vector<uint64_t> asked = EqualBins(question.first, question.last, question.bins);
    for (const uint64_t first : bins->firsts) {
      EXPECT_TRUE(std::ranges::any_of(
          asked,
          [&](uint64_t edge) {
            return edge == first ||
                   (first % width == 0 && std::max(edge, first) - std::min(edge, first) < width);
          }))
          << first << " is no edge that was asked for, nor the end of the cell that had one";
    }
  }
}

TEST(ActivityOverTimeTest, ReadsNoMoreThanItMay) {
  std::vector<Event> events(10000);
  for (size_t i = 0; i < events.size(); ++i) {
    events[i].cycle = i / 2;
  }
  const Coarse coarse(events);
  const auto ask = [&](uint64_t readAtMost, uint64_t& read) {
    const ActivityQuestion question = {
        .first = 3, .last = 2400, .bins = 2, .readAtMost = readAtMost};
    return coarse.Ask(question, [&](const Progress& progress) {
      EXPECT_EQ(progress.unit, Progress::RECORDS);
      EXPECT_LE(progress.done, progress.all);
      read = progress.all;
      return true;
    });
  };
  uint64_t needed = 0;
  Result<ActivityBins> bins = ask(LAST_CYCLE, needed);
  ASSERT_TRUE(bins);
  EXPECT_EQ(bins->firsts.front(), 3U);
  EXPECT_GT(needed, 0U);
  EXPECT_LT(needed, 3000U) << "the cells where bins end, and little around them";
  uint64_t read = 0;
  bins = ask(needed, read);
  ASSERT_TRUE(bins);
  EXPECT_EQ(bins->firsts.front(), 3U);
  EXPECT_EQ(read, needed);
  read = 0;
  bins = ask(needed - 1, read);
  ASSERT_TRUE(bins);
  EXPECT_EQ(bins->firsts.front(), 0U);
  EXPECT_EQ(read, 0U);
}

TEST(ActivityOverTimeTest, AllCyclesThereCanBeAreOneRange) {
  const Opened opened(
      TraceBytes("fire 0 0 1 1\nfire 5 0 1 1\n"
                 "fire 9223372036854775808 0 1 1\n"
                 "fire 18446744073709551615 0 1 1\n"));
  for (const uint64_t readAtMost : {LAST_CYCLE, uint64_t{0}}) {
    for (const auto& [bins, expected] : std::vector<std::pair<size_t, std::vector<uint64_t>>>{
             {1, {4}}, {2, {2, 2}}, {4, {2, 0, 1, 1}}}) {
      const ActivityQuestion question = {.bins = bins, .readAtMost = readAtMost};
      const Result<ActivityBins> told = ActivityOverTime(*opened.trace, *opened.index, question);
      ASSERT_TRUE(told);
      EXPECT_EQ(told->last, LAST_CYCLE);
      EXPECT_TRUE(std::ranges::equal(told->Of(0, FIRE_RECORD), expected));
    }
  }
}

TEST(ActivityOverTimeTest, MoreBinsThanCyclesLeaveBinsEmpty) {
  const Opened opened(TraceBytes("fire 4 0 1 1\nfire 5 0 1 1\nfire 5 0 1 1\n"));
  const ActivityQuestion question = {.first = 4, .last = 5, .bins = 4};
  const Result<ActivityBins> bins = ActivityOverTime(*opened.trace, *opened.index, question);
  ASSERT_TRUE(bins);
  EXPECT_EQ(bins->firsts, (std::vector<uint64_t>{4, 4, 5, 5}));
  EXPECT_TRUE(std::ranges::equal(bins->Of(0, FIRE_RECORD), std::vector<uint64_t>{0, 1, 0, 2}));
}

TEST(ActivityOverTimeTest, NothingIsToldOfNothing) {
  const Opened empty("");
  Result<ActivityBins> bins = ActivityOverTime(*empty.trace, *empty.index, {.last = 9, .bins = 3});
  ASSERT_TRUE(bins);
  EXPECT_EQ(bins->firsts, (std::vector<uint64_t>{0, 3, 6}));
  EXPECT_TRUE(std::ranges::equal(bins->Of(0, SEND_RECORD), std::vector<uint64_t>{0, 0, 0}));
  const Opened opened(TraceBytes("fire 4 0 1 1\n"));
  for (const ActivityQuestion& question :
       {ActivityQuestion{.bins = 0}, ActivityQuestion{.first = 5, .last = 4, .bins = 3}}) {
    bins = ActivityOverTime(*opened.trace, *opened.index, question);
    ASSERT_TRUE(bins);
    EXPECT_TRUE(bins->firsts.empty());
    EXPECT_TRUE(bins->counts.empty());
  }
}

TEST(ActivityOverTimeTest, CallerStopsTheReading) {
  std::mt19937 random(4);
  for (const bool falling : {false, true}) {
    std::vector<Event> events(20000);
    for (size_t i = 0; i < events.size(); ++i) {
      events[i].cycle = falling && i == 9000 ? 0 : i;
    }
    const Coarse coarse(events);
    size_t calls = 0;
    const Result<ActivityBins> bins = coarse.Ask({.first = 1, .last = 9990, .bins = 7},
                                                 [&](const Progress&) { return ++calls < 3; });
    ASSERT_FALSE(bins);
    EXPECT_EQ(bins.Why().kind, Fault::CANCELLED);
    EXPECT_EQ(calls, 3U);
  }
}

TEST(ActivityOverTimeTest, TraceThatWasWrittenAnewIsAFaultThatSaysSo) {
  std::vector<Event> events(5000);
  for (size_t i = 0; i < events.size(); ++i) {
    events[i].cycle = i;
  }
  const Coarse coarse(events);
  events.resize(4000);
  WriteFile(coarse.opened.name, Encode(events));
  for (const uint64_t readAtMost : {LAST_CYCLE, uint64_t{0}}) {
    const Result<ActivityBins> bins = coarse.Ask({.first = 1, .bins = 7, .readAtMost = readAtMost});
    ASSERT_FALSE(bins);
    EXPECT_EQ(bins.Why().kind, Fault::CHANGED) << bins.Why().Text();
  }
}

TEST(ActivityOverTimeTest, CellsWithOtherRecordsThanTheIndexCountedAreAFaultThatNamesIt) {
  std::vector<Event> events(2000);
  for (size_t i = 0; i < events.size(); ++i) {
    events[i].cycle = i;
  }
  const Coarse coarse(events);
  // Neither its times nor any record that is compared tells that it was changed.
  events[300].cycle = 299;
  for (size_t i = 301; i < 340; ++i) {
    events[i].cycle = 340;
  }
  struct stat before;
  ASSERT_EQ(stat(coarse.opened.name.c_str(), &before), 0);
  const int file = open(coarse.opened.name.c_str(), O_WRONLY | O_CLOEXEC);
  ASSERT_NE(file, -1);
  const std::string bytes = Encode(events);
  ASSERT_EQ(pwrite(file, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
  const struct timespec times[] = {before.st_atim, before.st_mtim};
  ASSERT_EQ(futimens(file, times), 0);
  close(file);
  const Result<ActivityBins> bins = coarse.Ask({.first = 301, .last = 1999, .bins = 1});
  ASSERT_FALSE(bins);
  EXPECT_EQ(bins.Why().kind, Fault::DAMAGED_INDEX) << bins.Why().Text();
  EXPECT_EQ(bins.Why().file, coarse.opened.index->FileName());
}

}  // namespace
}  // namespace marrowfin::testing
