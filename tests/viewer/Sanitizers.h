#ifndef TESTS_VIEWER_SANITIZERS_H
#define TESTS_VIEWER_SANITIZERS_H

#include <gtest/gtest.h>

#include <csignal>

namespace marrowfin::testing {

// The instrumented builds come with UndefinedBehaviorSanitizer too, which reports a division by
// zero or a call through a null pointer before the processor would raise a signal.
#ifdef __SANITIZE_ADDRESS__
constexpr bool sanitized = true;
#else
constexpr bool sanitized = false;
#endif

}  // namespace marrowfin::testing

#ifdef __SANITIZE_ADDRESS__
#define EXPECT_DIVISION_BY_ZERO(statement) \
  EXPECT_DEATH(static_cast<void>(statement), "runtime error: division by zero")
#else
#define EXPECT_DIVISION_BY_ZERO(statement) \
  EXPECT_EXIT(static_cast<void>(statement), ::testing::KilledBySignal(SIGFPE), "")
#endif

#endif
