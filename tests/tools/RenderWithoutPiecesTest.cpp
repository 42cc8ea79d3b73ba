// The render of a program that was built without the viewer.

#include <gtest/gtest.h>

#include <CLI/CLI.hpp>
#include <iostream>

#include "tools/program/Subcommands.h"

namespace marrowfin {

extern const Subcommand renderSubcommand;

namespace {

TEST(RenderWithoutPiecesTest, WhateverIsAskedForItSaysHowToBuildTheProgram) {
  CLI::App app;
  const Action action = renderSubcommand.configure(app);
  app.parse("run.trace --step 1 -c 4 -o a.png --sheet 2x2");
  const MaybeFailure failure = action({std::cout, std::cerr, nullptr});
  ASSERT_TRUE(failure);
  EXPECT_EQ(EXIT_SYSTEM, failure->code);
  EXPECT_EQ("render: this program was built without the viewer's pieces", failure->reason);
  EXPECT_EQ("Build it with the CMake option MARROWFIN_BUILD_VIEWER.", failure->remedy);
}

}  // namespace
}  // namespace marrowfin
