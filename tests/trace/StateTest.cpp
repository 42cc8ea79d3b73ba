#include <gtest/gtest.h>

#include <random>

#include "tests/support/Files.h"
#include "tests/trace/RandomTrace.h"
#include "tests/trace/ViewerModel.h"
#include "trace/StateReader.h"

namespace marrowfin::testing {
namespace {

struct Opened {
  explicit Opened(const std::string& bytes) {
    WriteFile(name, bytes);
    Fault fault;
    trace = TraceFile::Open(name, fault);
    EXPECT_FALSE(fault) << fault.Text();
    index = Index::Open(*trace, {}, fault);
    EXPECT_FALSE(fault) << fault.Text();
  }

  TempDir folder;
  std::string name = folder.File("t.trace");
  std::unique_ptr<TraceFile> trace;
  std::unique_ptr<Index> index;
};

// Compares every step, or random ones of a long trace, with the viewer's own pieces.
void CompareSteps(const Opened& opened, const ArrayShape& shape, uint64_t skipTo, unsigned share,
                  std::mt19937& random) {
  const StateReader reader(*opened.trace, *opened.index, shape);
  ViewerModel viewer(opened.name, shape, skipTo);
  uint64_t steps = 0;
  Fault fault;
  ASSERT_TRUE(reader.CountSteps(skipTo, steps, fault)) << fault.Text();
  ArrayState state;
  for (uint64_t step = 0; step <= steps + 1; ++step) {
    if (step > 0) {
      ASSERT_EQ(viewer.Step(), step <= steps) << "step " << step;
    }
    if (random() % share == 0 || step + 3 > steps) {
      ASSERT_TRUE(reader.AtStep(step, skipTo, state, fault)) << fault.Text();
      EXPECT_EQ(state.shown, step <= steps);
      viewer.ExpectEqual(state);
      if (::testing::Test::HasFatalFailure()) {
        return;
      }
    }
  }
  EXPECT_FALSE(reader.AtStep(steps + 2, skipTo, state, fault));
  EXPECT_EQ(fault.kind, Fault::OUT_OF_RANGE);
}

TEST(StateTest, EveryStepOfShortTracesLooksAsTheViewerShowsIt) {
  std::mt19937 random(7);
  for (int round = 0; round < 60; ++round) {
    RandomTraceOptions options;
    options.shape = {1 + static_cast<uint32_t>(random() % 3),
                     1 + static_cast<uint32_t>(random() % 2),
                     1 + static_cast<uint32_t>(random() % 4)};
    options.records = random() % 200;
    options.firstCycle = random() % 3;
    options.perCycle = 1 + random() % 6;
    options.falling = round % 4 == 3;
    const std::vector<Event> events = RandomEvents(random, options);
    const Opened opened(Encode(events));
    for (const uint64_t skipTo : {uint64_t{0}, random() % 60, random() % 60}) {
      CompareSteps(opened, options.shape, skipTo, 1, random);
      ASSERT_FALSE(HasFatalFailure()) << "round " << round << ", skip to " << skipTo;
    }
  }
}

TEST(StateTest, StepsAcrossManyKeyframesLookAsTheViewerShowsThem) {
  std::mt19937 random(8);
  RandomTraceOptions options;
  options.shape = {2, 2, 4};
  options.records = 200000;
  options.perCycle = 100;
  const std::vector<Event> events = RandomEvents(random, options);
  const Opened opened(Encode(events));
  ASSERT_GE(opened.index->Boundaries().size(), 5U);
  for (const uint64_t skipTo : {uint64_t{0}, uint64_t{1}, uint64_t{2}, events[70000].cycle}) {
    CompareSteps(opened, options.shape, skipTo, 10, random);
    ASSERT_FALSE(HasFatalFailure()) << "skip to " << skipTo;
  }
}

// Sparse events on a large array: most pieces were touched long ago, once, or never.
TEST(StateTest, PiecesThatWereTouchedOnceKeepTheirColours) {
  std::mt19937 random(9);
  RandomTraceOptions options;
  options.shape = {4, 2, 8};
  options.records = 80000;
  options.perCycle = 400;
  const std::vector<Event> events = RandomEvents(random, options);
  const Opened opened(Encode(events));
  for (const uint64_t skipTo : {uint64_t{0}, events[300].cycle, events[30000].cycle}) {
    CompareSteps(opened, options.shape, skipTo, 20, random);
    ASSERT_FALSE(HasFatalFailure()) << "skip to " << skipTo;
  }
}

}  // namespace
}  // namespace marrowfin::testing
