#include "trace/index/Background.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace marrowfin::testing {
namespace {

// These hold with a thread and, in a program that has none, without.

TEST(BackgroundTest, WorkIsDoneInTheOrderInWhichItIsGiven) {
  std::string done;
  Background background;
  for (const char letter : {'a', 'b', 'c'}) {
    background.Run([&done, letter] { done += letter; });
  }
  background.Wait();
  EXPECT_EQ(done, "abc");
}

TEST(BackgroundTest, WorkThatWasGivenIsDoneWhenItsGiverGoes) {
  bool done = false;
  {
    Background background;
    background.Run([&done] { done = true; });
  }
  EXPECT_TRUE(done);
}

TEST(BackgroundTest, WhatTheWorkThrowsReachesItsGiver) {
  Background background;
  const auto give = [&] {
    background.Run([] { throw std::runtime_error("no room"); });
    background.Wait();
  };
  EXPECT_THROW(give(), std::runtime_error);
  bool done = false;
  background.Run([&done] { done = true; });
  background.Wait();
  EXPECT_TRUE(done);
}

}  // namespace
}  // namespace marrowfin::testing
