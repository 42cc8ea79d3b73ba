#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

#include "tests/explorer/core/AskedTrace.h"
#include "tests/trace/support/NotedTrace.h"
#include "tests/trace/support/RandomTrace.h"

namespace marrowfin::testing {
namespace {

using nlohmann::json;
using ::testing::ElementsAre;

class ActivityAnswersTest : public ::testing::Test {
 protected:
  void Begin(const std::vector<std::pair<std::string, std::string>>& beside = {}) {
    asked = std::make_unique<AskedTrace>(Encode(events), beside);
    asked->UntilReady();
  }

  static json Question(uint64_t first, uint64_t last, uint64_t bins) {
    return {{"ask", "activity"},
            {"first", std::to_string(first)},
            {"last", std::to_string(last)},
            {"bins", bins}};
  }

  // Counts of a type in the bins that an answer told, by looking at all events.
  template <class Wanted>
  std::vector<double> Count(const ReadAnswer& answer, uint32_t type, Wanted wanted) const {
    const std::vector<uint64_t> firsts = answer.Wide("first");
    const uint64_t last = std::stoull(answer.head["last"].get<std::string>());
    std::vector<double> counts(firsts.size());
    for (size_t i = 0; i < events.size(); ++i) {
      const uint64_t cycle = events[i].cycle;
      if (events[i].type == type && cycle >= firsts[0] && cycle <= last && wanted(i)) {
        const auto behind = std::upper_bound(firsts.begin(), firsts.end(), cycle);
        ++counts[static_cast<size_t>(behind - firsts.begin()) - 1];
      }
    }
    return counts;
  }

  static std::vector<double> Part(const ReadAnswer& answer, size_t slot, size_t type) {
    const std::vector<double> all = answer.Of("count");
    const size_t bins = answer.Of("first").size();
    const auto begin = all.begin() + static_cast<std::ptrdiff_t>((slot * 3 + type) * bins);
    return {begin, begin + static_cast<std::ptrdiff_t>(bins)};
  }

  std::mt19937 random{11};
  std::vector<Event> events = RandomEvents(random, {});
  std::unique_ptr<AskedTrace> asked;
};

TEST_F(ActivityAnswersTest, BinsHaveTheEventsOfEachType) {
  Begin();
  const ReadAnswer answer = asked->Ask(Question(20, 219, 10));
  EXPECT_EQ(answer.head["exact"], true);
  EXPECT_THAT(answer.head["types"], ElementsAre("switch", "fire", "send"));
  EXPECT_THAT(answer.Of("first"), ElementsAre(20, 40, 60, 80, 100, 120, 140, 160, 180, 200));
  EXPECT_EQ(answer.head["last"], "219");
  for (size_t type = 0; type < 3; ++type) {
    const auto record = static_cast<uint32_t>(type + 2);
    EXPECT_EQ(Part(answer, 0, type), Count(answer, record, [](size_t) { return true; })) << type;
  }
}

TEST_F(ActivityAnswersTest, BinsHaveTheEventsOfEachThread) {
  Begin();
  json question = Question(0, 255, 7);
  question["by"] = "thread";
  const ReadAnswer answer = asked->Ask(question);
  const std::vector<uint32_t> threads = answer.head["threads"];
  ASSERT_EQ(threads.size(), 9U);
  for (size_t slot = 0; slot < threads.size(); ++slot) {
    EXPECT_EQ(Part(answer, slot, 1), Count(answer, FIRE_RECORD, [&](size_t i) {
                return events[i].thread == threads[slot];
              }));
  }
  EXPECT_EQ(answer.Of("count").size(), 10 * 3 * 7U);
}

TEST_F(ActivityAnswersTest, BinsHaveTheEventsOfEachKind) {
  const NotedEvents noted = RandomNotes(random, events);
  Begin({{".notes", NotesBytes(noted, random, 100)}});
  json question = Question(0, 255, 5);
  question["by"] = "kind";
  const ReadAnswer answer = asked->Ask(question);
  ASSERT_EQ(answer.Code(), "") << answer.head.dump();
  const size_t kinds = answer.head["kinds"].size();
  ASSERT_GT(kinds, 1U);
  std::vector<double> sum(5);
  for (size_t slot = 0; slot < kinds + 2; ++slot) {
    const std::vector<double> part = Part(answer, slot, 1);
    std::transform(sum.begin(), sum.end(), part.begin(), sum.begin(), std::plus<>());
  }
  EXPECT_EQ(sum, Count(answer, FIRE_RECORD, [](size_t) { return true; }));
  EXPECT_EQ(Part(answer, kinds + 1, 1),
            Count(answer, FIRE_RECORD, [&](size_t i) { return noted.values[KIND][i].empty(); }));
}

TEST_F(ActivityAnswersTest, TheWorstIsTheHighestNumberOfEventsInACycle) {
  Begin();
  json question = Question(0, 159, 10);
  question["worst"] = true;
  const ReadAnswer answer = asked->Ask(question);
  std::map<uint64_t, double> fires;
  for (const Event& event : events) {
    fires[event.cycle] += event.type == FIRE_RECORD ? 1 : 0;
  }
  for (size_t bin = 0; bin < 10; ++bin) {
    double most = 0;
    for (uint64_t cycle = bin * 16; cycle < bin * 16 + 16; ++cycle) {
      most = std::max(most, fires[cycle]);
    }
    EXPECT_EQ(answer.Of("worst")[10 + bin], most) << bin;
    EXPECT_EQ(answer.Of("worstCycles")[bin], 1) << bin;
  }
}

TEST_F(ActivityAnswersTest, WhereNoNotesAreThereAreNoKinds) {
  Begin();
  json question = Question(0, 255, 5);
  question["by"] = "kind";
  EXPECT_EQ(asked->Ask(question).Code(), "not-there");
}

TEST_F(ActivityAnswersTest, MoreBinsThanCyclesAreAnswered) {
  Begin();
  const ReadAnswer answer = asked->Ask(Question(5, 9, 8192));
  EXPECT_EQ(answer.Code(), "");
  const std::vector<double> fires = Part(answer, 0, 1);
  double sum = 0;
  for (const double count : fires) {
    sum += count;
  }
  EXPECT_EQ(sum, std::count_if(events.begin(), events.end(), [](const Event& event) {
              return event.type == FIRE_RECORD && event.cycle >= 5 && event.cycle <= 9;
            }));
}

}  // namespace
}  // namespace marrowfin::testing
