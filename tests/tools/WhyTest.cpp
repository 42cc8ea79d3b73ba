// marrowfin-trace why

#include "tests/tools/CommandFixture.h"

namespace marrowfin {
namespace {

using nlohmann::json;
using ::testing::AllOf;
using testing::CommandResult;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

// A thread goes over three elements; another one does something of its own.
constexpr char small[] =
    "fire 10 0 0 0\n"      // 0
    "send 12 0 0 0 1 0\n"  // 1
    "fire 13 7 3 3\n"      // 2
    "fire 15 0 1 0\n"      // 3
    "send 16 0 1 0 1 1\n"  // 4
    "fire 17 7 3 3\n"      // 5
    "fire 20 0 1 1\n";     // 6

class WhyTest : public CommandFixture {
 protected:
  WhyTest() { Trace(small); }

  std::vector<std::string> Line(const std::vector<std::string>& flags) const {
    std::vector<std::string> words = {"why", "t.trace", "-c", "1", "-d", "1", "-p", "4"};
    words.insert(words.end(), flags.begin(), flags.end());
    return words;
  }

  std::string Why(const std::vector<std::string>& flags = {}) const {
    const CommandResult result = Run(Line(flags));
    EXPECT_EQ(0, result.exitStatus) << result.err;
    EXPECT_EQ("", result.err);
    return result.out;
  }

