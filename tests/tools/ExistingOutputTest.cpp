// Outputs that are there already: they stay as they are unless somebody says otherwise.

#include <regex>
#include <sstream>

#include "tests/tools/CommandFixture.h"

namespace marrowfin {
namespace {

using testing::CommandResult;
using ::testing::HasSubstr;
using ::testing::Not;

class ExistingOutputTest : public CommandFixture {
 protected:
  ExistingOutputTest() {
    Trace("fire 5 0 0 0\nsend 5 0 0 0 1 0\nfire 6 0 1 0\n", "x.trace");
    testing::WriteFile(folder.File("rules.toml"),
                       "[[rule]]\nname = \"any\"\nmeasure = \"firesPerCycle\"\nat_least = 0.0\n");
  }

  // Expects that a line leaves `output` alone, and writes it where that is forced.
  void ExpectKept(std::vector<std::string> line, const std::string& flag,
                  const std::string& output) const {
    line.insert(line.end(), {flag, output});
    SCOPED_TRACE(::testing::PrintToString(line));
    testing::WriteFile(folder.File(output), "precious");
    ExpectFailure(
        2, output + ": exists already\n  Name another file, or replace this one with --force.\n",
        Run(line));
    EXPECT_EQ("precious", testing::ReadFile(folder.File(output)));
    line.emplace_back("--force");
    const CommandResult forced = Run(line);
    EXPECT_EQ(0, forced.exitStatus) << forced.err;
    EXPECT_THAT(testing::ReadFile(folder.File(output)), Not(HasSubstr("precious")));
  }
};

using Line = std::vector<std::string>;

TEST_F(ExistingOutputTest, AnAnswerReplacesNoFileUnlessItIsForced) {
  for (const Line& line : {Line{"events", "x.trace"},
                           {"stats", "x.trace"},

                           {"why", "x.trace"},
                           {"diff", "x.trace", "x.trace"},
                           {"query", "x.trace", "select 1"},
                           {"completion", "bash"},
                           {"expect", "rules.toml", "x.trace"},
                           {"index", "x.trace"}}) {
    ExpectKept(line, "-o", "made");
  }
  ExpectKept({"expect", "rules.toml", "x.trace"}, "--junit", "made.xml");
}

TEST_F(ExistingOutputTest, APictureReplacesNoFileUnlessItIsForced) {
  for (const char* const kind :
       {"heat", "links", "threads", "timeline", "spacetime", "histogram", "why"}) {
    ExpectKept({"plot", kind, "x.trace"}, "-o", "made.svg");
  }
  ExpectKept({"plot", "diff", "x.trace", "x.trace"}, "-o", "made.svg");
  for (const char* const flag : {"--csv", "--json", "--caption"}) {
    ExpectKept({"plot", "heat", "x.trace", "-o", "-"}, flag, "made.text");
  }
  ExpectKept({"report", "x.trace"}, "-o", "made.html");
#ifdef MARROWFIN_RENDERS
  ExpectKept({"render", "x.trace", "--natural", "--cycle", "5"}, "-o", "made.png");
#endif
}

TEST_F(ExistingOutputTest, WhateverTakesAnOutputCanBeForced) {
  std::istringstream help(Run({"--help"}).out);
  size_t found = 0;
  for (std::string line; std::getline(help, line);) {
    std::smatch name;
    if (!std::regex_search(line, name, std::regex("^  ([a-z]+) {2,}"))) {
      continue;
    }
    const std::string own = Run({name[1].str(), "--help"}).out;
    if (own.find("--output") != std::string::npos) {
      EXPECT_THAT(own, HasSubstr("--force")) << name[1];
      ++found;
    }
  }
  EXPECT_GE(found, 20U);
}

TEST_F(ExistingOutputTest, DevicesAndStandardOutputHoldNothingThatCouldBeLost) {
  EXPECT_EQ(0, Run({"stats", "x.trace", "-o", "/dev/null"}).exitStatus);
  EXPECT_THAT(Run({"stats", "x.trace", "-o", "/dev/stdout"}).out,
              HasSubstr("fires                 2"));
  EXPECT_THAT(Run({"diff", "x.trace", "x.trace", "-o", "-"}).out, HasSubstr("x.trace"));
}

}  // namespace
}  // namespace marrowfin
