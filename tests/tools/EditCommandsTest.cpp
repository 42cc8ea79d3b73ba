// marrowfin-trace cut, head, tail, split, shift, sort and merge

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/tools/CommandFixture.h"
#include "tests/tools/NotesText.h"
#include "tests/trace/support/ForgeIndex.h"
#include "trace/index/IndexTables.h"
#include "trace/marrowfin_trace.h"

namespace marrowfin {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::CommandResult;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;
using testing::TraceBytes;

typedef std::vector<std::string> Line;

constexpr char byHand[] =
    "fire 5 1 7 2\n"
    "switch 6 0 4 4\n"
    "send 260 2 7 2 0 1\n"
    "fire 260 9 3 3\n"
    "fire 261 1 7 2\n";

class EditCommandsTest : public CommandFixture {
 protected:
  std::string Bytes(const std::string& name) const { return testing::ReadFile(folder.File(name)); }

  // Runs a line that must do what it is asked for, and say nothing against it.
  std::string Done(const Line& words) const {
    const CommandResult result = Run(words);
    EXPECT_EQ(0, result.exitStatus) << result.err;
    EXPECT_EQ("", result.err);
    return result.out;
  }

  // What a subcommand makes of t.trace.
  std::string Made(const std::string& subcommand, Line flags) const {
    flags.insert(flags.begin(), {subcommand, "t.trace"});
    flags.insert(flags.end(), {"-o", "made.trace", "--force"});
    Done(flags);
    return Bytes("made.trace");
  }

  // A trace with notes: each fire names the one before it.
  void RecordChain(const std::string& name, int fires) const {
    marrowfin_trace trace;
    marrowfin_trace_open(&trace, folder.File(name).c_str());
    marrowfin_trace_companion(&trace);
    marrowfin_trace_about(&trace, "name", "a chain");
    const marrowfin_trace_array array = {2, 2, 1, 1, 4, 4, 1, 0, 0};
    marrowfin_trace_describe_array(&trace, &array);
    marrowfin_trace_name_thread(&trace, 1, "odd", "class");
    marrowfin_trace_name_place(&trace, 2, 1, "memory");
    const int counter = marrowfin_trace_counter(&trace, "occupancy", "flits");
    const int packet = marrowfin_trace_attribute(&trace, "packet", MARROWFIN_TRACE_NUMBER, "");
    const int consumes = marrowfin_trace_attribute(&trace, "consumes", MARROWFIN_TRACE_RECORDS, "");
    for (int i = 0; i < fires; ++i) {
      marrowfin_trace_fire(&trace, 10 * i, i % 2, i % 8, i / 8 % 8);
      marrowfin_trace_note(&trace, packet, i);
      if (i > 0) {
        marrowfin_trace_note(&trace, consumes, i - 1);
      }
      marrowfin_trace_count(&trace, counter, 2, 1, 10 * i, i);
    }
    EXPECT_EQ(0, marrowfin_trace_close(&trace));
  }

