// The programs that users can choose: results at many sizes, placements, threads, and large arrays.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/sim/Laws.h"
#include "tests/sim/Rig.h"

namespace marrowfin::sim::testing {

using ::testing::IsEmpty;

class ProgramsTest : public ::testing::TestWithParam<const char*> {
 protected:
  static std::unique_ptr<Program> Make(uint32 size) {
    return FindProgram(GetParam())->make({size, 3, 4, 5});
  }

  static RigOptions OnArray(uint32 clusters, uint32 domains, uint32 pes) {
    RigOptions options;
    options.words = ArrayWords(clusters, domains, pes);
    return options;
  }

  static void ExpectRight(const Program& program, const RigOptions& options) {
    const RigResult result = RunOnArray(program, options);
    ASSERT_EQ("", result.fault);
    EXPECT_EQ(0U, WrongWords(program, result));
    EXPECT_EQ(0U, result.tokensLeft);
    EXPECT_EQ(program.GetGraph().KnownFires() * options.threads, result.fires);
  }
};

INSTANTIATE_TEST_SUITE_P(Every, ProgramsTest,
                         ::testing::Values("matmul", "spmv", "fft", "sort", "stencil", "reduce"),
                         [](const auto& parameter) { return std::string(parameter.param); });

TEST_P(ProgramsTest, IsRightAtEverySmallSize) {
  for (uint32 size = 1; size <= 13; ++size) {
    SCOPED_TRACE("size " + std::to_string(size));
    ExpectRight(*Make(size), OnArray(2, 2, 4));
  }
}

TEST_P(ProgramsTest, IsRightAtALargerSize) { ExpectRight(*Make(22), OnArray(2, 2, 8)); }

TEST_P(ProgramsTest, IsRightWithEveryPlacement) {
  for (const PlacementPolicy& policy : PlacementPolicies()) {
    SCOPED_TRACE(policy.name);
    RigOptions options = OnArray(2, 2, 3);
    options.words.insert(options.words.end(), {"-array/operandBuffer", "256"});
    options.placement = policy.name;
    ExpectRight(*Make(9), options);
  }
}

TEST_P(ProgramsTest, EveryThreadComputesOnDataOfItsOwn) {
  RigOptions options = OnArray(2, 2, 3);
  options.words.insert(options.words.end(), {"-array/operandBuffer", "512"});
  options.threads = 5;
  ExpectRight(*Make(7), options);
  const RigResult result = RunOnArray(*Make(7), options);
  for (uint32 thread = 1; thread < options.threads; ++thread) {
    EXPECT_NE(result.results[0], result.results[thread]) << "thread " << thread;
  }
}

TEST_P(ProgramsTest, FitsOnOneProcessingElementWithALargeBuffer) {
  RigOptions options = OnArray(1, 1, 1);
  options.words.insert(options.words.end(), {"-array/operandBuffer", "4000"});
  ExpectRight(*Make(5), options);
}

TEST_P(ProgramsTest, RunsOnAnArrayOf128By128ProcessingElements) {
  RigOptions options = OnArray(4, 4, 8);
  options.placement = "random";
  ExpectRight(*Make(12), options);
  options.placement = "greedy";
  ExpectRight(*Make(12), options);
}

TEST_P(ProgramsTest, TraceAndLogObeyTheLaws) {
  const std::unique_ptr<Program> program = Make(6);
  RigOptions options = OnArray(3, 2, 2);
  options.threads = 2;
  options.placement = "random";
  options.withTrace = true;
  options.withLog = true;
  const RigResult result = RunOnArray(*program, options);
  ASSERT_EQ("", result.fault);
  EXPECT_THAT(BrokenTraceLaws(result.trace, result.shape), IsEmpty());
  EXPECT_THAT(BrokenLogLaws(result.log, program->GetGraph(), result.settings), IsEmpty());
}

TEST_P(ProgramsTest, GreedyPlacementTakesFewerHopsThanRowMajorAndRandom) {
  const std::unique_ptr<Program> program = Make(13);
  const auto hops = [&](const char* placement) {
    RigOptions options = OnArray(4, 2, 4);
    options.placement = placement;
    return RunOnArray(*program, options).placementHops;
  };
  const unsigned long long greedy = hops("greedy");
  EXPECT_LT(greedy, hops("row-major"));
  EXPECT_LT(greedy, hops("random"));
}

TEST_P(ProgramsTest, ItsLeastNumberOfOperationsIsNoMoreThanItHas) {
  for (const uint32 size : {1U, 2U, 3U, 7U, 12U, 16U}) {
    EXPECT_LE(FindProgram(GetParam())->leastOperations(size),
              Make(size)->GetGraph().Operations().size())
        << "size " << size;
  }
}

TEST(CheckTest, AWrongResultIsNoticed) {
  const std::unique_ptr<Program> program = FindProgram("sort")->make({4, 1, 1, 1});
  RigOptions options;
  options.words = ArrayWords(1, 1, 2);
  RigResult result = RunOnArray(*program, options);
  ASSERT_EQ(0U, WrongWords(*program, result));
  result.results[0][2][0] += 0.5;
  EXPECT_EQ(1U, WrongWords(*program, result));
}

}  // namespace marrowfin::sim::testing
