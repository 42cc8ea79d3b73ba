#include "Util/Assert.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <csignal>
#include <cstdio>
#include <string>

#ifndef NDEBUG
#error "this source is compiled without the C library's checks, to show that ours stay"
#endif

namespace marrowfin::testing {
namespace {

using ::testing::Eq;
using ::testing::KilledBySignal;

TEST(AssertTest, ReportNamesSourceLineAndExpressionAndTheProcessAborts) {
  EXPECT_EXIT(AssertionFailed("Core/Some.cpp", 4294967295u, "a < b"), KilledBySignal(SIGABRT),
              Eq("Core/Some.cpp:4294967295: failed assertion `a < b'\n"));
}

TEST(AssertTest, ReportIsFlushed) {
  EXPECT_EXIT(
      {
        static char buffer[BUFSIZ];
        setvbuf(stderr, buffer, _IOFBF, sizeof(buffer));
        AssertionFailed("a.cpp", 1, "b");
      },
      KilledBySignal(SIGABRT), Eq("a.cpp:1: failed assertion `b'\n"));
}

TEST(AssertTest, FailedCheckReportsItsOwnPlaceByThePathWithinTheProject) {
  const int offset = INT_MAX;
  const std::string place = "tests/Util/AssertTest.cpp:" + std::to_string(__LINE__ + 1);
  EXPECT_EXIT(SIM_ASSERT(offset < INT_MAX), KilledBySignal(SIGABRT),
              Eq(place + ": failed assertion `offset < INT_MAX'\n"));
}

TEST(AssertTest, ExpressionIsReportedAsWrittenAndNotExpanded) {
  EXPECT_EXIT(SIM_ASSERT(INT_MAX == 0), KilledBySignal(SIGABRT),
              ::testing::EndsWith("failed assertion `INT_MAX == 0'\n"));
  EXPECT_EXIT(SIM_ASSERT(0), KilledBySignal(SIGABRT),
              ::testing::EndsWith("failed assertion `0'\n"));
}

TEST(AssertTest, CheckThatHoldsEvaluatesItsExpressionOnceAndGoesOn) {
  int evaluated = 0;
  SIM_ASSERT(++evaluated > 0);
  EXPECT_EQ(1, evaluated);
}

TEST(AssertTest, CheckIsOneStatement) {
  bool elseBranch = false;
  if (elseBranch)
    SIM_ASSERT(false);
  else
    elseBranch = true;
  EXPECT_TRUE(elseBranch);
}

}  // namespace
}  // namespace marrowfin::testing
