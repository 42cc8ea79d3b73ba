// marrowfin-trace diff

#include <map>
#include <sstream>

#include "tests/tools/CommandFixture.h"

namespace marrowfin {
namespace {

using nlohmann::json;
using ::testing::AllOf;
using testing::CommandResult;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

constexpr char older[] =
    "fire 10 0 0 0\n"
    "fire 10 1 1 0\n"
    "send 10 0 0 0 1 0\n"
    "fire 11 0 0 0\n"
    "fire 12 0 1 0\n"
    "send 14 0 1 0 1 1\n"
    "fire 15 0 1 1\n";

// One fire more at (0, 0), one of another thread at (1, 0), and an end that comes earlier.
constexpr char newer[] =
    "fire 10 0 0 0\n"
    "fire 10 1 1 0\n"
    "send 10 0 0 0 1 0\n"
    "fire 11 0 0 0\n"
    "fire 12 0 0 0\n"
    "fire 12 7 1 0\n"
    "send 13 0 1 0 1 1\n"
    "fire 14 0 1 1\n";

class DiffTest : public CommandFixture {
 protected:
  DiffTest() {
    Trace(newer, "new.trace");
    Trace(older, "old.trace");
  }

  static std::vector<std::string> Line(const std::vector<std::string>& flags,
                                       const std::string& a = "new.trace",
                                       const std::string& b = "old.trace") {
    std::vector<std::string> words = {"diff", a, b, "-c", "1", "-d", "1", "-p", "2"};
    words.insert(words.end(), flags.begin(), flags.end());
    return words;
  }

  // What is told of runs that differ.
  std::string Different(const std::vector<std::string>& flags) const {
    const CommandResult result = Run(Line(flags));
    EXPECT_EQ(1, result.exitStatus) << result.err;
    EXPECT_EQ("", result.err);
    return result.out;
  }

  static std::vector<std::string> LinesOf(const std::string& text) {
    std::istringstream in(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
      lines.push_back(line);
    }
    return lines;
  }

