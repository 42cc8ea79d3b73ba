// marrowfin-trace info

#include <sys/stat.h>

#include <fstream>

#include "tests/tools/CommandFixture.h"
#include "tests/tools/RunningProgram.h"
#include "tests/tools/SlowPipe.h"
#include "trace/marrowfin_trace.h"

namespace marrowfin {
namespace {

using nlohmann::json;
using testing::CommandResult;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

class InfoTest : public CommandFixture {};

// Counted by hand: 3 fires, 2 sends and 2 transmissions; 5 * 28 + 2 * 36 bytes; the cycles change
// before the third, the fourth, the sixth and the last record; the farthest places are column 9 of
// a send's receiver and row 17 of a fire; switches 8 apart make clusters of 8 x 8, and row 17 needs
// three of them.
constexpr char byHand[] =
    "fire 5 1 7 2\n"
    "switch 5 0 4 4\n"
    "send 6 2 7 2 9 1\n"
    "fire 260 1 3 17\n"
    "switch 260 1 12 4\n"
    "send 261 7 3 16 0 1\n"
    "fire 4000000000 1 0 0\n";

TEST_F(InfoTest, TheTextTellsTheFiguresOfATraceMadeByHand) {
  Trace(byHand);
  ExpectOutput(
      "t.trace\n"
      "records       7 (212 bytes)\n"
      "fires         3\n"
      "sends         2\n"
      "transmissions 2 by 2 switches\n"
      "cycles        5 to 4000000000, 4 changes\n"
      "steps         5, as the viewer draws them\n"
      "threads       4: 0 (1) 1 (4) 2 (1) 7 (1)\n"
      "extent        10 columns, 18 rows\n"
      "also fits     -c 3 -d 1 -p 8, -c 3 -d 4 -p 2, -c 3 -d 8 -p 1 and 6 more\n"
      "rectangle     16 columns x 24 rows: 2 x 3 clusters of 2 x 2 domains of 4 x 4 elements; no "
      "viewer shows it\n"
      "view it with  marrowfin -c 3 -d 2 -p 4 -f t.trace\n",
      Run({"info", "t.trace"}));
}

TEST_F(InfoTest, JsonTellsTheSameFigures) {
  Trace(byHand);
  const json expected = {
      {"trace", "t.trace"},
      {"records", 7},
      {"bytes", 212},
      {"fires", 3},
      {"sends", 2},
      {"transmissions", 2},
      {"switches", 2},
      {"firstCycle", 5},
      {"lastCycle", 4000000000},
      {"largestCycle", 4000000000},
      {"changesOfCycle", 4},
      {"steps", 5},
      {"fallingCycles", 0},
      {"extent", {{"columns", 10}, {"rows", 18}}},
      {"threads",
       {{{"thread", 0}, {"records", 1}},
        {{"thread", 1}, {"records", 4}},
        {{"thread", 2}, {"records", 1}},
        {{"thread", 7}, {"records", 1}}}},
      {"view", {{"clusters", 3}, {"domains", 2}, {"pes", 4}}},
      {"rectangle",
       {{"columns", 16},
        {"rows", 24},
        {"clusters", {{"columns", 2}, {"rows", 3}}},
        {"domains", {{"columns", 2}, {"rows", 2}}},
        {"pes", {{"columns", 4}, {"rows", 4}}}}},
  };
  json told = RunForJson({"info", "t.trace"});
  ASSERT_EQ(9U, told["alsoFits"].size());
  EXPECT_EQ(json({{"clusters", 3}, {"domains", 1}, {"pes", 8}}), told["alsoFits"][0]);
  told.erase("alsoFits");
  EXPECT_EQ(expected, told);
}

TEST_F(InfoTest, TheLargestNumbersOfTheFormatAreToldAsTheyAre) {
  Trace("fire 18446744073709551615 4294967295 4294967295 4294967295\n");
  const json told = RunForJson({"info", "t.trace"});
  EXPECT_EQ(18446744073709551615U, told["firstCycle"]);
  EXPECT_EQ(4294967296, told["extent"]["columns"]);
  EXPECT_EQ(4294967296, told["extent"]["rows"]);
  EXPECT_EQ(json({{{"thread", 4294967295}, {"records", 1}}}), told["threads"]);
}

TEST_F(InfoTest, AnEmptyTraceHasNoRecordsAndIsNoFailure) {
  Trace("");
  ExpectOutput("t.trace\nrecords       0 (0 bytes)\n", Run({"info", "t.trace"}));
  const json told = RunForJson({"info", "t.trace"});
  EXPECT_EQ(0, told["records"]);
  EXPECT_EQ(json::array(), told["threads"]);
}

TEST_F(InfoTest, FallingCyclesAreCountedAndTheFirstIsNamed) {
  Trace("fire 5 0 0 0\nfire 9 0 0 0\nfire 4 0 0 0\nfire 8 0 0 0\nfire 7 0 0 0\n");
  const CommandResult text = Run({"info", "t.trace"});
  EXPECT_EQ(0, text.exitStatus) << "info tells, check judges";
  EXPECT_THAT(text.out, HasSubstr("\ncycles        5 to 9, 4 changes\n"
                                  "steps         4, as the viewer draws them\n"
                                  "order         the cycle falls 2 times, first at record 2\n"));
  const json told = RunForJson({"info", "t.trace"});
  EXPECT_EQ(2, told["fallingCycles"]);
  EXPECT_EQ(7, told["lastCycle"]);
  EXPECT_EQ(9, told["largestCycle"]);
}

TEST_F(InfoTest, OfMoreThanEightThreadsTheTextShowsTheFirst) {
  std::string text;
  for (int thread = 0; thread < 9; ++thread) {
    text += "fire 1 " + std::to_string(3 * thread) + " 0 0\n";
  }
  Trace(text);
  EXPECT_THAT(Run({"info", "t.trace"}).out,
              HasSubstr("\nthreads       9: 0 (1) 3 (1) 6 (1) 9 (1) 12 (1) 15 (1) 18 (1) 21 (1) "
                        "...\n"));
  EXPECT_EQ(9U, RunForJson({"info", "t.trace"})["threads"].size());
}

TEST_F(InfoTest, ThreadsThatAreNotToldApartAreCountedTogether) {
  std::string text;
  for (int thread = 0; thread < 4300; ++thread) {
    text += "fire 1 " + std::to_string(100 + thread) + " 0 0\n";
  }
  Trace(text);
  EXPECT_THAT(Run({"info", "t.trace"}).out, HasSubstr("\nthreads       4096 or more: 100 (1) "));
  const json told = RunForJson({"info", "t.trace"});
  EXPECT_EQ(4096U, told["threads"].size());
  EXPECT_EQ(204, told["recordsOfFurtherThreads"]);
}

TEST_F(InfoTest, ATraceThatBreaksOffIsToldUpToTheFault) {
  const std::string bytes = testing::TraceBytes(byHand);
  testing::WriteFile(folder.File("t.trace"), bytes.substr(0, bytes.size() - 3));
  const CommandResult text = Run({"info", "t.trace"});
  EXPECT_EQ(1, text.exitStatus);
  EXPECT_THAT(text.out, HasSubstr("\nrecords       6 (184 bytes)\n"));
  EXPECT_EQ(
      "marrowfin-trace: t.trace: record 6 at byte 184: the trace ends after 5 of the 8 bytes of a "
      "payload\n  Run the simulator to its end, or use the records before it.\n",
      text.err);
  const json told = RunForJson({"info", "t.trace"}, 1);
  EXPECT_EQ(6, told["records"]);
  EXPECT_EQ(json({{"kind", "cut-record"},
                  {"record", 6},
                  {"offset", 184},
                  {"reason", "the trace ends after 5 of the 8 bytes of a payload"},
                  {"remedy", "run the simulator to its end, or use the records before it"}}),
            told["fault"]);
}

TEST_F(InfoTest, PackedTracesPipesAndStandardInputAreToldLikePlainFiles) {
  Trace(byHand);
  const std::string expected = Run({"info", "t.trace"}).out.substr(strlen("t.trace"));
  const std::string figures = expected.substr(0, expected.find("view it"));
  // The viewer shows plain files alone.
  const std::string view = "view it with  marrowfin -c 3 -d 2 -p 4 -f FILE, once it is ";
  const std::string unpack = view + "unpacked into a plain FILE\n";
  const std::string keep = view + "kept as a plain FILE\n";
  ASSERT_EQ(0, Shell("gzip -k t.trace && zstd -q t.trace && gzip -c t.trace > odd-name &&"
                     "mkfifo pipe && head -c 100 t.trace | gzip > two.gz && "
                     "tail -c +101 t.trace | gzip >> two.gz")
                   .exitStatus);
  for (const char* name : {"t.trace.gz", "t.trace.zst", "odd-name", "two.gz"}) {
    const CommandResult result = Run({"info", name});
    EXPECT_EQ(0, result.exitStatus) << result.err;
    EXPECT_EQ(name + figures + unpack, result.out);
  }
  for (const char* from : {"t.trace", "t.trace.gz", "t.trace.zst"}) {
    const CommandResult pipe = Shell("cat $1 > pipe & exec \"$0\" info pipe", {from});
    EXPECT_EQ(0, pipe.exitStatus) << pipe.err;
    EXPECT_EQ("pipe" + figures + keep, pipe.out);
    const CommandResult input = Shell("cat $1 | \"$0\" info /dev/stdin", {from});
    EXPECT_EQ(0, input.exitStatus) << input.err;
    EXPECT_EQ("/dev/stdin" + figures + keep, input.out);
  }
}

TEST_F(InfoTest, DamagedPackedDataAreToldAsFarAsTheyGo) {
  LongTrace(20000);
  ASSERT_EQ(0, Shell("zstd -q long.trace && head -c 30000 long.trace.zst > cut.zst").exitStatus);
  const CommandResult result = Run({"info", "cut.zst"});
  EXPECT_EQ(1, result.exitStatus);
  EXPECT_THAT(result.out, HasSubstr("\nfires "));
  EXPECT_THAT(result.err, HasSubstr(": the packed data ends early\n"));
}

TEST_F(InfoTest, WhereNoArrayShowsTheTraceItSaysSo) {
  // Switches are filed 4 positions into their clusters: none can be at column 3.
  for (const char* text : {"switch 1 0 3 4\n", "fire 1 0 5000 0\n"}) {
    Trace(text);
    const CommandResult result = Run({"info", "t.trace"});
    EXPECT_EQ(0, result.exitStatus);
    EXPECT_THAT(result.out,
                EndsWith("\nview it with  nothing: no array shows all of its locations\n"));
    EXPECT_FALSE(RunForJson({"info", "t.trace"}).contains("view"));
  }
}

TEST_F(InfoTest, AFlatMeshIsViewedAsOneClusterOfOneDomain) {
  Trace("fire 1 0 9 9\nfire 1 0 0 0\n");
  EXPECT_THAT(Run({"info", "t.trace"}).out,
              EndsWith("\nextent        10 columns, 10 rows\n"
                       "also fits     -c 1 -d 2 -p 5, -c 1 -d 5 -p 2, -c 1 -d 10 -p 1 and 5 more\n"
                       "view it with  marrowfin -c 1 -d 1 -p 10 -f t.trace\n"));
  Trace("fire 1 0 6 2\n");
  EXPECT_THAT(Run({"info", "t.trace"}).out,
              EndsWith("\nalso fits     -c 1 -d 7 -p 1, -c 7 -d 1 -p 1\n"
                       "rectangle     7 columns x 3 rows: 1 x 1 clusters of 1 x 1 domains of 7 x 3 "
                       "elements; no viewer shows it\n"
                       "view it with  marrowfin -c 1 -d 1 -p 7 -f t.trace\n"));
}

TEST_F(InfoTest, OneOfAKindIsToldInTheSingular) {
  Trace("fire 1 0 0 0\nswitch 0 0 0 1\n");
  const std::string text = Run({"info", "t.trace"}).out;
  EXPECT_THAT(text, HasSubstr("\ntransmissions 1 by 1 switch\n"));
  EXPECT_THAT(text, HasSubstr(", 1 change\n"));
  EXPECT_THAT(text, HasSubstr("\norder         the cycle falls 1 time, first at record 1\n"));
  EXPECT_THAT(text, HasSubstr("\nextent        1 column, 1 row\n"));
  Trace("fire 1 0 6 0\n");
  EXPECT_THAT(Run({"info", "t.trace"}).out, HasSubstr("\nrectangle     7 columns x 1 row: "));
}

TEST_F(InfoTest, AMessageThatGoesFartherThanAnyArrayTakesNoArrayAway) {
  Trace("fire 1 0 9 9\nsend 2 0 0 0 0 4096\nsend 3 0 4294967295 0 17 0\n");
  EXPECT_THAT(Run({"info", "t.trace"}).out,
              EndsWith("\nmessages      from or to places outside; no array has them\n"
                       "view it with  marrowfin -c 1 -d 1 -p 10 -f t.trace\n"));
  EXPECT_FALSE(RunForJson({"info", "t.trace"}).contains("viewOfEnds"));
  Trace("fire 1 0 9 9\nsend 2 0 0 0 0 10\n");
  EXPECT_THAT(Run({"info", "t.trace"}).out,
              EndsWith("\nmessages      from or to places outside; -c 1 -d 1 -p 11 has them\n"
                       "view it with  marrowfin -c 1 -d 1 -p 10 -f t.trace\n"));
  EXPECT_EQ(json({{"clusters", 1}, {"domains", 1}, {"pes", 11}}),
            RunForJson({"info", "t.trace"})["viewOfEnds"]);
}

// The step behind the last one that is drawn is the one in which the trace ends.
TEST_F(InfoTest, TheStepsAreThoseThatAStateCanBeToldOf) {
  for (const char* text :
       {"", "fire 0 0 0 0\n", "fire 5 0 0 0\n", "fire 0 0 0 0\nfire 0 0 0 0\n",
        "fire 0 0 0 0\nfire 3 0 0 0\n", "fire 3 0 0 0\nfire 3 0 0 0\nfire 4 0 0 0\n",
        "fire 3 0 0 0\nfire 0 0 0 0\nfire 4 0 0 0\nfire 4 0 0 0\n"}) {
    SCOPED_TRACE(text);
    Trace(text);
    const uint64_t steps = RunForJson({"info", "t.trace"})["steps"];
    const auto state = [&](uint64_t step) {
      return Run({"state", "t.trace", "--step", std::to_string(step)});
    };
    EXPECT_THAT(state(steps).out, Not(HasSubstr("never drawn")));
    EXPECT_THAT(state(steps + 1).out, HasSubstr("never drawn"));
    EXPECT_EQ(1, state(steps + 2).exitStatus);
  }
}

TEST_F(InfoTest, SwitchesThatStandFarApartLeaveRoomForSmallerClusters) {
  // Clusters as large as the distance of the switches would need an array of 6,000 a side.
  Trace("switch 1 0 4 4\nswitch 1 0 3004 4\nfire 1 0 3000 1\n");
  EXPECT_THAT(Run({"info", "t.trace"}).out,
              EndsWith("\nview it with  marrowfin -c 4 -d 2 -p 500 -f t.trace\n"));
  // Where they fit, they are as large.
  Trace("switch 1 0 4 4\nswitch 1 0 2004 4\nfire 1 0 2000 1\n");
  EXPECT_THAT(Run({"info", "t.trace"}).out,
              EndsWith("\nview it with  marrowfin -c 2 -d 2 -p 1000 -f t.trace\n"));
  // The farthest distance that fits takes clusters of a single element.
  Trace("switch 1 0 4 4\nswitch 1 0 4099 4\n");
  EXPECT_THAT(Run({"info", "t.trace"}).out,
              EndsWith("\nview it with  marrowfin -c 4096 -d 1 -p 1 -f t.trace\n"));
  Trace("switch 1 0 4 4\nswitch 1 0 4100 4\n");
  EXPECT_THAT(Run({"info", "t.trace"}).out,
              EndsWith("\nview it with  nothing: no array shows all of its locations\n"));
}

TEST_F(InfoTest, TheCommandToViewItWithCanBeCopied) {
  Trace("fire 1 0 0 0\n", "it's a trace");
  EXPECT_THAT(Run({"info", "it's a trace"}).out,
              EndsWith("view it with  marrowfin -c 1 -d 1 -p 1 -f 'it'\\''s a trace'\n"));
}

// A trace of a described array, with a companion.
void RecordNoted(const std::string& name, const marrowfin_trace_array& array) {
  marrowfin_trace trace;
  marrowfin_trace_open(&trace, name.c_str());
  marrowfin_trace_companion(&trace);
  marrowfin_trace_about(&trace, "name", "a test");
  marrowfin_trace_about(&trace, "tool", "by hand");
  marrowfin_trace_describe_array(&trace, &array);
  marrowfin_trace_describe_links(&trace, "xy", 16, 1);
  marrowfin_trace_describe_switches(&trace, 4, 8, 2);
  marrowfin_trace_name_thread(&trace, 1, "requests", "class");
  marrowfin_trace_name_place(&trace, 2, 7, "memory");
  const int kind = marrowfin_trace_attribute(&trace, "kind", MARROWFIN_TRACE_NAME, "");
  marrowfin_trace_value_name(&trace, kind, 0, "compute");
  const int size = marrowfin_trace_attribute(&trace, "size", MARROWFIN_TRACE_NUMBER, "byte");
  marrowfin_trace_counter(&trace, "occupancy", "flits");
  marrowfin_trace_fire(&trace, 5, 1, 2, 7);
  marrowfin_trace_note(&trace, kind, 0);
  marrowfin_trace_note(&trace, size, 64);
  marrowfin_trace_fire(&trace, 6, 1, 2, 7);
  EXPECT_EQ(0, marrowfin_trace_close(&trace));
}

TEST_F(InfoTest, WhatStandsBesideTheTraceIsToldAndItsArrayIsViewed) {
  RecordNoted(folder.File("t.trace"), {2, 2, 1, 1, 6, 6, 1, 1, 0});
  const CommandResult text = Run({"info", "t.trace"});
  EXPECT_EQ("", text.err);
  EXPECT_THAT(text.out, EndsWith("\nrun           a test\n"
                                 "recorded      by by hand\n"
                                 "array         12 columns x 12 rows: 2 x 2 clusters of 1 x 1 "
                                 "domains of 6 x 6 elements, columns joined at their ends\n"
                                 "links         of xy routing, 1 message and 16 bytes a cycle, "
                                 "1 cycle a hop\n"
                                 "switches      4 ports beside the links, 8 messages a cycle at "
                                 "most, 2 cycles on the way through\n"
                                 "named         1 threads, 1 places\n"
                                 "notes         of 2 of 2 records: kind (name), size (byte)\n"
                                 "counters      occupancy (flits)\n"
                                 "view it with  marrowfin -c 2 -d 1 -p 6 -f t.trace\n"));
  const json told = RunForJson({"info", "t.trace"});
  EXPECT_EQ(json({{"clusters", 2}, {"domains", 1}, {"pes", 6}}), told["view"]);
  EXPECT_FALSE(told.contains("alsoFits"));
  const json& about = told["companion"]["about"];
  EXPECT_EQ("a test", about["name"]);
  EXPECT_EQ("by hand", about["tool"]);
  EXPECT_FALSE(about.contains("command"));
  EXPECT_EQ(12, about["array"]["columns"]);
  EXPECT_EQ(json({{"columns", 2}, {"rows", 2}}), about["array"]["clusters"]);
  EXPECT_EQ(json({{"columns", true}, {"rows", false}}), about["array"]["wrap"]);
  EXPECT_EQ(json({{"routing", "xy"},
                  {"messagesPerCycle", 1.0},
                  {"bytesPerCycle", 16.0},
                  {"latency", 1.0}}),
            about["links"]);
  EXPECT_EQ(json({{"ports", 4}, {"messagesPerCycle", 8.0}, {"latency", 2.0}}), about["switches"]);
  EXPECT_EQ(json({{{"thread", 1}, {"name", "requests"}, {"meaning", "class"}}}),
            about["threadNames"]);
  EXPECT_EQ(json({{{"column", 7}, {"row", 2}, {"name", "memory"}}}), about["placeNames"]);
  const json& notes = told["companion"]["notes"];
  EXPECT_EQ(2, notes["records"]);
  EXPECT_EQ(
      json(
          {{{"name", "kind"}, {"type", "name"}, {"unit", ""}, {"values", json::array({"compute"})}},
           {{"name", "size"}, {"type", "number"}, {"unit", "byte"}}}),
      notes["attributes"]);
  EXPECT_EQ(json({{{"name", "occupancy"}, {"unit", "flits"}}}), notes["counters"]);
}

TEST_F(InfoTest, AnArrayThatIsToldIsNotViewedWhereNoViewerOrNotTheTraceHasIt) {
  RecordNoted(folder.File("t.trace"), {2, 1, 1, 1, 6, 4, 1, 0, 0});
  EXPECT_THAT(Run({"info", "t.trace"}).out,
              EndsWith("\nview it with  marrowfin -c 1 -d 1 -p 8 -f t.trace\n"));
  RecordNoted(folder.File("t.trace"), {1, 1, 1, 1, 6, 6, 1, 0, 0});
  EXPECT_THAT(Run({"info", "t.trace"}).out,
              EndsWith("\nview it with  marrowfin -c 1 -d 1 -p 8 -f t.trace\n"));
}

TEST_F(InfoTest, ARectangleThatIsToldIsViewedAsTheSquareThatItFillsUpTo) {
  RecordNoted(folder.File("t.trace"), {2, 1, 1, 1, 6, 6, 1, 0, 0});
  EXPECT_THAT(Run({"info", "t.trace"}).out,
              EndsWith("\nview it with  marrowfin -c 2 -d 1 -p 6 -f t.trace\n"));
  RecordNoted(folder.File("t.trace"), {1, 1, 1, 1, 9, 3, 1, 0, 0});
  EXPECT_EQ(json({{"clusters", 1}, {"domains", 1}, {"pes", 9}}),
            RunForJson({"info", "t.trace"})["view"]);
}

TEST_F(InfoTest, ACompanionThatIsNotBelievedIsToldAndLeftOut) {
  RecordNoted(folder.File("t.trace"), {2, 2, 1, 1, 6, 6, 1, 0, 0});
  Trace("fire 9 1 7 2\nfire 10 1 7 2\n");
  const CommandResult text = Run({"info", "t.trace"});
  EXPECT_EQ(0, text.exitStatus);
  EXPECT_THAT(text.err, HasSubstr("marrowfin-trace: t.trace.about: "));
  EXPECT_THAT(text.err, HasSubstr("marrowfin-trace: t.trace.notes: "));
  EXPECT_THAT(text.out, Not(HasSubstr("a test")));
  EXPECT_THAT(text.out, Not(HasSubstr("kind")));
  const json companion = RunForJson({"info", "t.trace"})["companion"];
  EXPECT_EQ("other-trace", companion["about"]["fault"]["kind"]);
  EXPECT_EQ("other-trace", companion["notes"]["fault"]["kind"]);
  // Of what is packed nobody asks.
  ASSERT_EQ(0, Shell("zstd -q t.trace").exitStatus);
  EXPECT_FALSE(RunForJson({"info", "t.trace.zst"}).contains("companion"));
}

TEST_F(InfoTest, ALongReadingShowsItsProgressOnATerminalAndErasesIt) {
  SlowPipe pipe(folder.File("pipe"));
  RunningProgram program(Words({"info", pipe.Name()}), RunningProgram::TO_TERMINAL);
  pipe.FeedUntil([&] { return program.HasShown("MB/s"); });
  EXPECT_EQ(0, program.Wait());
  EXPECT_THAT(program.Err(), ::testing::StartsWith("\r\033[Kreading " + pipe.Name() + " 0.0 MB, "));
  EXPECT_THAT(program.Err(), EndsWith("\r\033[K"));
}

TEST_F(InfoTest, ALongReadingIsSilentWhereNoTerminalIs) {
  SlowPipe pipe(folder.File("pipe"));
  RunningProgram program(Words({"info", pipe.Name()}), RunningProgram::TO_FILE);
  pipe.FeedFor(std::chrono::milliseconds(700));
  EXPECT_EQ(0, program.Wait());
  EXPECT_EQ("", program.Err());
  EXPECT_THAT(program.Out(), HasSubstr("\nrecords "));
}

}  // namespace
}  // namespace marrowfin
