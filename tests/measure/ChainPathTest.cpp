#include "measure/ChainPath.h"

#include <gtest/gtest.h>

#include "tests/measure/CausesFixture.h"

namespace marrowfin::testing {
namespace {

// A message that goes to and fro between elements of two domains, of a chain of so many rounds.
void PlayBall(RecordedRun& run, uint64_t rounds) {
  uint64_t cycle = 5;
  RecordNumber before = run.recorder.Fire(cycle, 0, {0, 0});
  for (uint64_t i = 0; i < rounds; ++i) {
    for (const auto& [from, to] : {std::pair(Place{0, 0}, Place{3, 1}), {{3, 1}, {0, 0}}}) {
      const RecordNumber send = run.recorder.Send(++cycle, 0, from, to);
      run.recorder.Note(run.producedBy, before);
      before = run.recorder.Fire(++cycle, 0, to);
      run.recorder.Note(run.consumes, send);
    }
  }
  run.End();
}

Result<ChainPath> PathIn(RecordedRun& run, Level level) {
  CauseQuestion question;
  question.shape = ArrayShape(1, 2, 2);
  const Result<Causes> causes = run.Find(question);
  EXPECT_TRUE(IsFine(causes.Why()));
  const Result<CausalChain> chain = FindChain(*causes, question.shape, *causes->last);
  EXPECT_TRUE(IsFine(chain.Why()));
  return PathOf(*causes, *chain, question.shape, level);
}

TEST(ChainPathTest, StopsAreInOrderAndMovesAreCounted) {
  RecordedRun run;
  PlayBall(run, 2);
  const Result<ChainPath> path = PathIn(run, Level::PE);
  ASSERT_TRUE(path);
  ASSERT_EQ(path->stops.size(), 9U) << "fires and messages";
  EXPECT_EQ(path->stops.front().time, 5U);
  EXPECT_EQ(path->stops[2].at, (Place{3, 1}));
  EXPECT_EQ(path->stops.back().time, 13U);
  EXPECT_EQ(path->stops.back().at, (Place{0, 0}));
  ASSERT_EQ(path->moves.size(), 2U);
  EXPECT_EQ(path->moves[0].from, (Place{0, 0}));
  EXPECT_EQ(path->moves[0].to, (Place{3, 1}));
  EXPECT_EQ(path->moves[0].times, 2U);
  EXPECT_EQ(path->moves[1].times, 2U);
}

TEST(ChainPathTest, MovesAreThoseBetweenUnitsOfALevel) {
  RecordedRun run;
  PlayBall(run, 1);
  const Result<ChainPath> domains = PathIn(run, Level::DOMAIN);
  ASSERT_TRUE(domains);
  ASSERT_EQ(domains->moves.size(), 2U);
  EXPECT_EQ(domains->moves[0].to, (Place{1, 0}));
  const Result<ChainPath> clusters = PathIn(run, Level::CLUSTER);
  ASSERT_TRUE(clusters);
  EXPECT_TRUE(clusters->moves.empty());
}

TEST(ChainPathTest, LongChainsAreToldInPieces) {
  RecordedRun run;
  PlayBall(run, 20000);
  const Result<ChainPath> path = PathIn(run, Level::PE);
  ASSERT_TRUE(path);
  EXPECT_EQ(path->moves[0].times, 20000U);
  EXPECT_EQ(path->stops.front().time, 5U);
  EXPECT_EQ(path->stops.back().time, 5U + 80000);
}

}  // namespace
}  // namespace marrowfin::testing
