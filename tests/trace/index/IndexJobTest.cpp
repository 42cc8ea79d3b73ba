#include "trace/index/IndexJob.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <random>

#include "tests/support/Files.h"
#include "tests/trace/support/Answers.h"
#include "tests/trace/support/Opened.h"
#include "tests/trace/support/RandomTrace.h"
#include "trace/index/IndexStore.h"

namespace marrowfin::testing {
namespace {

namespace fs = std::filesystem;

constexpr ArrayShape SHAPE = {2, 2, 4};
constexpr uint64_t STEP = 500000;

std::string Trace(size_t records, uint32_t seed = 1) {
  std::mt19937 random(seed);
  RandomTraceOptions options;
  options.shape = SHAPE;
  options.records = records;
  options.perCycle = 50;
  return Encode(RandomEvents(random, options));
}

std::unique_ptr<TraceSource> InMemory(const std::string& bytes) {
  return Made(
      TraceSource::Over(MemoryFile(std::vector<uint8_t>(bytes.begin(), bytes.end()), "memory")));
}

// The answers of an index that is built of these bytes at once.
std::string AnswersOf(const std::string& bytes) {
  const auto trace = InMemory(bytes);
  const auto store = IndexInMemory();
  const auto index = Made(Index::Open(*trace, *store));
  return Answers(*trace, *index, SHAPE, 1);
}

bool Goes(IndexJob& job) {
  const Result<bool> more = job.Step(STEP);
  EXPECT_TRUE(IsFine(more.Why()));
  return more && *more;
}

// In memory and in files alike.
class IndexJobTest : public ::testing::TestWithParam<bool> {
 protected:
  std::unique_ptr<IndexStore> Store() {
    return GetParam() ? IndexInMemory() : IndexFileAt(folder.File("i"), 0600);
  }

  TempDir folder;
};

TEST_P(IndexJobTest, JobMakesTheIndexThatIsMadeAtOnce) {
  const std::string bytes = Trace(200000);
  const auto trace = InMemory(bytes);
  const auto store = Store();
  const auto job = Made(IndexJob::Begin(*trace, *store));
  uint64_t reached = 0;
  while (Goes(*job)) {
    const Progress progress = job->GetProgress();
    EXPECT_GE(progress.done, reached + STEP);
    EXPECT_LT(progress.done, reached + STEP + 20000);
    EXPECT_EQ(progress.all, bytes.size());
    EXPECT_EQ(progress.unit, Progress::BYTES);
    reached = progress.done;
  }
  const auto index = Made(job->Finish());
  EXPECT_EQ(Answers(*trace, *index, SHAPE, 1), AnswersOf(bytes));
  ASSERT_EQ(store->Find().size(), 1U);
  const auto loaded = Made(Index::Load(*trace, std::move(store->Find()[0])));
  EXPECT_EQ(Answers(*trace, *loaded, SHAPE, 1), AnswersOf(bytes));
}

TEST_P(IndexJobTest, WhatIsIndexedSoFarAnswersAsIfTheTraceEndedThere) {
  const std::string bytes = Trace(250000);
  const auto trace = InMemory(bytes);
  const auto store = Store();
  auto job = Made(IndexJob::Begin(*trace, *store));
  EXPECT_EQ(Made(job->SoFar())->GetSummary().records, 0U);
  std::vector<std::unique_ptr<Index>> indexes;
  while (Goes(*job)) {
    indexes.push_back(Made(job->SoFar()));
    const Summary& summary = indexes.back()->GetSummary();
    ASSERT_EQ(indexes.back()->Boundaries().size(), summary.records / 32768);
    ASSERT_EQ(Answers(*trace, *indexes.back(), SHAPE, 1),
              AnswersOf(bytes.substr(0, summary.bytes)));
  }
  ASSERT_GT(indexes.size(), 10U);
  ASSERT_GT(indexes.back()->GetSummary().records, 200000U);
  // They stay what they are while the job goes on, and when it is gone.
  const std::string expected = AnswersOf(bytes.substr(0, indexes[5]->GetSummary().bytes));
  EXPECT_EQ(Answers(*trace, *indexes[5], SHAPE, 1), expected);
  Made(job->Finish());
  job.reset();
  EXPECT_EQ(Answers(*trace, *indexes[5]->Another(), SHAPE, 1), expected);
}

TEST_P(IndexJobTest, JobThatIsLeftLeavesNothing) {
  const auto trace = InMemory(Trace(100000));
  const auto store = Store();
  auto job = Made(IndexJob::Begin(*trace, *store));
  EXPECT_TRUE(Goes(*job));
  job.reset();
  EXPECT_TRUE(store->Find().empty());
  EXPECT_TRUE(fs::is_empty(folder.Path()));
}

TEST_P(IndexJobTest, JobGoesOnFromTheIndexOfWhatTheTraceWas) {
  const std::string bytes = Trace(200000);
  const auto store = Store();
  Made(Index::Open(*InMemory(bytes.substr(0, bytes.size() / 2)), *store));
  const auto trace = InMemory(bytes);
  const auto old = Made(Index::Load(*trace, std::move(store->Find()[0])));
  const auto job = Made(IndexJob::Begin(*trace, *store, old.get()));
  EXPECT_GT(job->GetProgress().done, bytes.size() / 4);
  while (Goes(*job)) {
  }
  EXPECT_EQ(Answers(*trace, *Made(job->Finish()), SHAPE, 1), AnswersOf(bytes));
}

TEST_P(IndexJobTest, TraceThatBreaksOffIsIndexedUpToThere) {
  const std::string bytes = Trace(100000) + "this is no record";
  const auto trace = InMemory(bytes);
  const auto store = Store();
  const auto job = Made(IndexJob::Begin(*trace, *store));
  while (Goes(*job)) {
  }
  const auto index = Made(job->Finish());
  EXPECT_EQ(index->GetSummary().records, 100000U);
  EXPECT_EQ(index->GetSummary().end.kind, Fault::CUT_RECORD);
  EXPECT_EQ(index->GetSummary().end.file, "memory");
}

INSTANTIATE_TEST_SUITE_P(Stores, IndexJobTest, ::testing::Bool(),
                         [](const auto& info) { return info.param ? "Memory" : "Files"; });

}  // namespace
}  // namespace marrowfin::testing
