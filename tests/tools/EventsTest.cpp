// marrowfin-trace events

#include <sys/wait.h>

#include <chrono>
#include <csignal>
#include <sstream>
#include <thread>

#include "tests/tools/CommandFixture.h"
#include "tests/tools/RunningProgram.h"

namespace marrowfin {
namespace {

using nlohmann::json;
using testing::CommandResult;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

constexpr char byHand[] =
    "fire 5 1 7 2\n"
    "switch 6 0 4 4\n"
    "send 260 2 7 2 0 1\n"
    "fire 260 9 3 3\n"
    "fire 261 1 7 2\n";

class EventsTest : public CommandFixture {
 protected:
  EventsTest() { Trace(byHand); }

  // What the program prints of the trace.
  std::string Events(const std::vector<std::string>& flags) const {
    std::vector<std::string> words = {"events", "t.trace"};
    words.insert(words.end(), flags.begin(), flags.end());
    const CommandResult result = Run(words);
    EXPECT_EQ(0, result.exitStatus) << result.err;
    EXPECT_EQ("", result.err);
    return result.out;
  }

  // The numbers of the events that it lists.
  std::vector<uint64_t> Records(std::vector<std::string> flags) const {
    flags.insert(flags.end(), {"--format", "jsonl"});
    std::istringstream lines(Events(flags));
    std::vector<uint64_t> records;
    for (std::string line; std::getline(lines, line);) {
      records.push_back(json::parse(line)["record"]);
    }
    return records;
  }
};

TEST_F(EventsTest, TextIsInColumnsAndNamesPlacesAsStatesDo) {
  EXPECT_EQ(
      "record  cycle  thread  event\n"
      "     0      5       1  element 7 2\n"
      "     1      6       0  switch of cluster 0 0 at 4 4\n"
      "     2    260       2  message 7 2 to 0 1\n"
      "     3    260       9  element 3 3\n"
      "     4    261       1  element 7 2\n",
      Events({}));
}

TEST_F(EventsTest, ColumnsAreAsWideAsTheLargestNumber) {
  Trace("fire 5 1 0 0\nfire 18446744073709551615 4294967295 1 0\n");
  EXPECT_EQ(
      "record                 cycle      thread  event\n"
      "     0                     5           1  element 0 0\n"
      "     1  18446744073709551615  4294967295  element 1 0\n",
      Events({}));
}

TEST_F(EventsTest, ASwitchIsToldByTheClusterOfTheArrayThatIsGiven) {
  Trace("fire 1 0 23 0\nswitch 1 1 20 4\nswitch 1 2 4 12\n");
  EXPECT_THAT(Events({"--type", "switch"}), HasSubstr("  switch of cluster 2 0 at 20 4\n"));
  EXPECT_THAT(Events({"--type", "switch", "-c", "2", "-d", "4"}),
              HasSubstr("  switch of cluster 1 0 at 20 4\n"));
  // One of no switch of the array, and one of a trace that no array shows.
  EXPECT_THAT(Events({"--type", "switch", "-c", "2", "-d", "4"}), EndsWith("  switch at 4 12\n"));
  Trace("switch 1 0 3 3\n");
  EXPECT_THAT(Events({}), EndsWith("  switch at 3 3\n"));
}

TEST_F(EventsTest, CsvHasALineForEachEventBelowTheNamesOfItsColumns) {
  EXPECT_EQ(
      "record,cycle,thread,type,column,row,toColumn,toRow\n"
      "0,5,1,fire,7,2,,\n"
      "1,6,0,switch,4,4,,\n"
      "2,260,2,send,7,2,0,1\n"
      "3,260,9,fire,3,3,,\n"
      "4,261,1,fire,7,2,,\n",
      Events({"--format", "csv"}));
  EXPECT_EQ("record,cycle,thread,type,column,row,toColumn,toRow\n",
            Events({"--format", "csv", "--thread", "77"}));
}

TEST_F(EventsTest, JsonLinesAreAnObjectForEachEvent) {
  std::istringstream lines(Events({"--format", "jsonl", "--limit", "3"}));
  std::vector<json> events;
  for (std::string line; std::getline(lines, line);) {
    events.push_back(Json(line));
  }
  EXPECT_THAT(
      events,
      ElementsAre(
          json({{"record", 0}, {"cycle", 5}, {"thread", 1}, {"type", "fire"}, {"at", {7, 2}}}),
          json({{"record", 1},
                {"cycle", 6},
                {"thread", 0},
                {"type", "switch"},
                {"at", {4, 4}},
                {"cluster", {0, 0}}}),
          json({{"record", 2},
                {"cycle", 260},
                {"thread", 2},
                {"type", "send"},
                {"from", {7, 2}},
                {"to", {0, 1}}})));
  EXPECT_EQ("", Events({"--format", "jsonl", "--limit", "0"}));
}

TEST_F(EventsTest, EveryConditionNarrowsTheList) {
  EXPECT_THAT(Records({"--records", "3"}), ElementsAre(3));
  EXPECT_THAT(Records({"--records", "1:2"}), ElementsAre(1, 2));
  EXPECT_THAT(Records({"--records", "3:"}), ElementsAre(3, 4));
  EXPECT_THAT(Records({"--records", ":0"}), ElementsAre(0));
  EXPECT_THAT(Records({"--records", "5:18446744073709551615"}), IsEmpty());
  EXPECT_THAT(Records({"--cycles", "6:260"}), ElementsAre(1, 2, 3));
  EXPECT_THAT(Records({"--cycles", "7:259"}), IsEmpty());
  EXPECT_THAT(Records({"--steps", "0"}), ElementsAre(0));
  EXPECT_THAT(Records({"--steps", "3:"}), ElementsAre(3, 4));
  EXPECT_THAT(Records({"--steps", "1", "-F", "7"}), ElementsAre(3));
  EXPECT_THAT(Records({"--type", "fire"}), ElementsAre(0, 3, 4));
  EXPECT_THAT(Records({"--type", "send,switch"}), ElementsAre(1, 2));
  EXPECT_THAT(Records({"--type", "send", "--type", "fire"}), ElementsAre(0, 2, 3, 4));
  EXPECT_THAT(Records({"--thread", "1"}), ElementsAre(0, 4));
  EXPECT_THAT(Records({"--thread", "01"}), ElementsAre(0, 4));
  EXPECT_THAT(Records({"--region", "7,2"}), ElementsAre(0, 2, 4));
  EXPECT_THAT(Records({"--region", "0,1"}), ElementsAre(2));
  EXPECT_THAT(Records({"--region", "3,3:7,4"}), ElementsAre(1, 3));
  EXPECT_THAT(Records({"--region", "cluster:0,0"}), ElementsAre(0, 1, 2, 3, 4));
  EXPECT_THAT(Records({"--region", "domain:1,0"}), ElementsAre(0, 2, 4));
  EXPECT_THAT(Records({"--region", "domain:3,1", "-c", "1", "-d", "4", "-p", "2"}),
              ElementsAre(0, 2, 4));
  EXPECT_THAT(Records({"--thread", "1", "--cycles", "261"}), ElementsAre(4));
}

TEST_F(EventsTest, EachConditionHasAFlagOfItsOwnInEveryWord) {
  EXPECT_THAT(Records({"--records", "1..2"}), ElementsAre(1, 2));
  EXPECT_THAT(Records({"--cycles", "6..260"}), ElementsAre(1, 2, 3));
  EXPECT_THAT(Records({"--steps", "3.."}), ElementsAre(3, 4));
  EXPECT_THAT(Records({"--types", "send,switch"}), ElementsAre(1, 2));
  EXPECT_THAT(Records({"--threads", "0,2-8"}), ElementsAre(1, 2));
  EXPECT_THAT(Records({"--threads", "1-9"}), ElementsAre(0, 2, 3, 4));
  EXPECT_THAT(Records({"--cluster", "0,0"}), ElementsAre(0, 1, 2, 3, 4));
  EXPECT_THAT(Records({"--domain", "1,0"}), ElementsAre(0, 2, 4));
  EXPECT_THAT(Records({"--pe", "7,2"}), ElementsAre(0, 2, 4));
  EXPECT_THAT(Records({"--rect", "3,3,7,4"}), ElementsAre(1, 3));
}

TEST_F(EventsTest, OfSeveralRegionsWhatTheyHaveInCommonIsMeant) {
  EXPECT_THAT(Records({"--rect", "0,0,7,2", "--region", "3,1:9,9"}), ElementsAre(0, 2, 4));
  EXPECT_THAT(Records({"--rect", "0,0,7,2", "--cluster", "0,0", "--pe", "0,1"}), ElementsAre(2));
  ExpectFailure(1,
                "t.trace: the regions that are asked for have no position in common\n"
                "  Give one of them, or such that overlap.\n",
                Run({"events", "t.trace", "--pe", "7,2", "--rect", "0,0,3,3"}));
}

TEST_F(EventsTest, NotTurnsAllConditionsRoundAtOnce) {
  EXPECT_THAT(Records({"--not", "--threads", "1"}), ElementsAre(1, 2, 3));
  EXPECT_THAT(Records({"--not", "--threads", "1", "--cycles", "6.."}), ElementsAre(0, 1, 2, 3));
  EXPECT_THAT(Records({"--not", "--records", "1..3"}), ElementsAre(0, 4));
  EXPECT_THAT(Records({"--not", "--steps", "3.."}), ElementsAre(0, 1, 2));
  EXPECT_THAT(Records({"--not", "--rect", "3,3,7,4", "--types", "fire"}), ElementsAre(0, 1, 2, 4));
  EXPECT_EQ("2\n", Events({"--not", "--records", "1..3", "--count"}));
  ExpectFailure(2,
                "--not turns conditions on events round, and there are none\n"
                "  Give it with a condition, as in --not --threads 3.\n",
                Run({"events", "t.trace", "--not"}));
}

TEST_F(EventsTest, WhatNotLeavesOutOfALongTraceIsTheRestOfIt) {
  LongTrace(30000, "t.trace");
  for (const std::vector<std::string>& flags :
       std::vector<std::vector<std::string>>{{"--threads", "0,2-3", "--types", "fire"},
                                             {"--cycles", "100..900", "--rect", "0,0,7,7"},
                                             {"--steps", "..99"}}) {
    std::vector<std::string> others = flags;
    others.push_back("--not");
    std::vector<uint64_t> all = Records(flags);
    const std::vector<uint64_t> rest = Records(others);
    EXPECT_FALSE(all.empty());
    EXPECT_FALSE(rest.empty());
    all.insert(all.end(), rest.begin(), rest.end());
    std::sort(all.begin(), all.end());
    ASSERT_EQ(30000U, all.size());
    EXPECT_EQ(29999U, all.back());
    EXPECT_EQ(all.end(), std::adjacent_find(all.begin(), all.end()));
  }
}

TEST_F(EventsTest, TheFirstAndTheLastEventsAndThoseFromTheEnd) {
  EXPECT_THAT(Records({"--limit", "2"}), ElementsAre(0, 1));
  EXPECT_THAT(Records({"--last", "2"}), ElementsAre(3, 4));
  EXPECT_THAT(Records({"--last", "99"}), ElementsAre(0, 1, 2, 3, 4));
  EXPECT_THAT(Records({"--last", "0"}), IsEmpty());
  EXPECT_THAT(Records({"--backwards"}), ElementsAre(4, 3, 2, 1, 0));
  EXPECT_THAT(Records({"--backwards", "--limit", "2"}), ElementsAre(4, 3));
  EXPECT_THAT(Records({"--backwards", "--last", "2"}), ElementsAre(4, 3));
  EXPECT_THAT(Records({"--last", "2", "--type", "fire", "--cycles", ":260"}), ElementsAre(0, 3));
}

TEST_F(EventsTest, OfALongTraceTheListIsTheSameFromBothEndsAndInPieces) {
  LongTrace(30000, "t.trace");
  const std::vector<uint64_t> all = Records({"--thread", "1", "--type", "fire"});
  ASSERT_LT(1000U, all.size());
  std::vector<uint64_t> backwards = Records({"--thread", "1", "--type", "fire", "--backwards"});
  std::reverse(backwards.begin(), backwards.end());
  EXPECT_EQ(all, backwards);
  EXPECT_EQ(std::vector<uint64_t>(all.end() - 777, all.end()),
            Records({"--thread", "1", "--type", "fire", "--last", "777"}));
  EXPECT_EQ(std::vector<uint64_t>(all.begin(), all.begin() + 777),
            Records({"--thread", "1", "--type", "fire", "--limit", "777"}));
  EXPECT_EQ(std::to_string(all.size()) + "\n",
            Events({"--thread", "1", "--type", "fire", "--count"}));
}

TEST_F(EventsTest, TheNumberOfEventsIsToldInEveryForm) {
  EXPECT_EQ("5\n", Events({"--count"}));
  EXPECT_EQ("3\n", Events({"--count", "--type", "fire"}));
  EXPECT_EQ("events\n0\n", Events({"--count", "--thread", "3", "--format", "csv"}));
  EXPECT_EQ("{\"events\":2}\n", Events({"--count", "--thread", "1", "--format", "jsonl"}));
  EXPECT_EQ(Events({"--format", "jsonl"}), Events({"--json"}));
}

TEST_F(EventsTest, AFileIsThereWholeOrStaysAsItWas) {
  ExpectOutput("out.csv: 5 events\n",
               Run({"events", "t.trace", "--format", "csv", "-o", "out.csv"}));
  const std::string all = testing::ReadFile(folder.File("out.csv"));
  EXPECT_EQ(Events({"--format", "csv"}), all);
  ExpectOutput("out.csv: the number of events, 5\n",
               Run({"events", "t.trace", "--count", "--output", "out.csv", "--force"}));
  EXPECT_EQ("5\n", testing::ReadFile(folder.File("out.csv")));
  ExpectFailure(2,
                "t.trace: is the trace\n"
                "  Name another file with -o.\n",
                Run({"events", "t.trace", "-o", "t.trace"}));
  EXPECT_EQ(testing::TraceBytes(byHand), testing::ReadFile(folder.File("t.trace")));
  // Standard output under another name has the list alone.
  EXPECT_EQ(all, Run({"events", "t.trace", "--format", "csv", "-o", "/dev/stdout"}).out);
  EXPECT_FALSE(HasFileLike("mfpart"));
}

TEST_F(EventsTest, AFullDiskLeavesNoFile) {
  LongTrace(30000);
  const CommandResult result =
      Shell("ulimit -f 64; exec \"$0\" events long.trace --format csv -o out.csv");
  EXPECT_EQ(3, result.exitStatus) << result.err;
  EXPECT_THAT(result.err, StartsWith("marrowfin-trace: out.csv: cannot write: File too large"));
  EXPECT_FALSE(HasFileLike("out.csv"));
}

TEST_F(EventsTest, AReaderThatLeavesEndsTheProgramQuietly) {
  LongTrace(300000);
  const CommandResult result =
      Shell("{ \"$0\" events long.trace; echo $? >&2; } | head -n 3 > /dev/null");
  EXPECT_EQ("141\n", result.err) << "128 + SIGPIPE";
}

TEST_F(EventsTest, ABrokenTraceIsListedUpToTheBreak) {
  const std::string bytes = testing::TraceBytes(byHand);
  testing::WriteFile(folder.File("t.trace"), bytes.substr(0, bytes.size() - 3));
  const std::string fault =
      "marrowfin-trace: t.trace: record 4 at byte 120: the trace ends after 5 of the 8 bytes of a "
      "payload; what the trace held behind it is missing from the answer\n"
      "  Run the simulator to its end, or use the records before it.\n";
  const std::vector<std::vector<std::string>> cutShort = {
      {},
      {"--limit", "5"},
      {"--last", "1"},
      {"--backwards", "--limit", "1"},
      {"--records", "3:4"},
      {"--cycles", "260"},
      {"--cycles", "300:"},
      {"--thread", "77"},
      {"--count"},
      {"--steps", "3"},
  };
  for (std::vector<std::string> words : cutShort) {
    SCOPED_TRACE(::testing::PrintToString(words));
    words.insert(words.begin(), {"events", "t.trace"});
    const CommandResult result = Run(words);
    EXPECT_EQ(1, result.exitStatus);
    EXPECT_EQ(fault, result.err);
    EXPECT_THAT(result.out, Not(IsEmpty()));
  }
  EXPECT_THAT(Run({"events", "t.trace"}).out, EndsWith("     3    260       9  element 3 3\n"));
  // What was lost cannot have been among these.
  EXPECT_THAT(Records({"--limit", "4"}), ElementsAre(0, 1, 2, 3));
  EXPECT_THAT(Records({"--records", ":3"}), ElementsAre(0, 1, 2, 3));
  EXPECT_THAT(Records({"--cycles", ":259"}), ElementsAre(0, 1));
  EXPECT_THAT(Records({"--steps", ":1", "--last", "1"}), ElementsAre(1));
  // A file has what there is.
  const CommandResult written = Run({"events", "t.trace", "-o", "out", "--force"});
  EXPECT_EQ(1, written.exitStatus);
  EXPECT_EQ("out: 4 events\n", written.out);
  EXPECT_EQ(Run({"events", "t.trace"}).out, testing::ReadFile(folder.File("out")));
}

TEST_F(EventsTest, RegionsThatTheArrayLacksAreRefused) {
  ExpectFailure(1,
                "t.trace: the array has no cluster at column 1, row 0\n"
                "  Give the counts of the array with -c, -d and -p.\n",
                Run({"events", "t.trace", "--region", "cluster:1,0"}));
  ExpectFailure(1,
                "t.trace: the array has no domain at column 0, row 2\n"
                "  Give the counts of the array with -c, -d and -p.\n",
                Run({"events", "t.trace", "--region", "domain:0,2"}));
  Trace("switch 1 0 3 3\n");
  ExpectFailure(1,
                "t.trace: no array shows all locations of this trace\n"
                "  Give the counts of the array with -c, -d and -p, or a region of positions.\n",
                Run({"events", "t.trace", "--region", "cluster:0,0"}));
}

TEST_F(EventsTest, ADamagedIndexIsBuiltAnewAndTheListIsWhole) {
  LongTrace(200000, "t.trace");
  const std::vector<std::string> words = {"events", "t.trace", "--region", "3,3"};
  const std::string whole = Run(words).out;
  const std::string path = folder.File("t.trace.mfindex");
  std::string index = testing::ReadFile(path);
  for (size_t at = index.size() / 4; at < index.size() / 2; at += 50) {
    index[at] = static_cast<char>(~index[at]);
  }
  testing::WriteFile(path, index);
  const CommandResult again = Run(words);
  EXPECT_EQ(0, again.exitStatus) << again.err;
  EXPECT_EQ(whole, again.out);
  EXPECT_NE(index, testing::ReadFile(path));
}

TEST_F(EventsTest, AListThatTakesLongShowsItsProgressAndASignalEndsItAndLeavesNoFile) {
  const std::string name = LongTrace(300000);
  ASSERT_EQ(0, Run({"index", "long.trace"}).exitStatus);
  RunningProgram program(Words({"events", name, "-o", folder.File("out")}),
                         RunningProgram::TO_TERMINAL, RunningProgram::FOR_HOLDING);
  // Held once it has written something, for longer than it waits with the first line.
  const auto hasWritten = [&] {
    for (const std::string& file : FolderContents()) {
      if (file.find("out.mfpart") == 0) {
        return std::filesystem::file_size(folder.File(file)) > 0;
      }
    }
    return false;
  };
  ASSERT_TRUE(program.HoldWhen(hasWritten));
  std::this_thread::sleep_for(std::chrono::milliseconds(700));
  program.Signal(SIGINT);
  program.Release();
  const int status = program.Wait();
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGINT) << status;
  EXPECT_THAT(program.Err(), HasSubstr("searching " + name));
  EXPECT_THAT(program.Err(), EndsWith("\r\033[K"));
  EXPECT_FALSE(HasFileLike("out"));
}

}  // namespace
}  // namespace marrowfin