  // Everything that check looks at is right of a trace and its companion.
  void ExpectGood(const std::string& name) const {
    const CommandResult result = Run({"check", name});
    EXPECT_EQ(0, result.exitStatus) << result.out;
  }
};

TEST_F(EditCommandsTest, ACutHasTheRecordsThatMeetAllConditions) {
  Trace(byHand);
  EXPECT_EQ(TraceBytes("switch 6 0 4 4\nsend 260 2 7 2 0 1\nfire 260 9 3 3\n"),
            Made("cut", {"--cycles", "6..260"}));
  EXPECT_EQ(TraceBytes("fire 5 1 7 2\nfire 261 1 7 2\n"), Made("cut", {"--threads", "1"}));
  EXPECT_EQ(TraceBytes("switch 6 0 4 4\nsend 260 2 7 2 0 1\nfire 260 9 3 3\n"),
            Made("cut", {"--not", "--threads", "1"}));
  EXPECT_EQ(TraceBytes("send 260 2 7 2 0 1\n"),
            Made("cut", {"--types", "send,switch", "--pe", "0,1"}));
  EXPECT_EQ(TraceBytes("fire 260 9 3 3\nfire 261 1 7 2\n"), Made("cut", {"--steps", "3.."}));
  EXPECT_EQ("", Made("cut", {"--records", "99"}));
  EXPECT_EQ(TraceBytes(byHand), Made("cut", {}));
}

TEST_F(EditCommandsTest, ALeadInIsACopyOfTheFirstRecord) {
  Trace(byHand);
  EXPECT_EQ(TraceBytes("switch 6 0 4 4\nswitch 6 0 4 4\nsend 260 2 7 2 0 1\n"),
            Made("cut", {"--records", "1..2", "--lead-in"}));
  EXPECT_EQ("", Made("cut", {"--records", "99", "--lead-in"}));
}

TEST_F(EditCommandsTest, ACutSaysWhatShowsItWhereTheWholeIsShown) {
  Trace("fire 1 0 23 0\nswitch 1 1 20 4\nfire 9 0 1 1\n");
  EXPECT_EQ(
      "part.trace: 1 records of cycles 9 to 9, view it with marrowfin -c 2 -d 2 -p 8 -f "
      "part.trace\n",
      Done({"cut", "t.trace", "--cycles", "9", "-o", "part.trace"}));
  const json told = RunForJson({"cut", "t.trace", "--cycles", "..1", "-o", "two.trace"});
  EXPECT_EQ(told["output"], "two.trace");
  EXPECT_EQ(told["inputs"], json::array({"t.trace"}));
  EXPECT_EQ(told["records"], 2);
  EXPECT_EQ(told["bytes"], 56);
  EXPECT_EQ(told["firstCycle"], 1);
  EXPECT_EQ(told["lastCycle"], 1);
  EXPECT_EQ(told["companion"], false);
  EXPECT_THAT(std::string(told["view"]), StartsWith("marrowfin -c 2 "));
}

TEST_F(EditCommandsTest, ACutTakesTheCompanionAlongWithItsNumbersInLine) {
  RecordChain("t.trace", 100);
  Done({"cut", "t.trace", "--records", "50..52", "-o", "part.trace"});
  ExpectGood("part.trace");
  EXPECT_THAT(NotesBeside(folder.File("part.trace")),
              ElementsAre("packet=50", "packet=51 consumes=0", "packet=52 consumes=1"));
  Done({"cut", "t.trace", "--threads", "1", "--cycles", "..50", "-o", "odd.trace"});
  EXPECT_THAT(NotesBeside(folder.File("odd.trace")),
              ElementsAre("packet=1", "packet=3", "packet=5"));
  Done({"cut", "t.trace", "--packet", "7", "--lead-in", "-o", "seven.trace"});
  EXPECT_THAT(NotesBeside(folder.File("seven.trace")), ElementsAre("", "packet=7"));
  EXPECT_THAT(Bytes("part.trace.about"), HasSubstr("name = \"a chain\""));
  const CommandResult counters =
      Run({"notes", "part.trace", "--counter", "occupancy", "--format", "csv"});
  EXPECT_EQ(0, counters.exitStatus) << counters.err;
  Done({"cut", "t.trace", "--records", "3", "--no-companion", "-o", "bare.trace"});
  EXPECT_FALSE(fs::exists(folder.File("bare.trace.notes")));
}

TEST_F(EditCommandsTest, WhateverATraceComesFromIsCut) {
  Trace(byHand);
  ASSERT_EQ(0, Shell("gzip -k t.trace && zstd -q t.trace").exitStatus);
  const std::string expected = TraceBytes("send 260 2 7 2 0 1\nfire 260 9 3 3\n");
  for (const std::string start : {"\"$0\" cut t.trace.gz", "\"$0\" cut t.trace.zst",
                                  "cat t.trace | \"$0\" cut -", "< t.trace.zst \"$0\" cut -"}) {
    const CommandResult result = Shell(start + " --cycles 260 -o - | cat");
    EXPECT_EQ(0, result.exitStatus) << result.err;
    EXPECT_EQ(expected, result.out) << start;
  }
  EXPECT_FALSE(HasFileLike(".gz.mfindex"));
  EXPECT_FALSE(HasFileLike(".zst.mfindex"));
}

TEST_F(EditCommandsTest, OfATraceThatBreaksOffWhatIsThereIsCut) {
  testing::WriteFile(folder.File("t.trace"), TraceBytes(byHand) + "cut");
  const CommandResult cut = Run({"cut", "t.trace", "--cycles", "260..", "-o", "made.trace"});
  EXPECT_EQ(1, cut.exitStatus);
  EXPECT_THAT(cut.err, HasSubstr("t.trace: record 5"));
  EXPECT_EQ(TraceBytes("send 260 2 7 2 0 1\nfire 260 9 3 3\nfire 261 1 7 2\n"),
            Bytes("made.trace"));
  EXPECT_EQ("", Run({"cut", "t.trace", "--records", "..3", "-o", "fine.trace"}).err);
}

TEST_F(EditCommandsTest, AnOutputThatIsThereIsReplacedOnlyByForce) {
  Trace(byHand);
  const std::vector<Line> lines = {{"cut", "t.trace"},  {"head", "t.trace"},
                                   {"tail", "t.trace"}, {"shift", "t.trace", "--later", "1"},
                                   {"sort", "t.trace"}, {"merge", "t.trace"}};
  for (const std::string there : {"old.trace", "old.trace.notes", "old.trace.about"}) {
    testing::WriteFile(folder.File(there), "of old");
    for (Line line : lines) {
      SCOPED_TRACE(line[0] + " where " + there + " is");
      line.insert(line.end(), {"-o", "old.trace"});
      ExpectFailure(2,
                    there +
                        ": exists already\n"
                        "  Name another file, or replace this one with --force.\n",
                    Run(line));
      EXPECT_EQ("of old", Bytes(there));
    }
    fs::remove(folder.File(there));
  }
  for (Line line : lines) {
    testing::WriteFile(folder.File("old.trace"), "of old");
    line.insert(line.end(), {"-o", "old.trace", "--force"});
    Done(line);
    EXPECT_NE("of old", Bytes("old.trace"));
  }
  testing::WriteFile(folder.File("piece-0002.trace"), "of old");
  const CommandResult split =
      Run({"split", "t.trace", "--every-records", "2", "-o", "piece.trace"});
  EXPECT_EQ(2, split.exitStatus);
  EXPECT_FALSE(fs::exists(folder.File("piece-0001.trace"))) << "refused before anything is written";
  EXPECT_EQ("of old", Bytes("piece-0002.trace"));
}

TEST_F(EditCommandsTest, SplitWritesNothingWhereAPieceIsTheTraceItself) {
  Trace(byHand);
  const std::string whole = Bytes("t.trace");
  for (const char* const name : {"piece-0002.trace", "piece-thread-2.trace"}) {
    fs::rename(folder.File("t.trace"), folder.File(name));
    const bool byThread = std::string(name).find("thread") != std::string::npos;
    Line line = {"split", name, "-o", "piece.trace", "--force"};
    const Line how = byThread ? Line{"--by-thread"} : Line{"--every-records", "2"};
    line.insert(line.end(), how.begin(), how.end());
    const CommandResult result = Run(line);
    EXPECT_EQ(2, result.exitStatus);
    EXPECT_THAT(result.err, HasSubstr("is the trace"));
    EXPECT_EQ(whole, Bytes(name));
    for (const auto& entry : fs::directory_iterator(folder.Path())) {
      // The trace and its index.
      EXPECT_THAT(entry.path().filename().string(),
                  ::testing::AnyOf(StartsWith(name), StartsWith("t."), EndsWith(".mfindex")));
    }
    fs::rename(folder.File(name), folder.File("t.trace"));
  }
}

TEST_F(EditCommandsTest, SplitRefusesToFillAFolder) {
  Done({"synth", "-o", "t.trace", "--records", "100001", "-c", "2", "-d", "1", "-p", "4"});
  for (const char* const how : {"--every-records", "--every-size"}) {
    const CommandResult result = Run({"split", "t.trace", how, "1", "-o", "piece.trace"});
    EXPECT_EQ(2, result.exitStatus) << how;
    EXPECT_THAT(result.err, HasSubstr("t.trace: may become more than 100000 pieces"));
    EXPECT_FALSE(fs::exists(folder.File("piece-0001.trace")));
  }
}

TEST_F(EditCommandsTest, SplitReplacesNoPieceHoweverManyThereTurnOutToBe) {
  // A lead-in makes each piece longer, and cycles may be as far apart as goes.
  std::string text;
  for (int i = 0; i < 40; ++i) {
    text += "send " + std::to_string(i) + " 0 0 0 1 1\n";
  }
  Trace(text);
  testing::WriteFile(folder.File("x-0020.trace"), "of old");
  EXPECT_EQ(
      2, Run({"split", "t.trace", "--every-size", "120", "--lead-in", "-o", "x.trace"}).exitStatus);
  EXPECT_EQ("of old", Bytes("x-0020.trace"));
  Trace("fire 0 0 0 0\nfire 5 0 0 0\nfire 18446744073709551615 0 0 0\n");
  testing::WriteFile(folder.File("y-0003.trace"), "of old");
  EXPECT_EQ(2, Run({"split", "t.trace", "--every-cycles", "1", "-o", "y.trace"}).exitStatus);
  EXPECT_EQ("of old", Bytes("y-0003.trace"));
  EXPECT_FALSE(fs::exists(folder.File("y-0001.trace")));
}

TEST_F(EditCommandsTest, SplitCountsOnlyWhatIsAskedFor) {
  Done({"synth", "-o", "t.trace", "--records", "150000", "-c", "2", "-d", "1", "-p", "4"});
  Done({"split", "t.trace", "--every-records", "1", "--records", "0..3", "-o", "x.trace"});
  EXPECT_TRUE(fs::exists(folder.File("x-0004.trace")));
  EXPECT_FALSE(fs::exists(folder.File("x-0005.trace")));
}

TEST_F(EditCommandsTest, SortAsksForNoMoreMemoryThanATraceCanTake) {
  Trace("fire 7 0 0 0\nfire 5 1 0 0\n");
  Done({"sort", "t.trace", "-o", "made.trace", "--memory", "1T"});
  EXPECT_EQ(TraceBytes("fire 5 1 0 0\nfire 7 0 0 0\n"), Bytes("made.trace"));
}

TEST_F(EditCommandsTest, AFullStandardOutputIsNamedWithWhatHelps) {
  Done({"synth", "-o", "t.trace", "--records", "20000", "-c", "2", "-d", "1", "-p", "4"});
  Done({"index", "t.trace"});
  for (const std::string line :
       {"cut t.trace", "sort t.trace", "merge t.trace t.trace", "head t.trace", "tail t.trace",
        "shift t.trace --later 5", "pack t.trace", "export t.trace --format csv", "unpack t.mfz"}) {
    SCOPED_TRACE(line);
    Done({"pack", "t.trace", "-o", "t.mfz", "--force"});
    const CommandResult result = Shell("exec \"$0\" " + line + " -o - >/dev/full");
    EXPECT_EQ(3, result.exitStatus);
    EXPECT_EQ(
        "marrowfin-trace: standard output: cannot write: No space left on device\n"
        "  Make room, or name a file elsewhere with -o.\n",
        result.err);
  }
}

TEST_F(EditCommandsTest, NoTraceIsReadAndWrittenAtOnce) {
  Trace(byHand);
  fs::create_symlink("t.trace", folder.File("link.trace"));
  fs::create_hard_link(folder.File("t.trace"), folder.File("hard.trace"));
  for (const std::string output : {"t.trace", "link.trace", "hard.trace", "./t.trace"}) {
    for (Line line : std::vector<Line>{{"cut", "t.trace"},
                                       {"head", "t.trace"},
                                       {"tail", "t.trace"},
                                       {"shift", "t.trace", "--later", "1"},
                                       {"sort", "t.trace"},
                                       {"merge", "t.trace", "link.trace"}}) {
      SCOPED_TRACE(line[0] + " to " + output);
      line.insert(line.end(), {"-o", output, "--force"});
      const CommandResult result = Run(line);
      EXPECT_EQ(2, result.exitStatus);
      EXPECT_THAT(result.err, HasSubstr("is the trace"));
      EXPECT_EQ(TraceBytes(byHand), Bytes("t.trace"));
    }
  }
  // The notes of the output would be the trace.
  Trace(byHand, "x.notes");
  EXPECT_EQ(2, Run({"cut", "x.notes", "-o", "x", "--force"}).exitStatus);
}

TEST_F(EditCommandsTest, AMergedTraceIsShownAsTheRunsToldTheirArrayWhereThatHoldsAllOfThem) {
  RecordChain("a.trace", 100);
  RecordChain("b.trace", 50);
  Done({"shift", "b.trace", "--move", "8,0", "-o", "right.trace"});
  EXPECT_THAT(Done({"merge", "a.trace", "b.trace", "-o", "both.trace"}),
              HasSubstr("marrowfin -c 2 -d 1 -p 4 -f both.trace"));
  json view = RunForJson({"info", "both.trace"})["view"];
  EXPECT_EQ(2, view["clusters"]);
  EXPECT_EQ(4, view["pes"]);
  EXPECT_THAT(Done({"state", "both.trace", "--cycle", "90"}), HasSubstr("-c 2 -d 1 -p 4"));
  // One tells its array, but not all is on it.
  EXPECT_THAT(Done({"merge", "a.trace", "right.trace", "-o", "wide.trace"}),
              HasSubstr("marrowfin -c 1 -d 1 -p 15 -f wide.trace"));
  EXPECT_EQ(std::string::npos, Bytes("wide.trace.about").find("[array]"));
  view = RunForJson({"info", "wide.trace"})["view"];
  EXPECT_EQ(15, view["pes"]);
  for (const std::string name : {"both.trace", "wide.trace"}) {
    ExpectGood(name);
    for (const Line& line : std::vector<Line>{{"stats", name},
                                              {"notes", name, "--counters"},
                                              {"why", name},
                                              {"events", name, "--packet", "7"},
                                              {"plot", "heat", name, "-o", name + ".svg"}}) {
      EXPECT_EQ(0, Run(line).exitStatus) << line[0];
    }
  }
}

// Their checksums hold, but somebody made up what they say. What has no notes is read once more.
TEST_F(EditCommandsTest, TracesAreMergedAllTheSameWhereTheirIndexesContradictThem) {
  LongTrace(80000, "t.trace");
  Done({"events", "t.trace", "--format", "csv", "-o", "t.csv"});
  Done({"import", "--format", "csv", "t.csv", "-o", "a.trace"});
  Done({"shift", "a.trace", "--later", "7", "-o", "b.trace"});
  const auto merge = [](const std::string& output) {
    return Line{"merge", "a.trace", "t.trace", "b.trace", "-o", output};
  };
  const auto forge = [this](const std::string& trace) {
    testing::ForgeIndex(folder.File(trace + ".mfindex"),
                        [](IndexTables& tables) { ++tables.boundaries.at(0).record; });
  };
  Done(merge("whole.trace"));
  const std::string good = Bytes("a.trace.mfindex");
  forge("a.trace");
  forge("b.trace");
  Done(merge("again.trace"));
  EXPECT_TRUE(Bytes("whole.trace") == Bytes("again.trace"));
  EXPECT_TRUE(Bytes("whole.trace.notes") == Bytes("again.trace.notes"));
  EXPECT_TRUE(good == Bytes("a.trace.mfindex"));
  // A pipe cannot be read once more, but the next run finds the index whole.
  forge("a.trace");
  const std::string fromPipe = "cat t.trace | \"$0\" merge a.trace - b.trace -o piped.trace";
  const CommandResult refused = Shell(fromPipe);
  EXPECT_EQ(1, refused.exitStatus);
  EXPECT_THAT(refused.err, HasSubstr("-: cannot read again"));
  EXPECT_THAT(refused.err, HasSubstr("run this once more"));
  EXPECT_FALSE(fs::exists(folder.File("piped.trace")));
  EXPECT_EQ(0, Shell(fromPipe).exitStatus);
  EXPECT_TRUE(Bytes("whole.trace") == Bytes("piped.trace"));
}

TEST_F(EditCommandsTest, TheHeadAndTheTailAreTheFirstAndTheLastRecords) {
  LongTrace(5000, "t.trace");
  const std::string all = Bytes("t.trace");
  const std::string head = Made("head", {"-n", "77"});
  EXPECT_TRUE(all.starts_with(head));
  EXPECT_EQ("77 events", Run({"events", "made.trace", "--count"}).out.substr(0, 2) + " events");
  const std::string tail = Made("tail", {"-n", "77"});
  EXPECT_TRUE(all.ends_with(tail));
  EXPECT_EQ("77\n", Run({"events", "made.trace", "--count"}).out);
  Made("head", {});
  EXPECT_EQ("1000\n", Run({"events", "made.trace", "--count"}).out);
  Made("tail", {});
  EXPECT_EQ("1000\n", Run({"events", "made.trace", "--count"}).out);
  EXPECT_EQ(all, Made("head", {"-n", "999999"}));
  EXPECT_EQ(all, Made("tail", {"-n", "18446744073709551615"}));
  EXPECT_EQ(Made("cut", {"--threads", "2"}), Made("tail", {"--threads", "2", "-n", "999999"}));
}

TEST_F(EditCommandsTest, TheLastCyclesOfAThread) {
  Trace(byHand);
  EXPECT_EQ(TraceBytes("fire 261 1 7 2\n"),
            Made("tail", {"--last-cycles", "255", "--threads", "1"}));
  EXPECT_EQ(TraceBytes("fire 5 1 7 2\nfire 261 1 7 2\n"),
            Made("tail", {"--last-cycles", "257", "--threads", "1"}));
  EXPECT_EQ(TraceBytes(byHand), Made("tail", {"--last-cycles", "18446744073709551615"}));
}

TEST_F(EditCommandsTest, TheHeadOfAPipeTakesNoMoreThanItNeeds) {
  Trace(byHand);
  const CommandResult result = Shell(
      "(cat t.trace; while cat t.trace; do :; done) 2>/dev/null | "
      "\"$0\" head - -n 7 -o -");
  EXPECT_EQ(0, result.exitStatus) << result.err;
  EXPECT_EQ(TraceBytes(byHand) + TraceBytes("fire 5 1 7 2\nswitch 6 0 4 4\n"), result.out);
}

TEST_F(EditCommandsTest, TheHeadTakesItsNotesAlong) {
  RecordChain("t.trace", 200000);
  Done({"head", "t.trace", "-n", "3", "-o", "head.trace"});
  ExpectGood("head.trace");
  EXPECT_THAT(NotesBeside(folder.File("head.trace")),
              ElementsAre("packet=0", "packet=1 consumes=0", "packet=2 consumes=1"));
}

TEST_F(EditCommandsTest, PiecesAreMergedToTheTraceAgain) {
  LongTrace(20000, "t.trace");
  const std::string all = Bytes("t.trace");
  for (const Line& way : std::vector<Line>{
           {"--every-records", "3333"}, {"--every-size", "100K"}, {"--every-cycles", "100"}}) {
    SCOPED_TRACE(way[0]);
    Line line = {"split", "t.trace", "-o", "part.trace"};
    line.insert(line.end(), way.begin(), way.end());
    const json told = RunForJson(line);
    ASSERT_TRUE(told.is_array());
    EXPECT_LT(2U, told.size());
    EXPECT_EQ(told[0]["output"], "part-0001.trace");
    EXPECT_EQ(0, Shell("\"$0\" merge part-0*.trace -o whole.trace --force").exitStatus);
    EXPECT_TRUE(all == Bytes("whole.trace"));
    EXPECT_EQ(0, Shell("rm part-0*").exitStatus);
  }
}

TEST_F(EditCommandsTest, APieceForEachThreadHasItsRecords) {
  Trace(byHand);
  const json told = RunForJson({"split", "t.trace", "--by-thread", "-o", "part.trace"});
  EXPECT_EQ(told.size(), 4U);
  EXPECT_EQ(TraceBytes("fire 5 1 7 2\nfire 261 1 7 2\n"), Bytes("part-thread-1.trace"));
  EXPECT_EQ(TraceBytes("fire 260 9 3 3\n"), Bytes("part-thread-9.trace"));
  Done({"split", "t.trace", "--by-thread", "--threads", "0-1", "-o", "few"});
  EXPECT_TRUE(fs::exists(folder.File("few-thread-0")));
  EXPECT_FALSE(fs::exists(folder.File("few-thread-9")));
}

TEST_F(EditCommandsTest, PiecesHaveNotesOfTheirOwn) {
  RecordChain("t.trace", 50);
  Done({"split", "t.trace", "--every-cycles", "200", "-o", "part.trace"});
  for (const std::string piece : {"part-0001.trace", "part-0002.trace", "part-0003.trace"}) {
    ExpectGood(piece);
  }
  EXPECT_THAT(NotesBeside(folder.File("part-0003.trace"))[0], "packet=40");
  Done({"merge", "part-0001.trace", "part-0002.trace", "part-0003.trace", "-o", "all.trace"});
  ExpectGood("all.trace");
  EXPECT_EQ(Bytes("t.trace"), Bytes("all.trace"));
  const std::vector<std::string> notes = NotesBeside(folder.File("all.trace"));
  EXPECT_EQ(notes[21], "packet=21 consumes=20");
  EXPECT_EQ(notes[20], "packet=20");  // what it names is in another piece
}

TEST_F(EditCommandsTest, ShiftMovesCyclesPlacesAndThreads) {
  Trace(byHand);
  EXPECT_EQ(TraceBytes("fire 0 1 7 2\nswitch 1 0 4 4\nsend 255 2 7 2 0 1\nfire 255 9 3 3\n"
                       "fire 256 1 7 2\n"),
            Made("shift", {"--first-cycle", "0"}));
  EXPECT_EQ(TraceBytes("fire 105 1 7 2\nswitch 106 0 4 4\nsend 360 2 7 2 0 1\nfire 360 9 3 3\n"
                       "fire 361 1 7 2\n"),
            Made("shift", {"--later", "100"}));
  EXPECT_EQ(Made("shift", {"--first-cycle", "0"}), Made("shift", {"--earlier", "5"}));
  EXPECT_EQ(TraceBytes("fire 5 1 6 12\nswitch 6 0 3 14\nsend 260 2 6 12 4294967295 11\n"
                       "fire 260 9 2 13\nfire 261 1 6 12\n")
                .size(),
            Bytes("t.trace").size());
  EXPECT_EQ(TraceBytes("fire 5 1 8 12\nswitch 6 0 5 14\nsend 260 2 8 12 1 11\nfire 260 9 4 13\n"
                       "fire 261 1 8 12\n"),
            Made("shift", {"--move", "1,10"}));
  EXPECT_EQ(TraceBytes("fire 5 7 7 2\nswitch 6 0 4 4\nsend 260 8 7 2 0 1\nfire 260 9 3 3\n"
                       "fire 261 7 7 2\n"),
            Made("shift", {"--map-threads", "1-2=7"}));
  testing::WriteFile(folder.File("places.csv"), "column,row,toColumn,toRow\n7,2,0,0\n3,3,9,9\n");
  EXPECT_EQ(TraceBytes("fire 5 1 0 0\nswitch 6 0 4 4\nsend 260 2 0 0 0 1\nfire 260 9 9 9\n"
                       "fire 261 1 0 0\n"),
            Made("shift", {"--map-places", "places.csv"}));
}

TEST_F(EditCommandsTest, ShiftDoesNotWriteOverTheFileThatTellsWherePlacesGo) {
  Trace(byHand);
  const std::string places = "column,row,toColumn,toRow\n7,2,0,0\n";
  testing::WriteFile(folder.File("places.csv"), places);
  std::filesystem::create_symlink("places.csv", folder.File("link"));
  for (const char* const output : {"places.csv", "./places.csv", "link"}) {
    const CommandResult result =
        Run({"shift", "t.trace", "--map-places", "places.csv", "-o", output, "--force"});
    EXPECT_EQ(2, result.exitStatus) << output;
    EXPECT_THAT(result.err, HasSubstr("is the file that tells where places go"));
    EXPECT_EQ(places, Bytes("places.csv"));
  }
}

TEST_F(EditCommandsTest, AMirrorTurnsClustersWithTheirSwitches) {
  // An array of 2 x 2 clusters of 1 x 1 domains of 4 x 4 elements.
  Trace("fire 1 0 0 0\nswitch 1 0 4 4\nswitch 1 0 8 4\nsend 2 0 0 0 7 1\n");
  const Line shape = {"-c", "2", "-d", "1", "-p", "4"};
  Line columns = {"--mirror", "columns"};
  columns.insert(columns.end(), shape.begin(), shape.end());
  EXPECT_EQ(TraceBytes("fire 1 0 7 0\nswitch 1 0 8 4\nswitch 1 0 4 4\nsend 2 0 7 0 0 1\n"),
            Made("shift", columns));
  Line both = {"--mirror", "both"};
  both.insert(both.end(), shape.begin(), shape.end());
  EXPECT_EQ(TraceBytes("fire 1 0 7 7\nswitch 1 0 8 8\nswitch 1 0 4 8\nsend 2 0 7 7 0 6\n"),
            Made("shift", both));
  // Twice is the trace.
  fs::rename(folder.File("made.trace"), folder.File("once.trace"));
  Line again = {"shift", "once.trace", "-o", "twice.trace"};
  again.insert(again.end(), both.begin(), both.end());
  Done(again);
  EXPECT_EQ(Bytes("t.trace"), Bytes("twice.trace"));
  ExpectFailure(2,
                "--mirror needs to know the array, and nothing tells it\n"
                "  Give its counts with -c, -d and -p.\n",
                Run({"shift", "t.trace", "--mirror", "rows", "-o", "x.trace"}));
}

TEST_F(EditCommandsTest, ShiftTakesTheCompanionAlong) {
  RecordChain("t.trace", 20);
  Done({"shift", "t.trace", "--later", "1000", "--map-threads", "1=5", "-o", "made.trace"});
  ExpectGood("made.trace");
  EXPECT_EQ(NotesBeside(folder.File("t.trace")), NotesBeside(folder.File("made.trace")));
  const std::string about = Bytes("made.trace.about");
  EXPECT_THAT(about, HasSubstr("thread = 5\n"));
  EXPECT_THAT(about, HasSubstr("[array]"));
  Done({"shift", "t.trace", "--move", "8,0", "-o", "moved.trace"});
  EXPECT_THAT(Bytes("moved.trace.about"), HasSubstr("column = 9\n"));
  EXPECT_THAT(Bytes("moved.trace.about"), ::testing::Not(HasSubstr("[array]")));
}

TEST_F(EditCommandsTest, WhatHasNoPlaceBehindAShiftIsRefusedWithItsRecord) {
  Trace(byHand);
  EXPECT_THAT(Run({"shift", "t.trace", "--earlier", "6", "-o", "x.trace"}).err,
              HasSubstr("t.trace: record 0: cycle 5 has no place there"));
  const CommandResult moved = Run({"shift", "t.trace", "--move", "-1,0", "-o", "x.trace"});
  EXPECT_EQ(1, moved.exitStatus);
  EXPECT_THAT(moved.err, HasSubstr("t.trace: record 2: column 0, row 1 has no place there"));
  EXPECT_FALSE(fs::exists(folder.File("x.trace")));
  EXPECT_FALSE(HasFileLike(".mfpart-"));
}

TEST_F(EditCommandsTest, SortPutsRecordsInOrderOfCyclesAndLeavesEqualOnesAsTheyCame) {
  Trace("fire 9 1 0 0\nfire 3 0 1 0\nsend 9 0 0 0 1 1\nfire 3 1 2 0\nswitch 0 0 4 4\n");
  EXPECT_EQ(
      TraceBytes("switch 0 0 4 4\nfire 3 0 1 0\nfire 3 1 2 0\nfire 9 1 0 0\nsend 9 0 0 0 1 1\n"),
      Made("sort", {}));
  const CommandResult piped = Shell("cat t.trace | \"$0\" sort - -o - --memory 16M | cat");
  EXPECT_EQ(Bytes("made.trace"), piped.out);
  testing::WriteFile(folder.File("t.trace"), Bytes("t.trace") + "cut");
  const CommandResult broken = Run({"sort", "t.trace", "-o", "x.trace"});
  EXPECT_EQ(1, broken.exitStatus);
  EXPECT_EQ(Bytes("made.trace"), Bytes("x.trace"));
}

TEST_F(EditCommandsTest, SortTakesTheCompanionAlong) {
  RecordChain("a.trace", 30);
  Done({"shift", "a.trace", "--later", "5", "-o", "b.trace"});
  // One behind the other, they are in no order.
  ASSERT_EQ(0, Shell("cat a.trace b.trace > t.trace").exitStatus);
  Done({"sort", "t.trace", "-o", "plain.trace"});
  Done({"merge", "a.trace", "b.trace", "-o", "merged.trace"});
  EXPECT_EQ(Bytes("plain.trace"), Bytes("merged.trace"));
  Done({"sort", "merged.trace", "-o", "sorted.trace"});
  ExpectGood("sorted.trace");
  EXPECT_EQ(NotesBeside(folder.File("merged.trace")), NotesBeside(folder.File("sorted.trace")));
  EXPECT_EQ(NotesBeside(folder.File("merged.trace"))[4], "packet=2 consumes=2");
}

TEST_F(EditCommandsTest, MergePutsTracesIntoOneByCycle) {
  Trace("fire 1 0 0 0\nfire 5 0 1 0\n", "a.trace");
  Trace("fire 1 1 0 0\nfire 2 1 1 0\nfire 9 1 2 0\n", "b.trace");
  Done({"merge", "a.trace", "b.trace", "-o", "made.trace"});
  EXPECT_EQ(TraceBytes("fire 1 0 0 0\nfire 1 1 0 0\nfire 2 1 1 0\nfire 5 0 1 0\nfire 9 1 2 0\n"),
            Bytes("made.trace"));
  const CommandResult piped = Shell("cat b.trace | \"$0\" merge a.trace - -o - | cat");
  EXPECT_EQ(Bytes("made.trace"), piped.out);
  EXPECT_EQ(2, Run({"merge", "-", "-", "-o", "x.trace"}).exitStatus);
}

TEST_F(EditCommandsTest, MergeTakesMoreTracesThanFilesMayBeOpenUnlessAProcessAsks) {
  std::string fires;
  for (int cycle = 1; cycle <= 200; ++cycle) {
    fires += "fire " + std::to_string(cycle) + " 0 0 0\n";
  }
  Trace(fires);
  Done({"split", "t.trace", "--every-records", "1", "-o", "piece.trace"});
  const CommandResult merged = Shell("ulimit -Sn 64 && \"$0\" merge piece-*.trace -o made.trace");
  EXPECT_EQ(0, merged.exitStatus) << merged.err;
  EXPECT_EQ(Bytes("t.trace"), Bytes("made.trace"));
}

TEST_F(EditCommandsTest, WhatSaysNothingOrTwoThingsIsRefused) {
  Trace(byHand);
  for (const Line& line :
       std::vector<Line>{{"cut", "t.trace"},
                         {"head", "t.trace", "-n", "-1", "-o", "x"},
                         {"tail", "t.trace", "-n", "1", "--last-cycles", "1", "-o", "x"},
                         {"tail", "t.trace", "--last-cycles", "0", "-o", "x"},
                         {"split", "t.trace", "-o", "x"},
                         {"split", "t.trace", "--by-thread", "-o", "-"},
                         {"split", "t.trace", "--every-records", "0", "-o", "x"},
                         {"split", "t.trace", "--every-size", "1X", "-o", "x"},
                         {"split", "t.trace", "--every-records", "1", "--by-thread", "-o", "x"},
                         {"shift", "t.trace", "-o", "x"},
                         {"shift", "t.trace", "--later", "1", "--earlier", "1", "-o", "x"},
                         {"shift", "t.trace", "--move", "1", "-o", "x"},
                         {"shift", "t.trace", "--map-threads", "3", "-o", "x"},
                         {"shift", "t.trace", "--map-threads", "5-3=1", "-o", "x"},
                         {"shift", "t.trace", "--mirror", "up", "-o", "x"},
                         {"sort", "t.trace", "--memory", "1M", "-o", "x"},
                         {"sort", "t.trace", "--memory", "99999999T", "-o", "x"},
                         {"merge", "-o", "x"}}) {
    SCOPED_TRACE(::testing::PrintToString(line));
    const CommandResult result = Run(line);
    EXPECT_EQ(2, result.exitStatus) << result.err;
    EXPECT_EQ("", result.out);
    EXPECT_NE("", result.err);
  }
  EXPECT_THAT(FolderContents(), ElementsAre("t.trace"));
}

TEST_F(EditCommandsTest, AFolderOrADiskThatTakesNothingIsToldAndLeavesNothing) {
  Trace(byHand);
  for (Line line : std::vector<Line>{{"cut", "t.trace"},
                                     {"head", "t.trace"},
                                     {"shift", "t.trace", "--later", "1"},
                                     {"sort", "t.trace"},
                                     {"merge", "t.trace"}}) {
    SCOPED_TRACE(line[0]);
    Line nowhere = line;
    nowhere.insert(nowhere.end(), {"-o", "none/made.trace"});
    EXPECT_EQ(3, Run(nowhere).exitStatus);
    Line full = line;
    full.insert(full.end(), {"-o", "/dev/full"});
    const CommandResult result = Run(full);
    EXPECT_EQ(3, result.exitStatus);
    EXPECT_THAT(result.err, HasSubstr("/dev/full: cannot write: No space left on device"));
    Line limited = line;
    limited.insert(limited.end(), {"-o", "made.trace"});
    const CommandResult small = Shell("ulimit -f 0; exec \"$0\" \"$@\"", limited);
    EXPECT_EQ(3, small.exitStatus) << small.err;
    EXPECT_FALSE(fs::exists(folder.File("made.trace")));
    EXPECT_FALSE(HasFileLike(".mfpart-"));
  }
}

TEST_F(EditCommandsTest, AReaderThatGoesAwayEndsThemQuietly) {
  LongTrace(100000, "t.trace");
  for (const std::string line : {"cut t.trace", "sort t.trace", "merge t.trace t.trace",
                                 "shift t.trace --later 1", "head t.trace -n 90000"}) {
    const CommandResult result =
        Shell("(\"$0\" " + line + " -o -; echo $? >&2) | head -c 100 > /dev/null");
    EXPECT_EQ("141\n", result.err) << line;
  }
}

}  // namespace
}  // namespace marrowfin