  // A packed copy of a trace, beside it.
  void Pack(const std::string& program, const std::string& name, const std::string& to) const {
    const CommandResult packed =
        testing::RunCommand({program, "-q", "-c"}, {testing::ReadFile(folder.File(name)), "", {}});
    ASSERT_EQ(0, packed.exitStatus) << packed.err;
    testing::WriteFile(folder.File(to), packed.out);
  }
};

TEST_F(DiffTest, TheTextTellsWhereRunsPartAndWhatChanged) {
  EXPECT_EQ(Different({}),
            "A new.trace: 8 records of cycles 10 to 14, -c 1 -d 1 -p 2\n"
            "B old.trace: 7 records of cycles 10 to 15, -c 1 -d 1 -p 2\n"
            "By cycle: 4 of 6 cycles differ; 4 events in A alone, 3 in B alone\n"
            "\n"
            "First difference: cycle 12\n"
            "  A  record 4, cycle 12: fire at (0, 0), thread 0\n"
            "     marrowfin-trace events new.trace --cycles 12\n"
            "  B  record 4, cycle 12: fire at (1, 0), thread 0\n"
            "     marrowfin-trace events old.trace --cycles 12\n"
            "\n"
            "A takes 5 cycles, B 6: A is 1.20 times as fast\n"
            "\n"
            "Change                                         A           B       A - B\n"
            "  cycles                                       5           6          −1  (−16.7 %)\n"
            "  records                                      8           7          +1  (+14.3 %)\n"
            "  fires                                        6           5          +1  (+20 %)\n"
            "  fires per cycle                           1.20       0.833      +0.367  (+44.0 %)\n"
            "  utilisation                               30 %      20.8 %     +9.17 %  (+44.0 %)\n"
            "  largest of a PE                           60 %      33.3 %     +26.7 %  (+80 %)\n"
            "  fires per PE and cycle                   0.300       0.208     +0.0917  (+44.0 %)\n"
            "  busiest PE                               0.600       0.333      +0.267  (+80 %)\n"
            "  PEs, max/mean                                2        1.60      +0.400  (+25.0 %)\n"
            "  PEs, Gini                                0.417       0.350     +0.0667  (+19.0 %)\n"
            "  PEs, CoV                                 0.745       0.663     +0.0820  (+12.4 %)\n"
            "  longest quiet spell                          1           2          −1  (−50 %)\n"
            "  link load, mean                            5 %      4.17 %    +0.833 %  (+20.0 %)\n"
            "  link load, largest                        20 %      16.7 %     +3.33 %  (+20.0 %)\n"
            "  bisection, messages a cycle              0.200       0.167     +0.0333  (+20.0 %)\n"
            "  bisection, share                           5 %      4.17 %    +0.833 %  (+20.0 %)\n"
            "  18 measures are the same\n"
            "\n"
            "From B to A, by PE\n"
            "  fires per cycle                   up at 3, most at (0, 0): 0.333 to 0.600\n"
            "  sends per cycle                   up at 2, most at (0, 0): 0.167 to 0.200\n"
            "  receives per cycle                up at 2, most at (1, 0): 0.167 to 0.200\n"
            "  utilisation                       up at 3, most at (0, 0): 33.3 % to 60 %\n"
            "  longest gap                       the same everywhere\n"
            "\n"
            "From B to A, by thread\n"
            "  7                                 fires 0 to 1\n"
            "\n"
            "Phases\n"
            "  none, or not of both runs\n");
}

TEST_F(DiffTest, EachAlignmentFindsItsOwnFirstDifference) {
  const std::map<std::string, std::string> first = {
      {"cycle", "cycle 12\n  A  record 4, cycle 12: fire at (0, 0), thread 0\n"},
      {"step", "step 3\n  A  record 4, cycle 12: fire at (0, 0), thread 0\n"},
      {"fire", "fire 3 of PE (0, 0)\n  A  record 4, cycle 12: fire at (0, 0), thread 0\n"},
      {"phase",
       "phase A, most at PE (0, 0)\n  A  3 fires, 1 send, 0 receives\n"
       "  B  2 fires, 1 send, 0 receives\n"}};
  for (const auto& [alignment, text] : first) {
    EXPECT_THAT(Different({"--align", alignment}), HasSubstr("\nFirst difference: " + text));
  }
}

TEST_F(DiffTest, TheStatusIsZeroWhereNothingDiffersThatTheAlignmentSees) {
  Trace(
      "fire 5 0 0 0\n"
      "fire 5 0 1 0\n"
      "fire 6 0 0 0\n",
      "a.trace");
  Trace(
      "fire 5 0 1 0\n"
      "fire 5 0 0 0\n"
      "fire 6 0 0 0\n",
      "order.trace");
  Trace(
      "fire 5 0 0 0\n"
      "fire 5 0 1 0\n"
      "fire 9 0 0 0\n",
      "late.trace");
  Trace(
      "fire 5 0 0 0\n"
      "fire 6 0 0 0\n"
      "fire 7 0 1 0\n",
      "free.trace");
  struct Expected {
    const char* other;
    std::vector<std::string> flags;
    int status;
  };
  for (const Expected& expected : {Expected{"a.trace", {}, 0},
                                   {"a.trace", {"--ordered"}, 0},
                                   {"order.trace", {}, 0},
                                   {"order.trace", {"--ordered"}, 1},
                                   {"late.trace", {}, 1},
                                   {"late.trace", {"--align", "step"}, 0},
                                   {"late.trace", {"--align", "fire"}, 0},
                                   {"late.trace", {"--cycles", "0:5"}, 0},
                                   {"free.trace", {"--align", "step"}, 1},
                                   {"free.trace", {"--align", "fire"}, 0},
                                   {"free.trace", {"--align", "phase"}, 0},
                                   {"free.trace", {"--region", "0,0"}, 0},
                                   {"free.trace", {"--region", "cluster:0,0"}, 1},
                                   {"free.trace", {"--type", "send"}, 0},
                                   {"free.trace", {"--thread", "3"}, 0}}) {
    SCOPED_TRACE(std::string(expected.other) + " " + ::testing::PrintToString(expected.flags));
    const CommandResult result = Run(Line(expected.flags, "a.trace", expected.other));
    EXPECT_EQ(expected.status, result.exitStatus) << result.err;
    EXPECT_NE("", result.out);
    std::vector<std::string> quiet = expected.flags;
    quiet.push_back("--quiet");
    const CommandResult silent = Run(Line(quiet, "a.trace", expected.other));
    EXPECT_EQ(expected.status, silent.exitStatus) << silent.err;
    EXPECT_EQ("", silent.out + silent.err);
  }
}

TEST_F(DiffTest, EqualRunsAreTakenForEqualWithoutAnIndex) {
  const CommandResult result = Run({"diff", "new.trace", "new.trace"});
  ExpectOutput(
      "A new.trace: 8 records of cycles 10 to 14\n"
      "B new.trace: 8 records of cycles 10 to 14\n"
      "Equal: the same bytes\n",
      result);
  EXPECT_FALSE(HasFileLike("mfindex"));
}

TEST_F(DiffTest, AnotherOrderWithinACycleIsTold) {
  Trace("fire 5 0 0 0\nfire 5 0 1 0\n", "a.trace");
  Trace("fire 5 0 1 0\nfire 5 0 0 0\n", "b.trace");
  EXPECT_THAT(Run({"diff", "a.trace", "b.trace"}).out,
              HasSubstr("By cycle: equal, 1 cycle, in another order within 1 cycle\n"));
}

TEST_F(DiffTest, TheSlipOfFiresIsTold) {
  const std::string text = Different({"--align", "fire"});
  EXPECT_THAT(text, HasSubstr("\nSlip of fires, cycle in A less cycle in B\n"
                              "  first                             fire 1 of PE (1, 1): cycle 14 "
                              "and 15\n"));
  EXPECT_THAT(text, HasSubstr("largest                           −1 at PE (1, 1)\n"));
  EXPECT_THAT(LinesOf(Different({"--align", "fire", "--csv", "slips"})),
              ElementsAre("column,row,firesA,firesB,meanSlip,largestSlip,lastSlip", "0,0,3,2,0,0,0",
                          "1,0,2,2,0,0,0", "1,1,1,1,-1,-1,-1"));
}

TEST_F(DiffTest, JsonHasTheSameAndMore) {
  const json diff = Json(Different({"--json"}));
  EXPECT_EQ(diff["equal"], false);
  EXPECT_EQ(diff["a"]["records"], 8);
  EXPECT_EQ(diff["b"]["lastCycle"], 15);
  EXPECT_EQ(diff["first"]["cycle"], 12);
  EXPECT_EQ(diff["first"]["a"],
            json({{"record", 4}, {"cycle", 12}, {"type", "fire"}, {"thread", 0}, {"at", {0, 0}}}));
  EXPECT_DOUBLE_EQ(diff["speedUp"], 1.2);
  EXPECT_EQ(
      diff["measures"][0],
      json({{"name", "cycles"}, {"a", 5.0}, {"b", 6.0}, {"change", -1.0}, {"relative", -1 / 6.0}}));
  EXPECT_EQ(diff["where"]["pes"]["fires"]["up"], 3);
  EXPECT_EQ(diff["where"]["pes"]["fires"]["mostUp"]["at"], json({0, 0}));
  EXPECT_EQ(diff["slip"], nullptr);
  const CommandResult equal = Run({"diff", "new.trace", "new.trace", "--json"});
  EXPECT_EQ(equal.exitStatus, 0);
  EXPECT_EQ(Json(equal.out)["sameBytes"], true);
  EXPECT_EQ(Json(equal.out)["measures"], nullptr);
}

void ExpectNamesIn(const std::string& page, const json& value) {
  for (const auto& [name, inner] : value.items()) {
    if (value.is_object()) {
      EXPECT_THAT(page, ::testing::ContainsRegex("[^A-Za-z]" + name + "[^A-Za-z]"));
    }
    if (inner.is_structured()) {
      ExpectNamesIn(page, inner);
    }
  }
}

TEST_F(DiffTest, TheManualPageHasEveryNameOfJson) {
  const std::string page = testing::ReadFile(MARROWFIN_SOURCE_DIR "/docs/man/marrowfin-trace.1");
  const size_t begin = page.find("\n.B diff\n", page.find("\n.SH JSON\n"));
  ASSERT_NE(begin, std::string::npos);
  const std::string names = page.substr(begin, page.find("\n.PP\n", begin) - begin);
  for (const char* const alignment : {"cycle", "step", "fire", "phase"}) {
    ExpectNamesIn(names, Json(Different({"--json", "--align", alignment})));
  }
}

TEST_F(DiffTest, WhatChangedIsToldByThreadAndFromClusterToCluster) {
  Trace("fire 1 0 0 0\nfire 2 3 0 0\nsend 3 3 0 0 1 0\nfire 4 3 1 0\n", "more.trace");
  Trace("fire 1 0 0 0\nfire 2 3 0 0\nsend 4 4 0 0 1 0\n", "less.trace");
  const std::vector<std::string> diff = {"diff", "more.trace", "less.trace", "-c", "2",
                                         "-d",   "1",          "-p",         "1"};
  EXPECT_THAT(Run(diff).out,
              HasSubstr("\nFrom B to A, by thread\n"
                        "  3                                 fires 1 to 2; messages 0 to "
                        "1; distance, mean - to 1\n"
                        "  4                                 messages 1 to 0; distance, "
                        "mean 1 to -\n"));
  std::vector<std::string> table = diff;
  table.insert(table.end(), {"--csv", "groups"});
  const std::vector<std::string> groups = LinesOf(Run(table).out);
  EXPECT_EQ(groups[0], "by,value,name,measure,a,b,change,relative");
  EXPECT_THAT(groups, ::testing::Contains("\"thread\",3,\"\",fires,2,1,1,1"));
  EXPECT_THAT(groups, ::testing::Contains("\"thread\",4,\"\",sends,0,1,-1,-1"));
  table.back() = "traffic";
  EXPECT_THAT(LinesOf(Run(table).out),
              ElementsAre("fromColumn,fromRow,toColumn,toRow,a,b,change", "0,0,1,0,0.25,0.25,0"));
  table.pop_back();
  table.back() = "--json";
  const json told = Json(Run(table).out)["groups"];
  EXPECT_EQ(told[0]["by"], "thread");
  EXPECT_EQ(told[0]["groups"][1]["value"], 3);
  EXPECT_EQ(told[0]["groups"][1]["measures"][0]["change"], 1.0);
}

TEST_F(DiffTest, TablesAreOneLineForEachUnit) {
  EXPECT_THAT(LinesOf(Different({"--csv", "measures"}))[1], "cycles,5,6,-1,-0.16666666666666666");
  const std::vector<std::string> pes = LinesOf(Different({"--csv", "pes"}));
  EXPECT_EQ(pes[0], "column,row,measure,a,b,change");
  EXPECT_THAT(pes[1], StartsWith("0,0,fires,0.6,0.3333333333333333,0.266666666666666"));
  EXPECT_EQ(pes.size(), 1 + 6 * 4U) << "six measures of four elements";
  EXPECT_EQ(LinesOf(Different({"--csv", "clusters"})).size(), 8U);
  EXPECT_EQ(LinesOf(Different({"--csv", "domains"})).size(), 7U);
  EXPECT_EQ(LinesOf(Different({"--csv", "links"}))[1],
            "0,0,right,0.2,0.16666666666666666,"
            "0.033333333333333354");
  EXPECT_THAT(LinesOf(Different({"--csv", "phases"})),
              ElementsAre("phase,firstCycleA,lastCycleA,firesPerCycleA,firstCycleB,lastCycleB,"
                          "firesPerCycleB,speedUp",
                          "0,10,14,1.2,10,15,0.8333333333333334,1.2"));
  // Tables are there for equal runs too.
  const CommandResult equal = Run(Line({"--csv", "measures"}, "new.trace", "new.trace"));
  EXPECT_EQ(equal.exitStatus, 0);
  EXPECT_EQ(LinesOf(equal.out)[1], "cycles,5,5,0,0");
}

TEST_F(DiffTest, PackedTracesAreHeldAgainstPlainOnes) {
  Pack("gzip", "new.trace", "new.gz");
  Pack("zstd", "old.trace", "old.zst");
  Pack("zstd", "new.trace", "new.zst");
  const CommandResult equal = Run({"diff", "new.gz", "new.zst"});
  EXPECT_EQ(equal.exitStatus, 0) << equal.err;
  EXPECT_THAT(equal.out, HasSubstr("Equal: the same bytes\n"));
  const CommandResult result = Run(Line({"--csv", "pes"}, "new.gz", "old.zst"));
  EXPECT_EQ(result.exitStatus, 1) << result.err;
  EXPECT_EQ(result.out, Different({"--csv", "pes"}));
  const std::vector<std::string> files = FolderContents();
  EXPECT_EQ(std::count(files.begin(), files.end(), "new.gz.mfindex"), 0)
      << "of a trace that was unpacked there is nothing to keep";
}

TEST_F(DiffTest, EmptyTracesAreEqualAndAnyEventIsADifference) {
  Trace("", "none.trace");
  EXPECT_EQ(Run({"diff", "none.trace", "none.trace"}).exitStatus, 0);
  for (const char* const alignment : {"cycle", "step", "fire", "phase"}) {
    const CommandResult result = Run({"diff", "none.trace", "old.trace", "--align", alignment});
    EXPECT_EQ(result.exitStatus, 1) << alignment << result.err;
    EXPECT_THAT(result.out, StartsWith("A none.trace: 0 records\nB old.trace: 7 records of "));
  }
  ExpectFailure(4,
                "none.trace: there are no records\n"
                "  Leave --csv out: nothing can be measured.\n",
                Run({"diff", "none.trace", "old.trace", "--csv", "pes"}));
}

TEST_F(DiffTest, ARunThatIsTheStartOfAnotherLacksTheRest) {
  const std::string text(older);
  Trace(text.substr(0, text.find("send 14")), "start.trace");
  const CommandResult result = Run(Line({}, "start.trace", "old.trace"));
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_THAT(result.out,
              HasSubstr("First difference: cycle 14\n"
                        "  A  has no such event\n"
                        "  B  record 5, cycle 14: send from (1, 0) to (1, 1), thread 0\n"));
}

TEST_F(DiffTest, WhatCannotBeReadIsTroubleAndNoDifference) {
  const std::string bytes = testing::ReadFile(folder.File("old.trace"));
  testing::WriteFile(folder.File("cut.trace"), bytes.substr(0, bytes.size() - 3));
  testing::WriteFile(folder.File("wrong.trace"), "this is no trace, but some text in a file");
  testing::WriteFile(folder.File("damaged.gz"), "\x1f\x8b\x08\x01 nothing");
  std::filesystem::create_directory(folder.File("folder"));
  const std::map<std::string, std::string> reasons = {
      {"cut.trace", "cut.trace: record 6 at byte "},
      {"wrong.trace", "wrong.trace: record 0 at byte 0: "},
      {"damaged.gz", "damaged.gz: "},
      {"folder", "folder: cannot read: Is a directory"},
      {"missing", "missing: cannot open: No such file or directory"}};
  for (const auto& [name, reason] : reasons) {
    for (const bool first : {true, false}) {
      for (const char* const alignment : {"cycle", "step", "fire", "phase"}) {
        const CommandResult result = Run(
            {"diff", first ? name : "new.trace", first ? "new.trace" : name, "--align", alignment});
        ExpectFailure(4, result.err.substr(result.err.find(": ") + 2), result);
        EXPECT_THAT(result.err, StartsWith("marrowfin-trace: " + reason));
      }
    }
  }
  EXPECT_EQ(Run({"diff", "cut.trace", "cut.trace"}).exitStatus, 4) << "though the bytes are equal";
}

TEST_F(DiffTest, AnAnswerGoesToAFileWholeOrNotAtAll) {
  EXPECT_EQ(Different({"--json", "-o", folder.File("d.json")}), "");
  EXPECT_EQ(Json(testing::ReadFile(folder.File("d.json")))["equal"], false);
  EXPECT_EQ(Run(Line({"-o", "nowhere/d.txt"})).exitStatus, 3);
  for (const char* const name : {"new.trace", "old.trace", "old.trace.mfindex"}) {
    EXPECT_EQ(Run(Line({"-o", name})).exitStatus, 2) << name;
  }
}

TEST_F(DiffTest, CommandLinesThatSayNothingAreRefused) {
  for (const std::vector<std::string>& flags : {std::vector<std::string>{"--json", "--csv", "pes"},
                                                {"--csv", "nothing"},
                                                {"--csv", "slips"},
                                                {"--quiet", "--json"},
                                                {"--align", "heart"},
                                                {"--align", "fire", "--ordered"},
                                                {"--records", "0:5"},
                                                {"--steps", "0:5"}}) {
    const CommandResult result = Run(Line(flags));
    EXPECT_EQ(result.exitStatus, 2) << ::testing::PrintToString(flags);
    EXPECT_EQ(result.out, "");
    EXPECT_NE(result.err, "");
  }
  EXPECT_EQ(Run({"diff", "new.trace"}).exitStatus, 2);
}

TEST_F(DiffTest, ARunInWhichLessHappenedIsNoRunOfASmallerArray) {
  Trace("fire 1 0 0 0\nfire 2 0 9 9\n", "large.trace");
  Trace("fire 1 0 0 0\nfire 2 0 1 1\n", "small.trace");
  for (const auto& [a, b] :
       {std::pair("large.trace", "small.trace"), std::pair("small.trace", "large.trace")}) {
    const CommandResult result = Run({"diff", a, b, "--json"});
    const json diff = Json(result.out);
    EXPECT_EQ(diff["a"]["shape"], diff["b"]["shape"]) << result.err;
    EXPECT_EQ(diff["where"]["pes"]["fires"]["onlyA"], 0);
  }
}

TEST_F(DiffTest, ArraysThatCompanionsTellMayDiffer) {
  for (const auto& [name, columns] : {std::pair("new.trace", 3), std::pair("old.trace", 2)}) {
    testing::WriteFile(folder.File(std::string(name) + ".about"),
                       "format = 1\n[trace]\nrecords = 0\nfingerprint = \"cbf29ce484222325\"\n"
                       "[array]\npes = { columns = " +
                           std::to_string(columns) + ", rows = 2 }\n");
  }
  const CommandResult result = Run({"diff", "new.trace", "old.trace"});
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_THAT(result.out, AllOf(HasSubstr("domains of 3 x 2"), HasSubstr("-c 1 -d 1 -p 2\n"),
                                HasSubstr("not compared                      2 that A alone has, "
                                          "0 that B alone has\n")))
      << result.err;
}

}  // namespace
}  // namespace marrowfin
