// marrowfin-trace state
//
// The colours are worked out by hand. A step of the viewer fades what it shows and then applies
// events up to and including the first one of a new cycle; it never shows the first event of all.
// An element's red goes half of the way to 220 as long as it is below 200 or above 240, a switch's
// colours go half of the way to 255, a message's a fifth of the way.

#include <sys/wait.h>

#include <array>
#include <chrono>
#include <csignal>
#include <memory>
#include <thread>

#include "tests/tools/CommandFixture.h"
#include "tests/tools/RunningProgram.h"
#include "trace/marrowfin_trace.h"

namespace marrowfin {
namespace {

using nlohmann::json;
using testing::CommandResult;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

constexpr char byHand[] =
    "fire 5 1 7 2\n"
    "switch 6 0 4 4\n"
    "send 260 2 7 2 0 1\n"
    "fire 260 9 3 3\n"
    "fire 261 1 7 2\n";

class StateCommandTest : public CommandFixture {
 protected:
  StateCommandTest() { Trace(byHand); }

  // What the program prints of a moment of the trace.
  std::string At(const std::vector<std::string>& moment) const {
    std::vector<std::string> words = {"state", "t.trace"};
    words.insert(words.end(), moment.begin(), moment.end());
    const CommandResult result = Run(words);
    EXPECT_EQ(0, result.exitStatus) << result.err;
    EXPECT_EQ("", result.err);
    return result.out;
  }
};

TEST_F(StateCommandTest, StepsAreThoseOfTheViewer) {
  EXPECT_EQ(
      "t.trace: step 0, cycle 0, 0 records from record 1, -c 1 -d 2 -p 4\n"
      "untouched elements #000000, untouched switches #000000\n",
      At({"--step", "0"}));
  EXPECT_EQ(
      "t.trace: step 1, cycle 6, 1 records from record 1, -c 1 -d 2 -p 4\n"
      "untouched elements #6e6e6e, untouched switches #7f7f7f\n"
      "switch of cluster 0 0 at 4 4 #ff0101\n",
      At({"--step", "1"}));
  EXPECT_EQ(
      "t.trace: step 2, cycle 260, 2 records from record 1, -c 1 -d 2 -p 4\n"
      "untouched elements #a5a5a5, untouched switches #bfbfbf\n"
      "switch of cluster 0 0 at 4 4 #ff8080\n"
      "message 7 2 to 0 1 #ff0000 age 0\n",
      At({"--step", "2"}));
  EXPECT_EQ(
      "t.trace: step 3, cycle 261, 4 records from record 1, -c 1 -d 2 -p 4\n"
      "untouched elements #c0c0c0, untouched switches #dfdfdf\n"
      "element 7 2 #01ff01\n"
      "element 3 3 #0101ff\n"
      "switch of cluster 0 0 at 4 4 #ffbfbf\n"
      "message 7 2 to 0 1 #ff3333 age 1\n",
      At({"--step", "3"}));
}

TEST_F(StateCommandTest, TheStepInWhichTheTraceEndsIsToldAsOneThatIsNeverDrawn) {
  EXPECT_THAT(At({"--step", "4"}),
              StartsWith("t.trace: step 4, cycle 261, 4 records from record 1, -c 1 -d 2 -p 4, "
                         "never drawn: the trace ends in this step\n"));
  EXPECT_EQ(false, RunForJson({"state", "t.trace", "--step", "4"})["shown"]);
  EXPECT_EQ(true, RunForJson({"state", "t.trace", "--step", "3"})["shown"]);
}

TEST_F(StateCommandTest, AStepBehindTheEndIsRefused) {
  for (const std::string step : {"5", "6", "18446744073709551615"}) {
    ExpectFailure(1,
                  "t.trace: there is no step " + step +
                      ": the trace ends in step 4\n  Ask for a step up to that.\n",
                  Run({"state", "t.trace", "--step", step}));
  }
}

TEST_F(StateCommandTest, ACycleHasEveryEventUpToIt) {
  const std::string nothing =
      "t.trace: step 0, cycle 0, 0 records from record 0, -c 1 -d 2 -p 4\n"
      "untouched elements #000000, untouched switches #000000\n";
  EXPECT_EQ(nothing, At({"--cycle", "0"}));
  EXPECT_EQ(nothing, At({"--cycle", "4"}));
  EXPECT_EQ(
      "t.trace: step 1, cycle 5, 1 records from record 0, -c 1 -d 2 -p 4\n"
      "untouched elements #6e6e6e, untouched switches #7f7f7f\n"
      "element 7 2 #01ff01\n",
      At({"--cycle", "5"}));
  const std::string atSix =
      "t.trace: step 2, cycle 6, 2 records from record 0, -c 1 -d 2 -p 4\n"
      "untouched elements #a5a5a5, untouched switches #bfbfbf\n"
      "element 7 2 #6eff01\n"
      "switch of cluster 0 0 at 4 4 #ff0101\n";
  EXPECT_EQ(atSix, At({"--cycle", "6"}));
  EXPECT_EQ(atSix, At({"--cycle", "259"}));
  EXPECT_EQ(
      "t.trace: step 3, cycle 260, 4 records from record 0, -c 1 -d 2 -p 4\n"
      "untouched elements #c0c0c0, untouched switches #dfdfdf\n"
      "element 7 2 #a5ff01\n"
      "element 3 3 #0101ff\n"
      "switch of cluster 0 0 at 4 4 #ff8080\n"
      "message 7 2 to 0 1 #ff0000 age 0\n",
      At({"--cycle", "260"}));
  const std::string atEnd =
      "t.trace: step 4, cycle 261, 5 records from record 0, -c 1 -d 2 -p 4\n"
      "untouched elements #cecece, untouched switches #efefef\n"
      "element 7 2 #01ff01\n"
      "element 3 3 #6e01ff\n"
      "switch of cluster 0 0 at 4 4 #ffbfbf\n"
      "message 7 2 to 0 1 #ff3333 age 1\n";
  EXPECT_EQ(atEnd, At({"--cycle", "261"}));
  EXPECT_EQ(atEnd, At({"--cycle", "18446744073709551615"}));
}

TEST_F(StateCommandTest, JsonTellsEveryColour) {
  const json row(8, "#c0c0c0");
  json elements(8, row);
  elements[2][7] = "#a5ff01";
  elements[3][3] = "#0101ff";
  const json expected = {
      {"trace", "t.trace"},
      {"clusters", 1},
      {"domains", 2},
      {"pes", 4},
      {"shape",
       {{"clusters", {{"columns", 1}, {"rows", 1}}},
        {"domains", {{"columns", 2}, {"rows", 2}}},
        {"pes", {{"columns", 4}, {"rows", 4}}}}},
      {"step", 3},
      {"cycle", 260},
      {"firstRecord", 0},
      {"records", 4},
      {"shown", true},
      {"elements", elements},
      {"switches", json::array({json::array({"#ff8080"})})},
      {"messages", json::array({{{"record", 2},
                                 {"thread", 2},
                                 {"from", {7, 2}},
                                 {"to", {0, 1}},
                                 {"age", 0},
                                 {"color", "#ff0000"}}})},
  };
  EXPECT_EQ(expected, RunForJson({"state", "t.trace", "--cycle", "260"}));
}

TEST_F(StateCommandTest, JsonOfAStepTellsTheSameAsItsText) {
  const json told = RunForJson({"state", "t.trace", "--step", "3"});
  EXPECT_EQ(3, told["step"]);
  EXPECT_EQ(261, told["cycle"]);
  EXPECT_EQ(1, told["firstRecord"]);
  EXPECT_EQ(4, told["records"]);
  EXPECT_EQ("#01ff01", told["elements"][2][7]);
  EXPECT_EQ("#0101ff", told["elements"][3][3]);
  EXPECT_EQ("#c0c0c0", told["elements"][0][0]);
  EXPECT_EQ("#ffbfbf", told["switches"][0][0]);
  EXPECT_EQ(1, told["messages"][0]["age"]);
}

TEST_F(StateCommandTest, ThreadsHaveSixColours) {
  std::string text;
  for (int thread = 0; thread < 7; ++thread) {
    const std::string number = std::to_string(thread);
    text += "fire 1 " + number + " " + number + " 0\nfire 1 " + number + " " + number + " 7\n";
  }
  Trace(text + "switch 1 4294967295 4 4\n");
  EXPECT_EQ(
      "t.trace: step 1, cycle 1, 15 records from record 0, -c 1 -d 2 -p 4\n"
      "untouched elements #6e6e6e, untouched switches #7f7f7f\n"
      "element 0 0 #ff0101\n"
      "element 1 0 #01ff01\n"
      "element 2 0 #ffff01\n"
      "element 3 0 #0101ff\n"
      "element 4 0 #ff01ff\n"
      "element 5 0 #01ffff\n"
      "element 6 0 #ff0101\n"
      "element 0 7 #ff0101\n"
      "element 1 7 #01ff01\n"
      "element 2 7 #ffff01\n"
      "element 3 7 #0101ff\n"
      "element 4 7 #ff01ff\n"
      "element 5 7 #01ffff\n"
      "element 6 7 #ff0101\n"
      "switch of cluster 0 0 at 4 4 #0101ff\n",  // 4294967295 is 3 modulo 6
      At({"--cycle", "1"}));
}

TEST_F(StateCommandTest, ColoursFadeStepByStepAndRest) {
  // Everything happens at cycle 0; what follows goes to a far corner.
  std::string text = "fire 0 1 0 0\nfire 0 0 1 0\nswitch 0 1 4 4\nsend 0 5 1 1 2 2\n";
  for (int cycle = 1; cycle <= 14; ++cycle) {
    text += "send " + std::to_string(cycle) + " 0 6 6 7 7\n";
  }
  Trace(text);
  const std::array<const char*, 15> green = {"01", "6e", "a5", "c0", "ce", "ce", "ce", "ce",
                                             "ce", "ce", "ce", "ce", "ce", "ce", "ce"};
  const std::array<const char*, 15> filed = {"01", "80", "bf", "df", "ef", "f7", "fb", "fd",
                                             "fe", "fe", "fe", "fe", "fe", "fe", "fe"};
  const std::array<const char*, 15> sent = {"00", "33", "5b", "7b", "95", "aa", "bb", "c8",
                                            "d3", "db", "e2", "e7", "",   "",   ""};
  for (size_t age = 0; age < 15; ++age) {
    const std::string shown = At({"--cycle", std::to_string(age)});
    EXPECT_THAT(shown, HasSubstr("\nelement 0 0 #" + std::string(green[age]) + "ff01\n"));
    EXPECT_THAT(shown, HasSubstr(age == 0 ? "\nelement 1 0 #ff0101\n" : "\nelement 1 0 #ed0101\n"));
    EXPECT_THAT(shown, HasSubstr("\nswitch of cluster 0 0 at 4 4 #" + std::string(filed[age]) +
                                 "ff" + filed[age]));
    const std::string message = "message 1 1 to 2 2 #ff" + std::string(sent[age]) + sent[age] +
                                " age " + std::to_string(age) + "\n";
    const bool live = age <= 11;
    EXPECT_EQ(live, shown.find("message 1 1 to 2 2") != std::string::npos) << age;
    if (live) {
      EXPECT_THAT(shown, HasSubstr(message));
    }
  }
}

TEST_F(StateCommandTest, TheArrayIsTheSmallestUnlessOneIsGiven) {
  const auto shape = [&](const std::vector<std::string>& flags) {
    std::vector<std::string> words = {"state", "t.trace", "--step", "1"};
    words.insert(words.end(), flags.begin(), flags.end());
    const json told = RunForJson(words);
    EXPECT_EQ(told["elements"].size(), told["elements"][0].size());
    EXPECT_EQ(told["switches"].size(), told["clusters"]);
    EXPECT_EQ(told["switches"][0].size(), told["clusters"]);
    EXPECT_EQ("#ff0101", told["switches"][0][0]);
    return std::array<size_t, 4>{told["clusters"], told["domains"], told["pes"],
                                 told["elements"].size()};
  };
  EXPECT_THAT(shape({}), ElementsAre(1, 2, 4, 8));
  EXPECT_THAT(shape({"-c", "3"}), ElementsAre(3, 2, 4, 24));
  EXPECT_THAT(shape({"-d", "3"}), ElementsAre(4, 3, 4, 48));
  EXPECT_THAT(shape({"-p", "5"}), ElementsAre(4, 2, 5, 40));
  EXPECT_THAT(shape({"--clusters", "2", "--domains", "1", "--pes", "9"}), ElementsAre(2, 1, 9, 18));
}

// What a run tells of its array, with the print of no records.
std::string ToldArray(const std::string& levels) {
  return "format = 1\n[trace]\nrecords = 0\nfingerprint = \"cbf29ce484222325\"\n[array]\n" + levels;
}

TEST_F(StateCommandTest, TheArrayIsThatOfTheCompanionUnlessFlagsSayAnother) {
  testing::WriteFile(folder.File("t.trace.about"), ToldArray("domains = { columns = 2, rows = 1 }\n"
                                                             "pes = { columns = 5, rows = 6 }\n"));
  EXPECT_THAT(At({"--cycle", "5"}),
              StartsWith("t.trace: step 1, cycle 5, 1 records from record 0, 1 x 1 clusters of "
                         "2 x 1 domains of 5 x 6 elements\n"));
  const json told = RunForJson({"state", "t.trace", "--cycle", "5"});
  EXPECT_EQ(6U, told["elements"].size());
  EXPECT_EQ(10U, told["elements"][0].size());
  EXPECT_EQ(json({{"clusters", {{"columns", 1}, {"rows", 1}}},
                  {"domains", {{"columns", 2}, {"rows", 1}}},
                  {"pes", {{"columns", 5}, {"rows", 6}}}}),
            told["shape"]);
  EXPECT_EQ(2, told["domains"]);
  EXPECT_THAT(At({"--cycle", "5", "--places"}), HasSubstr(" 1 x 1 clusters of 2 x 1 "));
  EXPECT_THAT(At({"--cycle", "5", "--region", "domain:1,0"}), HasSubstr("\nelement 7 2 "));
  EXPECT_THAT(At({"--cycle", "5", "-d", "3"}), HasSubstr(" -c 4 -d 3 -p 4\n"));
}

TEST_F(StateCommandTest, AToldArrayThatLacksAPlaceOfTheTraceOrHasTooManyIsNone) {
  for (const char* levels :
       {"pes = { columns = 7, rows = 8 }\n", "pes = { columns = 8, rows = 2 }\n",
        "clusters = { columns = 40000, rows = 40000 }\npes = { columns = 8, rows = 8 }\n"}) {
    testing::WriteFile(folder.File("t.trace.about"), ToldArray(levels));
    EXPECT_THAT(At({"--cycle", "5"}), HasSubstr(" -c 1 -d 2 -p 4\n")) << levels;
  }
}

TEST_F(StateCommandTest, WhatIsNotBelievedOfARunIsToldAndItsArrayLeftOut) {
  testing::WriteFile(folder.File("t.trace.about"), "format = 1\n");
  const CommandResult result = Run({"state", "t.trace", "--cycle", "5"});
  EXPECT_EQ(0, result.exitStatus);
  EXPECT_THAT(result.out, HasSubstr(" -c 1 -d 2 -p 4\n"));
  EXPECT_THAT(result.err, StartsWith("marrowfin-trace: t.trace.about: "));
  EXPECT_THAT(result.err, HasSubstr("; what it tells of the run is left out"));
}

TEST_F(StateCommandTest, SwitchesAreNamedByTheirClusters) {
  Trace("fire 1 0 23 0\nswitch 1 1 20 4\nswitch 1 2 4 12\n");
  EXPECT_THAT(At({"--cycle", "1"}), HasSubstr("-c 3 -d 2 -p 4\n"));
  EXPECT_THAT(At({"--cycle", "1"}), HasSubstr("\nswitch of cluster 2 0 at 20 4 #01ff01\n"
                                              "switch of cluster 0 1 at 4 12 #ffff01\n"));
  // In clusters of 16 positions one at column 20 is that of the second.
  EXPECT_THAT(At({"--cycle", "0", "-c", "2", "-d", "4"}), HasSubstr("-c 2 -d 4 -p 4\n"));
}

TEST_F(StateCommandTest, AnEventThatTheArrayLacksEndsWhatCanBeTold) {
  EXPECT_THAT(At({"--step", "2", "-d", "1", "-c", "1"}),
              HasSubstr("switch of cluster 0 0 at 4 4 #ff8080\n"));
  const CommandResult result = Run({"state", "t.trace", "--step", "3", "-d", "1", "-c", "1"});
  EXPECT_EQ(1, result.exitStatus);
  EXPECT_EQ("", result.out);
  EXPECT_THAT(result.err,
              MatchesRegex("marrowfin-trace: t.trace: record 4 at byte [0-9]+: column 7, row 2 is "
                           "no processing element of the array\n"
                           "  Give the counts of the array that wrote the trace.\n"));
}

TEST_F(StateCommandTest, WhereNoArrayShowsTheTraceOneMustBeGiven) {
  Trace("fire 1 0 0 0\nfire 2 0 0 0\nswitch 3 0 3 3\n");
  ExpectFailure(1,
                "t.trace: no array shows all locations of this trace\n"
                "  Give the counts of the array with -c, -d and -p.\n",
                Run({"state", "t.trace", "--cycle", "2"}));
  EXPECT_THAT(At({"--cycle", "2", "-c", "1"}), HasSubstr("\nelement 0 0 #ff0101\n"));
}

// The event that is reached is read over, too.
TEST_F(StateCommandTest, WhatABrokenTraceStillTellsSaysThatItIsBroken) {
  testing::WriteFile(folder.File("t.trace"),
                     testing::TraceBytes("fire 1 0 0 0\nfire 2 0 1 0\nfire 3 0 2 0\n"
                                         "fire 4 0 3 0\nraw 3 4 0 8 0000\n"));
  const std::string fault =
      "t.trace: record 4 at byte 112: the trace ends after 2 of the 8 bytes of a payload";
  // The missing record may be of cycle 4, and of the step that meets the end.
  const std::vector<std::vector<std::string>> whole = {
      {"--cycle", "3"}, {"--step", "0"}, {"--step", "3"}};
  const std::vector<std::vector<std::string>> cut = {
      {"--cycle", "4"}, {"--cycle", "99"}, {"--step", "4"}};
  for (const bool limited : {false, true}) {
    for (std::vector<std::string> words : limited ? cut : whole) {
      SCOPED_TRACE(::testing::PrintToString(words));
      words.insert(words.begin(), {"state", "t.trace"});
      const CommandResult result = Run(words);
      EXPECT_EQ(limited ? 1 : 0, result.exitStatus);
      EXPECT_THAT(result.out, HasSubstr("\nthe trace breaks off: " + fault));
      EXPECT_EQ(limited, result.err.find(fault) != std::string::npos) << result.err;
      const json told = RunForJson(words, limited ? 1 : 0);
      EXPECT_EQ("cut-record", told["fault"]["kind"]);
      EXPECT_EQ(4, told["fault"]["record"]);
    }
  }
  const CommandResult behind = Run({"state", "t.trace", "--step", "5"});
  EXPECT_EQ(1, behind.exitStatus);
  EXPECT_THAT(behind.err, HasSubstr("the trace ends in step 4; the trace breaks off: " + fault));
  Trace("fire 1 0 0 0\nfire 2 0 1 0\n");
  EXPECT_FALSE(RunForJson({"state", "t.trace", "--cycle", "2"}).contains("fault"));
}

TEST_F(StateCommandTest, NumbersAreDecimalWhateverZerosTheyBeginWith) {
  std::string text;
  for (int cycle = 1; cycle < 120; ++cycle) {
    text += "fire " + std::to_string(cycle) + " 0 0 0\n";
  }
  Trace(text);
  EXPECT_EQ(100, RunForJson({"state", "t.trace", "--cycle", "0100"})["cycle"]);
  EXPECT_EQ(8, RunForJson({"state", "t.trace", "--step", "0008"})["step"]);
  EXPECT_EQ(10, RunForJson({"state", "t.trace", "--step", "1", "-c", "010"})["clusters"]);
  EXPECT_EQ(2, Run({"state", "t.trace", "--cycle", "0x10"}).exitStatus);
  EXPECT_EQ(2, Run({"state", "t.trace", "--cycle", "-1"}).exitStatus);
  // As the viewer reads them.
  const auto skipping = [&](const std::string& cycle) {
    return RunForJson({"state", "t.trace", "--step", "1", "-F", cycle})["cycle"];
  };
  EXPECT_EQ(101, skipping("0100"));
  EXPECT_EQ(101, skipping("+00100"));
  for (const std::string none : {"100th", "none", "", "-", "0x10", "2147483648", "--5"}) {
    EXPECT_EQ(2, Run({"state", "t.trace", "--step", "1", "-F", none}).exitStatus) << none;
  }
}

TEST_F(StateCommandTest, JsonOfALargeArrayIsWhole) {
  const json told = RunForJson({"state", "t.trace", "--cycle", "5", "-c", "100"});
  ASSERT_EQ(800U, told["elements"].size());
  for (const json& row : told["elements"]) {
    ASSERT_EQ(800U, row.size());
  }
  EXPECT_EQ("#01ff01", told["elements"][2][7]);
  EXPECT_EQ(100U, told["switches"].size());
}

TEST_F(StateCommandTest, SkippingStartsBehindTheFirstEventThatIsLateEnough) {
  const std::string skipped =
      "t.trace: step 1, cycle 260, 1 records from record 3, -c 1 -d 2 -p 4\n"
      "untouched elements #6e6e6e, untouched switches #7f7f7f\n"
      "element 3 3 #0101ff\n";
  EXPECT_EQ(skipped, At({"--step", "1", "-F", "260"}));
  EXPECT_EQ(skipped, At({"--step", "1", "-F", "7"}));
  EXPECT_EQ(
      "t.trace: step 1, cycle 260, 1 records from record 2, -c 1 -d 2 -p 4\n"
      "untouched elements #6e6e6e, untouched switches #7f7f7f\n"
      "message 7 2 to 0 1 #ff0000 age 0\n",
      At({"--step", "1", "-F", "6"}));
  EXPECT_EQ(At({"--step", "1"}), At({"--step", "1", "-F", "0"}));
  EXPECT_EQ(At({"--step", "1"}), At({"--step", "1", "-F", "5"}));
}

TEST_F(StateCommandTest, SkippingBehindTheEndLeavesNothingToShow) {
  // A negative cycle is a huge one, as for the viewer.
  for (const char* cycle : {"261", "262", "2147483647", "-1"}) {
    EXPECT_EQ(
        "t.trace: step 1, cycle 0, 0 records from record 5, -c 1 -d 2 -p 4, never drawn: the "
        "trace ends in this step\n"
        "untouched elements #6e6e6e, untouched switches #7f7f7f\n",
        At({"--step", "1", "-F", cycle}));
    EXPECT_EQ(1, Run({"state", "t.trace", "--step", "2", "-F", cycle}).exitStatus);
  }
}

TEST_F(StateCommandTest, ATraceOfTheBaseCyclesHasNoChangeBeforeItsFirstEvent) {
  // The viewer begins at cycle 0: of two events there, no step ends with the second.
  Trace("fire 0 0 0 0\nfire 0 1 1 0\nfire 3 2 2 0\n");
  EXPECT_EQ(
      "t.trace: step 1, cycle 3, 2 records from record 1, -c 1 -d 1 -p 3\n"
      "untouched elements #6e6e6e, untouched switches #7f7f7f\n"
      "element 1 0 #01ff01\n"
      "element 2 0 #ffff01\n",
      At({"--step", "1"}));
}

TEST_F(StateCommandTest, OfATraceWhoseCyclesFallACycleHasAllEventsUpToIt) {
  Trace("fire 5 1 7 2\nfire 4 1 7 3\nfire 9 1 7 4\nfire 3 0 1 1\n");
  const std::string shown = At({"--cycle", "4"});
  EXPECT_THAT(shown, HasSubstr("step 2, cycle 3"));
  EXPECT_THAT(shown, HasSubstr("\nelement 1 1 #ff0101\nelement 7 3 #6eff01\n"));
  EXPECT_THAT(shown, ::testing::Not(HasSubstr("element 7 2")));
  EXPECT_THAT(shown, ::testing::Not(HasSubstr("element 7 4")));
}

TEST_F(StateCommandTest, AQuestionThatReadsAWholeTraceShowsItsProgressAndASignalEndsItInOrder) {
  const std::string name = folder.File("falling.trace");
  testing::WriteFile(
      name, testing::TraceBytes("fire 100000000 0 0 0\n") + testing::ReadFile(LongTrace(3000000)));
  ASSERT_EQ(0, Run({"index", "falling.trace"}).exitStatus);
  const std::string line = "going through " + name;
  // Run so slowly, by the clock on the wall, that the question counts as long. On a busy machine a
  // slice can last until the answer is there: then it is asked again.
  std::unique_ptr<RunningProgram> program;
  int status = 0;
  for (int attempt = 0; attempt < 10 && !WIFSIGNALED(status); ++attempt) {
    program = std::make_unique<RunningProgram>(
        Words({"state", name, "--cycle", "18446744073709551615"}), RunningProgram::TO_TERMINAL);
    program->Signal(SIGSTOP);
    for (int slice = 0; slice < 1000 && !program->HasShown(line); ++slice) {
      program->Signal(SIGCONT);
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
      program->Signal(SIGSTOP);
    }
    program->Signal(SIGINT);
    program->Signal(SIGCONT);
    status = program->Wait();
  }
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGINT) << status;
  EXPECT_EQ("", program->Out());
  EXPECT_THAT(program->Err(), MatchesRegex("(\r.\\[K" + line +
                                           " +[0-9]+ %, [0-9]+\\.[0-9] M records/s, [0-9]+ s "
                                           "left)+\r.\\[K"));
}

TEST_F(StateCommandTest, AnEmptyTraceHasTheArrayAsBuilt) {
  Trace("");
  EXPECT_EQ(
      "t.trace: step 0, cycle 0, 0 records from record 0, -c 1 -d 1 -p 1\n"
      "untouched elements #000000, untouched switches #000000\n",
      At({"--step", "0"}));
  EXPECT_EQ(json::array(), RunForJson({"state", "t.trace", "--cycle", "7"})["messages"]);
}

TEST_F(StateCommandTest, ATraceThatBreaksOffIsToldUpToThere) {
  testing::WriteFile(folder.File("t.trace"), testing::TraceBytes(byHand).substr(0, 130));
  const CommandResult result = Run({"state", "t.trace", "--cycle", "261"});
  EXPECT_EQ(1, result.exitStatus);
  EXPECT_THAT(result.out, StartsWith("t.trace: step 3, cycle 260, 4 records "));
}

// A step far into a trace of many keyframes is that of the short rest of it: what was touched long
// ago rests.
TEST_F(StateCommandTest, AMomentFarIntoALongTraceHasTheColoursOfItsLastEvents) {
  const std::string head = testing::ReadFile(LongTrace(110000, "t.trace"));
  const uint64_t last = RunForJson({"info", "t.trace"})["lastCycle"];
  const std::string first = std::to_string(last + 100);
  const std::string second = std::to_string(last + 200);
  testing::WriteFile(
      folder.File("t.trace"),
      head + testing::TraceBytes("fire " + first + " 1 5 9\nfire " + first + " 1 6 9\nsend " +
                                 first + " 0 1 2 3 4\nfire " + second + " 3 6 9\n"));
  for (const std::vector<std::string>& moment : std::vector<std::vector<std::string>>{
           {"state", "t.trace", "--cycle", second},
           {"state", "t.trace", "--cycle", "18446744073709551615"}}) {
    const json told = RunForJson(moment);
    EXPECT_EQ(110004, told["records"]);
    EXPECT_EQ("#6eff01", told["elements"][9][5]);
    EXPECT_EQ("#0101ff", told["elements"][9][6]);
    EXPECT_EQ(json({{"record", 110002},
                    {"thread", 0},
                    {"from", {1, 2}},
                    {"to", {3, 4}},
                    {"age", 1},
                    {"color", "#ff3333"}}),
              told["messages"].back());
  }
}

TEST_F(StateCommandTest, PlacesTellWhoseEventEachOfThemShows) {
  EXPECT_EQ(
      "t.trace: step 3, cycle 260, 4 records from record 0, -c 1 -d 2 -p 4\n"
      "age  thread  kind    color  record  cycle  place\n"
      "  2       1     -  #a5ff01       0      5  element 7 2\n"
      "  0       9     -  #0101ff       3    260  element 3 3\n"
      "  1       0     -  #ff8080       1      6  switch of cluster 0 0 at 4 4\n"
      "  0       2     -  #ff0000       2    260  message 7 2 to 0 1\n",
      At({"--cycle", "260", "--places"}));
  EXPECT_EQ(
      "t.trace: step 0, cycle 0, 0 records from record 1, -c 1 -d 2 -p 4\n"
      "age  thread  kind  color  record  cycle  place\n",
      At({"--step", "0", "--places"}));
}

// A colour that rests tells no age, and none tells which of the threads it is that have it.
TEST_F(StateCommandTest, PlacesTellThreadsApartThatHaveOneColour) {
  std::string text = "fire 1 13 0 0\nfire 1 7 1 0\nswitch 1 4294967295 4 4\n";
  for (int cycle = 2; cycle <= 12; ++cycle) {
    text += "send " + std::to_string(cycle) + " 0 6 6 7 7\n";
  }
  Trace(text);
  EXPECT_THAT(At({"--cycle", "12", "--places", "--region", "0,0:5,5"}),
              ::testing::EndsWith(
                  "\nage      thread  kind    color  record  cycle  place\n"
                  " 4+          13     -  #ceff01       0      1  element 0 0\n"
                  " 4+           7     -  #ceff01       1      1  element 1 0\n"
                  " 8+  4294967295     -  #fefeff       2      1  switch of cluster 0 0 at 4 4\n"));
}

TEST_F(StateCommandTest, JsonOfPlacesTellsTheSame) {
  const json told = RunForJson({"state", "t.trace", "--cycle", "260", "--places"});
  EXPECT_FALSE(told.contains("elements"));
  EXPECT_EQ(4, told["records"]);
  ASSERT_EQ(4U, told["places"].size());
  EXPECT_EQ(json({{"piece", "element"},
                  {"at", {7, 2}},
                  {"thread", 1},
                  {"age", 2},
                  {"rests", false},
                  {"color", "#a5ff01"},
                  {"record", 0},
                  {"cycle", 5}}),
            told["places"][0]);
  EXPECT_EQ(json({0, 0}), told["places"][2]["cluster"]);
  EXPECT_EQ(json({{"piece", "message"},
                  {"from", {7, 2}},
                  {"to", {0, 1}},
                  {"thread", 2},
                  {"age", 0},
                  {"rests", false},
                  {"color", "#ff0000"},
                  {"record", 2},
                  {"cycle", 260}}),
            told["places"][3]);
}

TEST_F(StateCommandTest, ARegionHasWhatIsInItAndMessagesFromAndTo) {
  const std::string head = "t.trace: step 3, cycle 260, 4 records from record 0, -c 1 -d 2 -p 4\n";
  const std::string untouched = "untouched elements #c0c0c0, untouched switches #dfdfdf\n";
  EXPECT_EQ(head + untouched + "message 7 2 to 0 1 #ff0000 age 0\n",
            At({"--cycle", "260", "--region", "0,0:1,1"}));
  EXPECT_EQ(head + untouched +
                "element 3 3 #0101ff\n"
                "switch of cluster 0 0 at 4 4 #ff8080\n",
            At({"--cycle", "260", "--region", "3,3:4,4"}));
  EXPECT_EQ(At({"--cycle", "260"}), At({"--cycle", "260", "--region", "cluster:0,0"}));
  EXPECT_EQ(At({"--cycle", "260"}), At({"--cycle", "260", "--region", "0,0:99,99"}));
  EXPECT_EQ(head + untouched, At({"--cycle", "260", "--region", "50,50"}));
  json told = RunForJson({"state", "t.trace", "--cycle", "260", "--region", "6,2:9,3"});
  EXPECT_EQ(json({{"first", {6, 2}}, {"last", {9, 3}}}), told["region"]);
  EXPECT_EQ(json::array({json::array({"#c0c0c0", "#a5ff01"}), json::array({"#c0c0c0", "#c0c0c0"})}),
            told["elements"]);
  EXPECT_EQ(json::array(), told["switches"]);
  EXPECT_EQ(1U, told["messages"].size());
  told = RunForJson({"state", "t.trace", "--cycle", "260", "--region", "4,4"});
  EXPECT_EQ(json::array({json::array({"#ff8080"})}), told["switches"]);
  EXPECT_EQ(json::array(), told["messages"]);
  ExpectFailure(1,
                "t.trace: the array has no cluster at column 1, row 0\n"
                "  Give the counts of the array with -c, -d and -p.\n",
                Run({"state", "t.trace", "--cycle", "260", "--region", "cluster:1,0"}));
}

TEST_F(StateCommandTest, PlacesHaveTheKindsAndNamesOfTheCompanion) {
  marrowfin_trace trace;
  marrowfin_trace_open(&trace, folder.File("t.trace").c_str());
  marrowfin_trace_companion(&trace);
  marrowfin_trace_name_thread(&trace, 1, "requests", "class");
  marrowfin_trace_name_place(&trace, 2, 7, "memory");
  const int kind = marrowfin_trace_attribute(&trace, "kind", MARROWFIN_TRACE_NAME, "");
  marrowfin_trace_value_name(&trace, kind, 0, "compute");
  marrowfin_trace_value_name(&trace, kind, 1, "wait");
  marrowfin_trace_fire(&trace, 5, 1, 2, 7);
  marrowfin_trace_note(&trace, kind, 0);
  marrowfin_trace_fire(&trace, 6, 1, 2, 7);
  marrowfin_trace_note(&trace, kind, 1);
  marrowfin_trace_fire(&trace, 6, 0, 0, 0);
  marrowfin_trace_send(&trace, 6, 1, 0, 0, 2, 7);
  marrowfin_trace_note(&trace, kind, 0);
  ASSERT_EQ(0, marrowfin_trace_close(&trace));
  EXPECT_THAT(At({"--cycle", "6", "--places"}),
              ::testing::EndsWith("\n"
                                  "age  thread     named     kind    color  record  cycle  place\n"
                                  "  0       0         -        -  #ff0101       2      6  element "
                                  "0 0\n"
                                  "  0       1  requests     wait  #01ff01       1      6  element "
                                  "7 2 (memory)\n"
                                  "  0       1  requests  compute  #ff0000       3      6  message "
                                  "0 0 to 7 2 (memory)\n"));
  const json told = RunForJson({"state", "t.trace", "--cycle", "6", "--places"})["places"];
  EXPECT_FALSE(told[0].contains("kind"));
  EXPECT_EQ("wait", told[1]["kind"]);
  EXPECT_EQ("requests", told[1]["threadName"]);
  EXPECT_EQ("memory", told[1]["place"]);
  EXPECT_EQ("memory", told[2]["toPlace"]);
  // Notes that are damaged are told and left out.
  testing::WriteFile(folder.File("t.trace.notes"), "these are no notes");
  const CommandResult damaged = Run({"state", "t.trace", "--cycle", "6", "--places"});
  EXPECT_EQ(0, damaged.exitStatus);
  EXPECT_THAT(damaged.err, HasSubstr("; its notes are left out\n"));
  EXPECT_THAT(damaged.out, HasSubstr("element 7 2 (memory)\n"));
}

}  // namespace
}  // namespace marrowfin
