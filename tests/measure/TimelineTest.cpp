#include "measure/Timeline.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <numeric>
#include <random>
#include <vector>

namespace marrowfin::testing {
namespace {

constexpr uint32_t MOST = Timeline::MOST_THREADS;

// The fires of each thread that is told apart, and of all others.
std::map<uint32_t, std::vector<uint64_t>> FiresOf(const Timeline& times) {
  std::map<uint32_t, std::vector<uint64_t>> fires;
  for (const uint32_t thread : times.Threads()) {
    fires[thread] = times.OfThread(thread);
  }
  fires[~uint32_t{0}] = times.OfOthers();
  return fires;
}

Timeline Counted(const std::vector<uint32_t>& threads, size_t from, size_t to) {
  Timeline times({0, 99, 10});
  for (size_t i = from; i < to; ++i) {
    times.Add(FIRE_RECORD, i * 100 / threads.size(), threads[i]);
  }
  return times;
}

TEST(TimelineTest, OfManyThreadsThoseWithTheLowestNumbersAreToldApart) {
  std::vector<uint32_t> threads(2 * MOST);
  std::iota(threads.begin(), threads.end(), 1000U);
  for (const bool descending : {false, true}) {
    const Timeline times = Counted(threads, 0, threads.size());
    const std::vector<uint32_t> told = times.Threads();
    ASSERT_EQ(told.size(), MOST) << descending;
    EXPECT_EQ(told.front(), 1000U);
    EXPECT_EQ(told.back(), 999U + MOST);
    const std::vector<uint64_t>& others = times.OfOthers();
    EXPECT_EQ(std::accumulate(others.begin(), others.end(), uint64_t{0}), MOST);
    std::reverse(threads.begin(), threads.end());
  }
}

TEST(TimelineTest, InHoweverManyPiecesTheAnswerIsTheSame) {
  std::mt19937 random(3);
  std::vector<uint32_t> threads(20000);
  for (uint32_t& thread : threads) {
    thread = static_cast<uint32_t>(random() % (3 * MOST));
  }
  const auto whole = FiresOf(Counted(threads, 0, threads.size()));
  EXPECT_EQ(whole.size(), MOST + 1);
  for (const size_t pieces : {2U, 3U, 7U}) {
    Timeline sum({0, 99, 10});
    for (size_t i = 0; i < pieces; ++i) {
      sum.Add(Counted(threads, threads.size() * i / pieces, threads.size() * (i + 1) / pieces));
    }
    EXPECT_EQ(FiresOf(sum), whole) << pieces;
  }
}

}  // namespace
}  // namespace marrowfin::testing
