// marrowfin-trace stats

#include <sstream>

#include "tests/tools/CommandFixture.h"
#include "trace/marrowfin_trace.h"
#include "trace/write/Recorder.h"

namespace marrowfin {
namespace {

using nlohmann::json;
using ::testing::AllOf;
using testing::CommandResult;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

// Four elements: one is busy, one is asked now and then, two do nothing.
constexpr char small[] =
    "fire 10 0 0 0\n"
    "fire 10 1 0 0\n"
    "send 10 0 0 0 1 0\n"
    "fire 11 0 0 0\n"
    "send 11 0 0 0 1 0\n"
    "fire 12 0 1 0\n"
    "send 19 0 1 0 1 1\n"
    "fire 20 0 1 0\n";

class StatsTest : public CommandFixture {
 protected:
  StatsTest() { Trace(small); }

  std::string Stats(const std::vector<std::string>& flags) const {
    std::vector<std::string> words = {"stats", "t.trace", "-c", "1", "-d", "1", "-p", "2"};
    words.insert(words.end(), flags.begin(), flags.end());
    const CommandResult result = Run(words);
    EXPECT_EQ(0, result.exitStatus) << result.err;
    EXPECT_EQ("", result.err);
    return result.out;
  }

  std::vector<std::string> Lines(const std::string& text) const {
    std::istringstream in(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
      lines.push_back(line);
    }
    return lines;
  }
};

TEST_F(StatsTest, TextTellsWhatWasDoneWhereAndHowEvenly) {
  const std::string text = Stats({});
  EXPECT_THAT(text, StartsWith("t.trace: 8 records of cycles 10 to 20, -c 1 -d 1 -p 2\n"));
  EXPECT_THAT(text, HasSubstr("\n  fires                 5, 0.455 a cycle\n"));
  EXPECT_THAT(text, HasSubstr("\n  utilisation           9.09 % of the cycles on average; (0, 0) "
                              "18.2 %, (1, 0) 18.2 %\n"));
  EXPECT_THAT(text, HasSubstr("on average of 4 PEs, 2 never\n"));
  EXPECT_THAT(text, HasSubstr("\n  longest gap           8 cycles at (1, 0), up to cycle 20\n"));
  EXPECT_THAT(text, HasSubstr("\n  busiest cycle         10, with 2 fires\n"));
  EXPECT_THAT(text, HasSubstr("\n  quiet spell           7 cycles from cycle 13\n"));
  EXPECT_THAT(text, HasSubstr("\nLinks, observed between PEs\n"));
  EXPECT_THAT(text, HasSubstr("(0, 0) right: 18.2 %\n"));
  EXPECT_THAT(text, Not(HasSubstr("Packets"))) << "nothing tells them";
  EXPECT_THAT(text, Not(HasSubstr("Switches"))) << "there are none";
}

TEST_F(StatsTest, JsonHasTheSameNumbersUnrounded) {
  const json stats = Json(Stats({"--json"}));
  EXPECT_EQ(stats["records"], 8);
  EXPECT_EQ(stats["firstCycle"], 10);
  EXPECT_EQ(stats["lastCycle"], 20);
  EXPECT_DOUBLE_EQ(stats["firesPerCycle"], 5 / 11.0);
  EXPECT_DOUBLE_EQ(stats["utilisation"], 1 / 11.0);
  EXPECT_EQ(stats["elements"]["total"].dump(), "5") << "a count";
  EXPECT_EQ(stats["elements"]["never"], 2);
  EXPECT_EQ(stats["elements"]["busiest"][0]["at"], json({0, 0}));
  EXPECT_EQ(stats["longestGap"], json({{"at", {1, 0}}, {"cycles", 8}, {"end", 20}}));
  EXPECT_EQ(stats["links"]["observed"], true);
  EXPECT_EQ(stats["links"]["busiest"][0]["messages"], 2);
  EXPECT_EQ(stats["distance"]["max"], 1);
  EXPECT_EQ(stats["distance"]["p50"], nullptr) << "of three messages";
  EXPECT_EQ(stats["phases"], nullptr);
  EXPECT_FALSE(stats.contains("packets"));
}

TEST_F(StatsTest, TrafficBetweenClustersIsToldOfArraysThatHaveSeveral) {
  Trace("send 1 0 0 0 2 0\nsend 2 0 1 1 3 1\nsend 3 0 2 0 0 0\nsend 3 0 2 0 3 0\n");
  const std::string text = Run({"stats", "t.trace", "-c", "2", "-d", "1", "-p", "2"}).out;
  EXPECT_THAT(text, HasSubstr("\nTraffic between clusters\n"
                              "  messages              3 leave their cluster, 75 % of all\n"
                              "  busiest               (0, 0) to (1, 0): 2\n"
                              "                        (1, 0) to (0, 0): 1\n"));
  const json stats = Json(Run({"stats", "t.trace", "-c", "2", "-d", "1", "-p", "2", "--json"}).out);
  EXPECT_EQ(stats["traffic"].dump(),
            R"([{"from":[0,0],"messages":2,"to":[1,0]},{"from":[1,0],"messages":1,"to":[0,0]},)"
            R"({"from":[1,0],"messages":1,"to":[1,0]}])");
  EXPECT_EQ(
      Json(Run({"stats", "t.trace", "-c", "9", "-d", "1", "-p", "1", "--json"}).out)["traffic"],
      nullptr)
      << "of 81 clusters the matrix is a table of its own";
  EXPECT_THAT(Stats({}), Not(HasSubstr("Traffic"))) << "one cluster has none to send to";
}

TEST_F(StatsTest, ConditionsOnNotesChooseEventsWithTheirPacketsAndTheWayToTheirFires) {
  const std::string name = folder.File("noted.trace");
  marrowfin::Recorder recorder;
  ASSERT_FALSE(recorder.Open(name));
  const NameNote kind = recorder.DeclareName("kind");
  const NumberNote packet = recorder.DeclareNumber("packet");
  const RecordsNote consumes = recorder.DeclareRecords("consumes");
  const auto send = [&](uint64_t cycle, const char* what, uint64_t number) {
    const RecordNumber record = recorder.Send(cycle, 0, {0, 0}, {1, 1});
    recorder.Note(recorder.DeclareValue(kind, what));
    recorder.Note(packet, number);
    return record;
  };
  const RecordNumber load = send(10, "load", 1);
  const RecordNumber store = send(11, "store", 2);
  recorder.Fire(14, 0, {1, 1});
  recorder.Note(consumes, load);
  recorder.Fire(20, 0, {1, 1});
  recorder.Note(consumes, store);
  ASSERT_FALSE(recorder.Close());
  const json all = Json(Run({"stats", "noted.trace", "--json"}).out);
  EXPECT_EQ(all["sendToFire"]["count"], 2);
  const CommandResult result = Run({"stats", "noted.trace", "--kind", "store", "--json"});
  EXPECT_EQ(result.exitStatus, 0) << result.err;
  const json stores = Json(result.out);
  EXPECT_EQ(stores["records"], 1);
  EXPECT_EQ(stores["fires"], 0);
  EXPECT_EQ(stores["lastCycle"], 20) << "over the same cycles";
  EXPECT_EQ(stores["sendToFire"], json({{"count", 1},
                                        {"mean", 9.0},
                                        {"min", 9},
                                        {"p50", nullptr},
                                        {"p95", nullptr},
                                        {"p99", nullptr},
                                        {"max", 9}}));
  EXPECT_EQ(stores["packets"]["delivered"], 1);
  EXPECT_EQ(stores["packets"]["latency"]["max"], 9);
  EXPECT_EQ(stores["groups"][1]["groups"].size(), 1U) << "no group of what is left out";
  EXPECT_EQ(Json(Run({"stats", "noted.trace", "--where", "packet=1", "--json"})
                     .out)["packets"]["latency"]["max"],
            4);
  const CommandResult none = Run({"stats", "t.trace", "--kind", "load"});
  EXPECT_EQ(none.exitStatus, 1);
  EXPECT_THAT(none.err, HasSubstr("there are no notes beside it that could be asked"));
}

TEST_F(StatsTest, TablesAreOneLineForEachUnit) {
  EXPECT_THAT(Lines(Stats({"--csv", "pes"})),
              ElementsAre("column,row,fires,sends,receives,activeCycles,utilisation,longestGap",
                          "0,0,3,2,0,2,0.18181818181818182,1", "1,0,2,1,2,2,0.18181818181818182,8",
                          "0,1,0,0,0,0,0,0", "1,1,0,0,1,0,0,0"));
  EXPECT_THAT(Lines(Stats({"--csv", "clusters"})),
              ElementsAre("column,row,fires,sends,receives,transmissions,switchLoad,utilisation",
                          "0,0,5,3,3,0,,0.09090909090909091"));
  EXPECT_THAT(
      Lines(Stats({"--csv", "domains"})),
      ElementsAre("column,row,fires,sends,receives,utilisation", "0,0,5,3,3,0.09090909090909091"));
  const std::vector<std::string> links = Lines(Stats({"--csv", "links"}));
  ASSERT_EQ(links.size(), 9U);
  EXPECT_EQ(links[0], "column,row,heading,messages,load");
  EXPECT_EQ(links[1], "0,0,right,2,0.18181818181818182");
  const std::vector<std::string> time = Lines(Stats({"--csv", "time"}));
  ASSERT_EQ(time.size(), 12U);
  EXPECT_EQ(time[0], "firstCycle,cycles,fires,sends,transmissions");
  EXPECT_EQ(time[1], "10,1,2,1,0");
  EXPECT_THAT(Lines(Stats({"--csv", "distances"})), ElementsAre("distance,messages", "1,3"));
  EXPECT_THAT(Lines(Stats({"--csv", "traffic"})),
              ElementsAre("fromColumn,fromRow,toColumn,toRow,messages", "0,0,0,0,3"));
  EXPECT_THAT(Lines(Stats({"--csv", "latency"})),
              ElementsAre("firstCycle,lastCycle,injected,delivered,mean,p50,p95,p99,max"));
}

// Two clusters of 2 x 2 elements. The switch of the first passes four messages on in two cycles.
void RecordSwitches(const std::string& name, bool told) {
  marrowfin_trace trace;
  marrowfin_trace_open(&trace, name.c_str());
  marrowfin_trace_companion(&trace);
  const marrowfin_trace_array array = {2, 1, 1, 1, 2, 2, 1, 0, 0};
  marrowfin_trace_describe_array(&trace, &array);
  if (told) {
    marrowfin_trace_describe_link_messages(&trace, 2);
    marrowfin_trace_describe_switches(&trace, 1, 0, 0);
  }
  for (uint64_t i = 0; i < 4; ++i) {
    marrowfin_trace_send(&trace, 5 + i / 2, 0, 0, 0, 0, 3);
    marrowfin_trace_switch(&trace, 5 + i / 2, 0, 0, 0);
  }
  EXPECT_EQ(0, marrowfin_trace_close(&trace));
}

TEST_F(StatsTest, LoadsAreSharesOfWhatTheCompanionSaysThatLinksAndSwitchesTake) {
  RecordSwitches(folder.File("s.trace"), true);
  // A port and a link, two messages a cycle each.
  EXPECT_THAT(Run({"stats", "s.trace"}).out,
              AllOf(HasSubstr("\n  busiest               cluster (0, 0) right: 100 %\n"),
                    HasSubstr("\n  load                  25 % of what they can pass on, on "
                              "average; (0, 0) 50 %\n")));
  const json stats = Json(Run({"stats", "s.trace", "--json"}).out);
  EXPECT_EQ(stats["links"]["capacity"], 2);
  EXPECT_EQ(stats["switches"]["meanLoad"], 0.25);
  EXPECT_EQ(stats["switches"]["mostLoaded"], json({{{"at", {0, 0}}, {"value", 0.5}}}));
  EXPECT_THAT(Lines(Run({"stats", "s.trace", "--csv", "clusters"}).out),
              ElementsAre("column,row,fires,sends,receives,transmissions,switchLoad,utilisation",
                          "0,0,0,4,0,4,0.5,0", "1,0,0,0,4,0,0,0"));
}

TEST_F(StatsTest, WithoutWhatSwitchesTakeTheyHaveNoLoad) {
  RecordSwitches(folder.File("s.trace"), false);
  const std::string text = Run({"stats", "s.trace"}).out;
  EXPECT_THAT(text, AllOf(HasSubstr("\nSwitches\n"), Not(HasSubstr("can pass on"))));
  EXPECT_THAT(text, HasSubstr("\n  busiest               cluster (0, 0) right: 200 %\n"));
  const json stats = Json(Run({"stats", "s.trace", "--json"}).out);
  EXPECT_EQ(stats["switches"]["meanLoad"], nullptr);
  EXPECT_EQ(stats["switches"]["mostLoaded"], nullptr);
}

TEST_F(StatsTest, AnyConditionOnEventsNarrowsWhatIsMeasured) {
  EXPECT_EQ(Json(Stats({"--json", "--cycles", "11:14"}))["firesPerCycle"], 0.5);
  EXPECT_EQ(Json(Stats({"--json", "--thread", "1"}))["fires"], 1);
  EXPECT_EQ(Json(Stats({"--json", "--region", "1,0"}))["fires"], 2);
  EXPECT_EQ(Json(Stats({"--json", "--records", "0:1"}))["lastCycle"], 10);
  EXPECT_EQ(Json(Stats({"--json", "--type", "send"}))["fires"], 0);
}

TEST_F(StatsTest, ARangeWithoutEventsIsNoFailure) {
  EXPECT_EQ(Stats({"--thread", "9"}), "t.trace: 0 records of cycles 10 to 20, -c 1 -d 1 -p 2\n");
  EXPECT_EQ(Json(Stats({"--thread", "9", "--json"}))["firesPerCycle"], 0);
}

TEST_F(StatsTest, ThreadsMayBePackets) {
  Trace(
      "fire 1 7 0 0\n"
      "send 2 7 0 0 1 0\n"
      "fire 5 7 1 0\n"
      "fire 6 8 0 0\n");
  const std::string text = Stats({"--packets", "thread"});
  EXPECT_THAT(text, HasSubstr("\nPackets, a thread each\n"));
  EXPECT_THAT(text, HasSubstr("\n  delivered             1, 1 still under way\n"));
  EXPECT_THAT(text, HasSubstr("slowest               packet 7, 4 cycles from cycle 1\n"));
  EXPECT_THAT(text, HasSubstr("\n  cycles a hop          mean 3, at most 3\n"));
  const json packets = Json(Stats({"--packets", "thread", "--json"}))["packets"];
  EXPECT_EQ(packets["slowestOnes"][0], packets["slowest"]);
  EXPECT_EQ(packets["slowest"]["to"], json({1, 0}));
  EXPECT_EQ(packets["hopTime"]["mean"], 3);
  EXPECT_EQ(packets["latency"]["max"], 4);
  EXPECT_EQ(packets["hops"]["max"], 1);
  EXPECT_EQ(packets["totalLatency"], nullptr);
  EXPECT_THAT(Lines(Stats({"--packets", "thread", "--csv", "latency"}))[1],
              StartsWith("1,1,1,1,4,,,,4"));
  EXPECT_FALSE(Json(Stats({"--packets", "none", "--json"})).contains("packets"));
}

TEST_F(StatsTest, TrafficIsToldByThreadWhereThatIsAsked) {
  const std::string text = Stats({"--by", "thread"});
  EXPECT_THAT(text, HasSubstr("\nBy thread, distances and cycles on average\n"
                              "  0                     4 fires, 3 sends, distance 1\n"
                              "  1                     1 fire\n"));
  const json groups = Json(Stats({"--by", "thread", "--json"}))["groups"];
  EXPECT_EQ(groups[0]["by"], "thread");
  EXPECT_EQ(groups[0]["groups"][1]["fires"], 1);
  EXPECT_EQ(groups[0]["groups"][0]["distance"]["count"], 3);
  const std::vector<std::string> lines = Lines(Stats({"--by", "thread", "--csv", "groups"}));
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_THAT(lines[0], StartsWith("by,value,name,fires,sends,transmissions,distanceCount,"));
  EXPECT_EQ(lines[1], "\"thread\",0,\"\",4,3,0,3,1,,,,1,0,,,,,,0,,,,,");
  EXPECT_THAT(Stats({}), Not(HasSubstr("By thread"))) << "without notes nobody asked for it";
  const CommandResult result = Run({"stats", "t.trace", "--by", "kind"});
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_THAT(result.err, HasSubstr("no names of kind"));
}

TEST_F(StatsTest, TrafficIsToldByAtMostFourNames) {
  std::vector<std::string> words = {"stats", "t.trace"};
  for (int times = 1; times <= 5; ++times) {
    words.insert(words.end(), {"--by", "thread"});
    EXPECT_EQ(Run(words).exitStatus, times <= 4 ? 0 : 2) << times;
  }
}

TEST_F(StatsTest, TrafficIsToldByAllNamesOfACompanion) {
  marrowfin::Recorder recorder;
  ASSERT_FALSE(recorder.Open(folder.File("n.trace")));
  const NameNote kind = recorder.DeclareName("kind");
  const RecordsNote consumes = recorder.DeclareRecords("consumes");
  const RecordNumber sent = recorder.Send(1, 1, {0, 0}, {1, 0});
  recorder.Note(recorder.DeclareValue(kind, "ask\x1b[2J"));
  recorder.Fire(8, 1, {1, 0});
  recorder.Note(consumes, sent);
  ASSERT_FALSE(recorder.Close());
  const CommandResult result = Run({"stats", "n.trace", "-c", "1", "-d", "1", "-p", "2"});
  EXPECT_EQ(result.exitStatus, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr("\n  from send to fire     mean 7, at most 7\n"));
  EXPECT_THAT(result.out,
              HasSubstr("\n  1                     1 fire, 1 send, distance 1, to its fire 7\n"));
  EXPECT_THAT(result.out, HasSubstr("\nBy kind, "));
  EXPECT_THAT(result.out, HasSubstr("\n  ask\\x1b[2J "));
  EXPECT_THAT(result.out, HasSubstr("\n  none of them          1 fire\n"));
  const CommandResult answer = Run({"stats", "n.trace", "-c", "1", "-d", "1", "-p", "2", "--json"});
  EXPECT_EQ(Json(answer.out)["sendToFire"]["mean"], 7);
  EXPECT_EQ(Json(answer.out)["groups"][1]["groups"][0]["name"], "ask\x1b[2J");
}

TEST_F(StatsTest, WhatTheIndexKnowsOfATableIsThatWhichIsCounted) {
  // With a condition that lets everything through everything is counted.
  EXPECT_EQ(Stats({"--csv", "time"}), Stats({"--csv", "time", "--records", "0:1000"}));
}

TEST_F(StatsTest, ABrokenTraceIsMeasuredUpToTheBreakWhichIsTold) {
  const std::string path = folder.File("t.trace");
  testing::WriteFile(path, testing::ReadFile(path).substr(0, 3 * 28 + 20));
  CommandResult result = Run({"stats", "t.trace", "-c", "1", "-d", "1", "-p", "2", "--json"});
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(Json(result.out)["fires"], 2);
  EXPECT_THAT(result.err, HasSubstr("the trace ends"));
  result = Run({"stats", "t.trace", "-c", "1", "-d", "1", "-p", "2", "--records", "0:1"});
  EXPECT_EQ(result.exitStatus, 0) << "all that was asked for is there" << result.err;
}

TEST_F(StatsTest, AnAnswerGoesToAFileWholeOrNotAtAll) {
  EXPECT_EQ(Stats({"--json", "-o", folder.File("run.json")}), "");
  EXPECT_EQ(Json(testing::ReadFile(folder.File("run.json"))), Json(Stats({"--json"})));
  const CommandResult result = Run({"stats", "t.trace", "-o", "nowhere/run.txt"});
  EXPECT_EQ(result.exitStatus, 3);
  EXPECT_THAT(result.err, HasSubstr("nowhere/run.txt"));
}

TEST_F(StatsTest, CommandLinesThatSayNothingAreRefused) {
  for (const std::vector<std::string>& flags : {std::vector<std::string>{"--json", "--csv", "pes"},
                                                {"--csv", "nothing"},
                                                {"--packets", "mail"},
                                                {"-o", "t.trace"},
                                                {"-p", "0"},
                                                {"-p", "5000"}}) {
    std::vector<std::string> words = {"stats", "t.trace"};
    words.insert(words.end(), flags.begin(), flags.end());
    const CommandResult result = Run(words);
    EXPECT_EQ(result.exitStatus, 2) << flags.back();
    EXPECT_EQ(result.out, "");
    EXPECT_NE(result.err, "");
  }
  EXPECT_EQ(Run({"stats", "none.trace"}).exitStatus, 1);
}

TEST_F(StatsTest, TheArrayIsThatOfTheCompanionUnlessFlagsSayAnother) {
  testing::WriteFile(folder.File("t.trace.about"),
                     "format = 1\n"
                     "[trace]\n"
                     "records = 0\n"
                     "fingerprint = \"cbf29ce484222325\"\n"
                     "[array]\n"
                     "pes = { columns = 3, rows = 2 }\n");
  CommandResult result = Run({"stats", "t.trace"});
  EXPECT_THAT(result.out, HasSubstr("1 x 1 clusters of 1 x 1 domains of 3 x 2 elements\n"))
      << result.err;
  result = Run({"stats", "t.trace", "-c", "1", "-d", "1", "-p", "4"});
  EXPECT_THAT(result.out, HasSubstr("-c 1 -d 1 -p 4\n"));
}

TEST_F(StatsTest, ACompanionThatIsNotBelievedIsTold) {
  testing::WriteFile(folder.File("t.trace.notes"), "no notes");
  const CommandResult result = Run({"stats", "t.trace", "-c", "1", "-d", "1", "-p", "2"});
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_THAT(result.err, AllOf(StartsWith("marrowfin-trace: "), HasSubstr("t.trace.notes")));
  EXPECT_THAT(result.out, HasSubstr("5, 0.455 a cycle"));
}

TEST_F(StatsTest, ARunMayTakeAllCyclesThatThereAre) {
  const std::string end = std::to_string(~uint64_t{0});
  Trace("fire 0 0 0 0\nfire " + end + " 0 0 0\n");
  const json stats = json::parse(Run({"stats", "t.trace", "--json"}).out);
  EXPECT_EQ(stats["longestGap"]["cycles"], ~uint64_t{0});
  EXPECT_THAT(Run({"stats", "t.trace"}).out,
              HasSubstr("longest gap           18,446,744,073,709,551,615 cycles at (0, 0)"));
}

}  // namespace
}  // namespace marrowfin