  json WhyAsJson(std::vector<std::string> flags = {}) const {
    flags.push_back("--json");
    return Json(Why(flags));
  }
};

TEST_F(WhyTest, TellsTheCriticalPathWithItsTimeAndItsBounds) {
  const std::string text = Why();
  EXPECT_THAT(text, StartsWith("t.trace: the chain that led to its end, record 6, fire of (1, 1), "
                               "thread 0, cycle 20 (inferred)\n"));
  EXPECT_THAT(text, HasSubstr("\n  chain                 3 fires, 2 messages over 10 cycles, from "
                              "cycle 10 to 20\n"));
  EXPECT_THAT(text, HasSubstr("\n  before it             nothing: it begins with the run\n"));
  // A fire took a cycle at least, a message over a link three.
  EXPECT_THAT(text, HasSubstr("\n  work                  2 cycles, 20 %\n"
                              "  travel                6 cycles, 60 %\n"
                              "  wait                  2 cycles, 20 %\n"
                              "  longest message       4 cycles, record 4\n"));
  EXPECT_THAT(text, HasSubstr("\n  PE (1, 1)             4 cycles: 0 work, 3 travel, 1 wait\n"));
  EXPECT_THAT(text, HasSubstr("\n  as it was             cycle 20\n"
                              "  nothing waits         no earlier than cycle 18\n"
                              "  messages are free     no earlier than cycle 14\n"
                              "  work takes no time    no earlier than cycle 16\n"));
  EXPECT_THAT(text,
              HasSubstr("\n  least                 (0, 0) 0, (1, 0) 0, (1, 1) 0, (3, 3) 3\n"));
  EXPECT_THAT(text, HasSubstr("\n         6        20         0         3         1  fire of "
                              "(1, 1), thread 0\n"));
  EXPECT_THAT(text, HasSubstr("\n  causes                0 told, 0 by packet, 5 inferred\n"));
}

TEST_F(WhyTest, JsonHasTheSame) {
  const json why = WhyAsJson();
  EXPECT_EQ(why["event"]["record"], 6);
  EXPECT_EQ(why["chain"]["time"], json({{"work", 2}, {"travel", 6}, {"wait", 2}}));
  EXPECT_EQ(why["chain"]["certain"], false);
  EXPECT_EQ(why["chain"]["steps"].size(), 5U);
  EXPECT_EQ(why["chain"]["steps"][1]["to"], json({1, 0}));
  EXPECT_EQ(why["bounds"],
            json({{"end", 20}, {"noWaits", 18}, {"freeMessages", 14}, {"instantWork", 16}}));
  EXPECT_EQ(why["slack"][3], json({{"at", {3, 3}}, {"fires", 2}, {"least", 3}, {"mean", 3.0}}));
  EXPECT_EQ(why["causes"]["inferred"], 5);
}

TEST_F(WhyTest, AnEventIsNamedByItsRecordOrByWhereAndWhenItWas) {
  EXPECT_EQ(WhyAsJson({"--record", "3"})["chain"]["steps"].size(), 3U);
  EXPECT_FALSE(WhyAsJson({"--record", "3"}).contains("bounds")) << "which are of the run";
  EXPECT_EQ(WhyAsJson({"--record", "4"})["event"]["type"], "send");
  EXPECT_EQ(WhyAsJson({"--pe", "3,3"})["event"]["record"], 5);
  EXPECT_EQ(WhyAsJson({"--pe", "3,3", "--cycle", "16"})["event"]["record"], 2);
  EXPECT_EQ(WhyAsJson({"--pe", "3,3", "--cycle", "17"})["event"]["record"], 5);
}

TEST_F(WhyTest, ConesHaveAllThatLedToAnEventOrFollowedFromIt) {
  const json back = WhyAsJson({"--cone", "back"})["cone"];
  EXPECT_EQ(back["fires"], 3);
  EXPECT_EQ(back["messages"], 2);
  EXPECT_EQ(back["firstCycle"], 10);
  EXPECT_EQ(back["pes"].size(), 3U);
  const json forward = WhyAsJson({"--cone", "forward", "--record", "3"})["cone"];
  EXPECT_EQ(forward["fires"], 2);
  EXPECT_EQ(forward["lastCycle"], 20);
  EXPECT_THAT(Why({"--cone", "forward", "--record", "2"}),
              AllOf(HasSubstr("all that followed from record 2"), HasSubstr("2 fires, 0 messages"),
                    HasSubstr("1 of 16\n")));
}

TEST_F(WhyTest, AsManyStepsAreToldAsWereAskedFor) {
  EXPECT_THAT(Why({"--steps", "2"}), AllOf(HasSubstr("\nSteps, the last 2 of 5\n"),
                                           Not(HasSubstr("message (0, 0) to (1, 0)"))));
  EXPECT_THAT(Why({"--steps", "0"}), Not(HasSubstr("Steps")));
  EXPECT_EQ(WhyAsJson({"--steps", "3"})["chain"]["steps"][0]["record"], 3);
}

TEST_F(WhyTest, RunsWithoutAnythingToTellAreNoFailure) {
  Trace("");
  EXPECT_EQ(Why(), "t.trace: no fires and no messages, so nothing caused anything\n");
  Trace("switch 5 0 4 4\n");
  EXPECT_EQ(Why(), "t.trace: no fires and no messages, so nothing caused anything\n");
  Trace("send 5 0 0 0 1 1\n");
  EXPECT_EQ(WhyAsJson()["chain"]["messages"], 1);
  Trace("fire 5 0 0 0\n");
  const json one = WhyAsJson();
  EXPECT_EQ(one["chain"]["certain"], true) << "there is nothing to guess";
  EXPECT_EQ(one["bounds"]["freeMessages"], 5);
}

TEST_F(WhyTest, TracesWhoseCyclesFallHaveChains) {
  Trace(
      "fire 10 0 0 0\n"
      "send 12 0 0 0 1 0\n"
      "fire 3 0 1 0\n"
      "fire 14 0 1 0\n");
  const json chain = WhyAsJson()["chain"];
  EXPECT_EQ(chain["steps"].size(), 3U);
  EXPECT_EQ(chain["lastCycle"], 14);
}

TEST_F(WhyTest, NumbersOfStepsStandApartHoweverLongTheyAre) {
  Trace(
      "fire 0 0 0 0\n"
      "fire 18446744073709551615 0 0 0\n");
  EXPECT_THAT(Why(), HasSubstr("\n         1 18,446,744,073,709,551,615         0         0 "
                               "18,446,744,073,709,551,615  fire of (0, 0), thread 0\n"));
}

TEST_F(WhyTest, WhatIsNotThereIsToldByName) {
  EXPECT_THAT(Run(Line({"--record", "7"})).err, HasSubstr("there is no record 7, only 7"));
  EXPECT_EQ(Run(Line({"--record", "7"})).exitStatus, 1);
  EXPECT_THAT(Run(Line({"--pe", "2,2"})).err, HasSubstr("PE 2,2 does not fire"));
  EXPECT_THAT(Run(Line({"--pe", "3,3", "--cycle", "9"})).err,
              HasSubstr("PE 3,3 does not fire up to cycle 9"));
  EXPECT_THAT(Run(Line({"--packet", "9"})).err, HasSubstr("nothing tells packets of it"));
}

TEST_F(WhyTest, CommandLinesThatSayNothingAreRefused) {
  for (const std::vector<std::string>& flags : {std::vector<std::string>{"--cycle", "5"},
                                                {"--record", "1", "--pe", "0,0"},
                                                {"--pe", "cluster:0,0"},
                                                {"--pe", "0,0:1,1"},
                                                {"--cone", "sideways"},
                                                {"--packet", "1", "--cone", "back"},
                                                {"--packet", "1", "--infer"},
                                                {"-o", "t.trace"},
                                                {"--record", "-1"}}) {
    const CommandResult result = Run(Line(flags));
    EXPECT_EQ(result.exitStatus, 2) << flags[0];
    EXPECT_EQ(result.out, "");
    EXPECT_NE(result.err, "");
  }
}

TEST_F(WhyTest, ABrokenTraceIsAnsweredUpToTheBreakWhichIsTold) {
  const std::string path = folder.File("t.trace");
  const std::string bytes = testing::ReadFile(path);
  testing::WriteFile(path, bytes.substr(0, bytes.size() - 5));
  const CommandResult result = Run(Line({"--json"}));
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(Json(result.out)["event"]["record"], 5);
  EXPECT_THAT(result.err, HasSubstr("the trace ends"));
}

TEST_F(WhyTest, AnAnswerGoesToAFileWholeOrNotAtAll) {
  EXPECT_EQ(Why({"--json", "-o", folder.File("why.json")}), "");
  EXPECT_EQ(Json(testing::ReadFile(folder.File("why.json"))), WhyAsJson());
  EXPECT_EQ(Run(Line({"-o", "nowhere/why.txt"})).exitStatus, 3);
}

TEST_F(WhyTest, ACompanionThatIsNotBelievedIsToldAndCausesAreInferred) {
  testing::WriteFile(folder.File("t.trace.notes"), "no notes");
  const CommandResult result = Run(Line({}));
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_THAT(result.err, HasSubstr("t.trace.notes"));
  EXPECT_THAT(result.out, HasSubstr("(inferred)"));
}

}  // namespace
}  // namespace marrowfin
