// The program as its users meet it: words, options, errors, files and exit statuses.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <regex>
#include <sstream>

#include "tests/sim/Laws.h"
#include "tests/sim/Rig.h"
#include "tests/support/Files.h"
#include "tests/support/ScarceMemory.h"

namespace marrowfin::sim::testing {

using ::testing::AllOf;
using ::testing::ContainsRegex;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

constexpr int FAILED = 1;
constexpr int NOT_BEGUN = 2;
constexpr int NO_MEMORY = 3;

constexpr char withoutMemory[] =
    "marrowfin-sim: there is not enough memory for this array and this program\n";

class CommandTest : public ::testing::Test {
 protected:
  // A run that takes no time.
  std::vector<std::string> SmallRun() const {
    return {"-program", "reduce", "-size", "8", "-threads", "2"};
  }

  CommandResult RunSmall(const std::vector<std::string>& more) const {
    std::vector<std::string> words = SmallRun();
    words.insert(words.end(), more.begin(), more.end());
    return RunSimulator(words);
  }

  // Runs with words that are wrong: nothing may happen but the complaint.
  void ExpectComplaint(const std::vector<std::string>& words, const std::string& text) const {
    std::vector<std::string> all = words;
    all.insert(all.end(), {"-outFilename", Trace()});
    const CommandResult result = RunSimulator(all);
    EXPECT_EQ(NOT_BEGUN, result.exitStatus);
    EXPECT_THAT(result.err, AllOf(StartsWith("marrowfin-sim: "), HasSubstr(text)));
    EXPECT_EQ("", result.out);
    EXPECT_FALSE(std::filesystem::exists(Trace()));
  }

  std::string Trace() const { return directory.File("run.trace"); }

  TempDir directory;
};

TEST_F(CommandTest, APassedRunReportsStatisticsThenTheVerdictAndSucceeds) {
  const CommandResult result = RunSmall({});
  EXPECT_EQ(0, result.exitStatus);
  EXPECT_EQ("", result.err);
  EXPECT_THAT(result.out, StartsWith("Settings:\n-program \"reduce\"\n"));
  EXPECT_THAT(result.out, EndsWith("STATISTICS DONE\nRegression PASSED\n"));
}

TEST_F(CommandTest, StatisticsAgreeWithTheTrace) {
  const CommandResult result = RunSmall({"-outFilename", Trace(), "-placement", "random"});
  ASSERT_EQ(0, result.exitStatus);
  EXPECT_THAT(result.out, StartsWith("Opened tracefile  " + Trace() + "\n"));
  const std::vector<size_t> counts = RecordCounts(ReadFile(Trace()));
  EXPECT_EQ(std::to_string(counts[3]), StatisticIn(result.out, "array/fires"));
  EXPECT_EQ(std::to_string(counts[4]), StatisticIn(result.out, "array/messages"));
  size_t transmissions = 0;
  for (const char* name : {"c0_0", "c1_0", "c2_0", "c3_0", "c0_1", "c1_1", "c2_1", "c3_1", "c0_2",
                           "c1_2", "c2_2", "c3_2", "c0_3", "c1_3", "c2_3", "c3_3"}) {
    const std::string statistic = "array/" + std::string(name) + "/switch/transmissions";
    transmissions += std::stoul(StatisticIn(result.out, statistic));
  }
  EXPECT_EQ(counts[2], transmissions);
}

TEST_F(CommandTest, EveryClusterReportsItsUtilisationAndStalls) {
  const CommandResult result =
      RunSmall({"-array/clusters", "1", "-array/domains", "1", "-array/pes", "2"});
  EXPECT_EQ(StatisticIn(result.out, "array/fires"), StatisticIn(result.out, "array/c0_0/fires"));
  EXPECT_EQ(StatisticIn(result.out, "array/utilisation"),
            StatisticIn(result.out, "array/c0_0/utilisation"));
  EXPECT_EQ(StatisticIn(result.out, "array/stallOperand"),
            StatisticIn(result.out, "array/c0_0/stallOperand"));
  EXPECT_THAT(StatisticIn(result.out, "array/messageLatency"), ContainsRegex("[0-9]+\\["));
}

TEST_F(CommandTest, CyclesOfAProcessingElementAreFiresStallsOrIdleAndNeverMore) {
  const CommandResult result =
      RunSmall({"-array/clusters", "1", "-array/domains", "1", "-array/pes", "2",
                "-array/peStatistics", "true", "-array/outputQueue", "1"});
  const unsigned long cycles = std::stoul(StatisticIn(result.out, "array/cycles"));
  for (const char* pe : {"pe0_0", "pe1_0", "pe0_1", "pe1_1"}) {
    unsigned long sum = 0;
    for (const char* name : {"fires", "stallOperand", "stallOutput", "stallWindow"}) {
      sum += std::stoul(StatisticIn(result.out, "array/c0_0/d0_0/" + std::string(pe) + "/" + name));
    }
    EXPECT_LE(sum, cycles) << pe;
    EXPECT_GT(sum, 0U) << pe;
  }
}

TEST_F(CommandTest, ADomainReportsTheUseOfItsLinkToTheSwitch) {
  const CommandResult result = RunSmall({"-array/clusters", "1", "-placement", "random"});
  const double cycles = std::stod(StatisticIn(result.out, "array/cycles"));
  double all = 0;
  for (const char* domain : {"d0_0", "d1_0", "d0_1", "d1_1"}) {
    const auto of = [&](const char* name) {
      return std::stod(StatisticIn(result.out, "array/c0_0/" + std::string(domain) + "/" + name));
    };
    EXPECT_NEAR(100 * of("messagesUp") / cycles, of("upUse"), 0.01) << domain;
    all += of("upUse");
  }
  EXPECT_GT(all, 0);
}

TEST_F(CommandTest, ProcessingElementsReportOnlyWhenAsked) {
  EXPECT_THAT(RunSmall({}).out, Not(HasSubstr("/pe0_0/")));
  EXPECT_THAT(RunSmall({"-array/peStatistics", "true"}).out,
              HasSubstr("array/c3_3/d1_1/pe3_3/fires = "));
}

TEST_F(CommandTest, TheReportGoesToTheFileThatIsNamed) {
  const std::string report = directory.File("report");
  const CommandResult result = RunSmall({"-statistics/outputFileName", report});
  EXPECT_EQ(0, result.exitStatus);
  EXPECT_THAT(result.out, Not(HasSubstr("STATISTICS")));
  EXPECT_THAT(ReadFile(report), AllOf(StartsWith("STATISTICS:\n"), EndsWith("STATISTICS DONE\n")));
}

TEST_F(CommandTest, TheSameOptionsGiveTheSameTraceByteForByte) {
  for (const char* placement : {"row-major", "blocked", "random", "greedy"}) {
    const std::vector<std::string> words = {
        "-program", "spmv", "-size", "9", "-seed", "3", "-placement", placement, "-outFilename"};
    std::vector<std::string> first = words;
    first.push_back(directory.File("first"));
    std::vector<std::string> second = words;
    second.push_back(directory.File("second"));
    ASSERT_EQ(0, RunSimulator(first).exitStatus);
    ASSERT_EQ(0, RunSimulator(second).exitStatus);
    EXPECT_FALSE(ReadFile(directory.File("first")).empty());
    EXPECT_TRUE(ReadFile(directory.File("first")) == ReadFile(directory.File("second")))
        << placement;
  }
}

TEST_F(CommandTest, AnotherSeedGivesAnotherTrace) {
  ASSERT_EQ(
      0, RunSmall({"-placement", "random", "-seed", "1", "-outFilename", directory.File("first")})
             .exitStatus);
  ASSERT_EQ(
      0, RunSmall({"-placement", "random", "-seed", "2", "-outFilename", directory.File("second")})
             .exitStatus);
  EXPECT_FALSE(ReadFile(directory.File("first")) == ReadFile(directory.File("second")));
}

TEST_F(CommandTest, ALogDoesNotChangeTheTrace) {
  ASSERT_EQ(0, RunSmall({"-outFilename", directory.File("first")}).exitStatus);
  ASSERT_EQ(
      0, RunSmall({"-outFilename", directory.File("second"), "-logFilename", directory.File("log")})
             .exitStatus);
  EXPECT_TRUE(ReadFile(directory.File("first")) == ReadFile(directory.File("second")));
  EXPECT_THAT(ReadFile(directory.File("log")), HasSubstr("\nfire "));
}

TEST_F(CommandTest, WithoutATraceNoneIsOpened) {
  EXPECT_THAT(RunSmall({}).out, Not(HasSubstr("Opened tracefile")));
}

TEST_F(CommandTest, RoundsRunOnNewDataOneAfterTheOther) {
  const CommandResult once = RunSmall({});
  const CommandResult often = RunSmall({"-rounds", "5"});
  EXPECT_EQ(0, often.exitStatus);
  EXPECT_EQ(5 * std::stoul(StatisticIn(once.out, "array/fires")),
            std::stoul(StatisticIn(often.out, "array/fires")));
  EXPECT_GT(std::stoul(StatisticIn(often.out, "array/cycles")),
            4 * std::stoul(StatisticIn(once.out, "array/cycles")));
}

TEST_F(CommandTest, TheGraphOfTheArrayNamesItsUnitsAndJoinsThem) {
  const std::string graph = directory.File("array.dot");
  ASSERT_EQ(0, RunSmall({"-array/clusters", "2", "-dotFilename", graph}).exitStatus);
  const std::string text = ReadFile(graph);
  EXPECT_THAT(text, StartsWith("digraph \"cluster_array\" {\n"));
  EXPECT_THAT(text, HasSubstr("\"array/c0_1/d1_0/pe3_2\" [shape=box,label=\"pe3_2\"];\n"));
  EXPECT_THAT(text, HasSubstr("\"array/c0_1/d1_0/pe3_2\" -> \"array/c0_1/d1_0\";\n"));
  EXPECT_THAT(text, HasSubstr("\"array/c0_1/d1_0\" -> \"array/c0_1/switch\";\n"));
  EXPECT_THAT(text, HasSubstr("\"array/c0_1/switch\" -> \"array/c0_0/switch\";\n"));
  EXPECT_THAT(text, Not(HasSubstr("\"array/c0_1/switch\" -> \"array/c1_0/switch\";\n")));
}

TEST_F(CommandTest, HelpDescribesEveryOptionAndSucceeds) {
  const CommandResult result = RunSimulator({"--help"});
  EXPECT_EQ(0, result.exitStatus);
  EXPECT_THAT(result.out, HasSubstr("--options FILE"));
  EXPECT_THAT(result.out, HasSubstr("Usage:  \n-program:  what runs: matmul, spmv, fft, sort"));
  EXPECT_THAT(result.out, HasSubstr("\n-array/clusters:  clusters along each axis"));
  EXPECT_THAT(result.out, HasSubstr("\n-outFilename:  file for the trace; empty for none\n"));
  EXPECT_THAT(result.out, HasSubstr("\nSettings:\n-program \"stencil\"\n"));
  EXPECT_THAT(result.out, HasSubstr("\n-array/clusters 4\n"));
}

TEST_F(CommandTest, CompletionIsForBashAndZshAndNoOtherShell) {
  for (const char* const shell : {"bash", "zsh"}) {
    const CommandResult result = RunSimulator({"--completion", shell});
    EXPECT_EQ(0, result.exitStatus) << shell;
    EXPECT_THAT(result.out, HasSubstr("marrowfin-sim")) << shell;
  }
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"--completion"}, {"--completion", "fish"}}) {
    const CommandResult result = RunSimulator(words);
    EXPECT_EQ(2, result.exitStatus);
    EXPECT_EQ("", result.out);
    EXPECT_THAT(result.err, HasSubstr("--completion wants the name of a shell, bash or zsh"));
  }
}

TEST_F(CommandTest, VersionNamesTheProgramAndSucceeds) {
  const CommandResult result = RunSimulator({"--version"});
  EXPECT_EQ(0, result.exitStatus);
  EXPECT_THAT(result.out, ContainsRegex("^marrowfin-sim [0-9]+\\.[0-9]+\\.[0-9]+\n$"));
}

TEST_F(CommandTest, SettingsPrintsWhatOptionsAndFilesHaveSetAndRunsNothing) {
  const std::string file = directory.File("options");
  WriteFile(file, "-size 5\n\n  -array/.*Latency\t3");
  const CommandResult result =
      RunSimulator({"--settings", "--options", file, "-threads", "7", "-outFilename", Trace()});
  EXPECT_EQ(0, result.exitStatus);
  EXPECT_THAT(result.out, HasSubstr("-size 5\n"));
  EXPECT_THAT(result.out, HasSubstr("-threads 7\n"));
  EXPECT_THAT(result.out, HasSubstr("-array/fireLatency 3\n"));
  EXPECT_THAT(result.out, HasSubstr("-array/memoryLatency 3\n"));
  EXPECT_FALSE(std::filesystem::exists(Trace()));
}

TEST_F(CommandTest, SettingsCanBeReadBack) {
  const std::string file = directory.File("options");
  const CommandResult printed = RunSimulator(
      {"--settings", "-seed", "18446744073709551615", "-array/window", "7", "-outFilename",
       "a name with blanks", "-logFilename", "a\"quoted\"name", "-array/peStatistics", "true"});
  EXPECT_THAT(printed.out, AllOf(HasSubstr("\n-seed 18446744073709551615\n"),
                                 HasSubstr("\n-outFilename \"a name with blanks\"\n"),
                                 HasSubstr("\n-dotFilename \"\"\n")));
  WriteFile(file, printed.out);
  const CommandResult readBack = RunSimulator({"--settings", "--options", file});
  EXPECT_EQ("", readBack.err);
  EXPECT_EQ(printed.out, readBack.out);
}

TEST_F(CommandTest, ARunPrintsTheSettingsThatGiveTheSameRun) {
  const std::string file = directory.File("options");
  const CommandResult first = RunSmall({"-placement", "random", "-seed", "7"});
  const size_t begin = first.out.find("Settings:\n") + 10;
  WriteFile(file, first.out.substr(begin, first.out.find("STATISTICS:") - begin));
  EXPECT_EQ(first.out, RunSimulator({"--options", file}).out);
}

TEST_F(CommandTest, NumbersAreDecimalWhateverTheyBeginWith) {
  const std::string file = directory.File("options");
  WriteFile(file, "-threads 0010\n");
  const CommandResult result =
      RunSimulator({"--settings", "--options", file, "-size", "0100", "-seed", "000", "-rounds",
                    "08", "-outFilename", "007"});
  EXPECT_EQ("", result.err);
  EXPECT_THAT(result.out, AllOf(HasSubstr("\n-threads 10\n"), HasSubstr("\n-size 100\n"),
                                HasSubstr("\n-seed 0\n"), HasSubstr("\n-rounds 8\n")));
  EXPECT_THAT(result.out, HasSubstr("\n-outFilename \"007\"\n")) << "a name is no number";
  for (const char* word : {"0x10", "+5", " 5", "5 ", "1e3"}) {
    ExpectComplaint({"-size", word}, "`" + std::string(word) + "' for -size is no whole number");
  }
}

TEST_F(CommandTest, AnOptionFileNeedNotBeWritable) {
  EXPECT_THAT(RunSimulator({"--settings", "--options", "/proc/version"}).err,
              HasSubstr("/proc/version:1: "));
  const CommandResult piped = RunCommand(
      {"bash", "-c", std::string(MARROWFIN_SIM) + " --settings --options <(echo -size 5)"});
  EXPECT_THAT(piped.out, HasSubstr("\n-size 5\n"));
}

TEST_F(CommandTest, AWordThatIsNoPatternIsAnError) {
  ExpectComplaint({"-a[", "1"}, "`-a[' is no pattern: ");
  ExpectComplaint({"-a\\(", "1"}, "`-a\\(' is no pattern: ");
  const std::string file = directory.File("options");
  WriteFile(file, "-size 5\n-a[ 1\n");
  ExpectComplaint({"--options", file}, file + ":2: `-a[' is no pattern: ");
}

TEST_F(CommandTest, OptionsBehindAFileOverrideIt) {
  const std::string file = directory.File("options");
  WriteFile(file, "-size 5\n");
  EXPECT_THAT(RunSimulator({"--settings", "--options=" + file, "-size", "6"}).out,
              HasSubstr("-size 6\n"));
}

TEST_F(CommandTest, OneWordSetsEveryOptionThatItsPatternCovers) {
  EXPECT_THAT(RunSimulator({"--settings", "-.*outFilename", "x", "-array/.*Queue", "9"}).out,
              AllOf(HasSubstr("-outFilename \"x\"\n"), HasSubstr("-array/switchLinkQueue 9\n"),
                    HasSubstr("-array/outputQueue 9\n")));
}

TEST_F(CommandTest, UnknownOptionsAreErrors) {
  ExpectComplaint({"-colour", "3"}, "there is no option `-colour'");
  ExpectComplaint({"--colour"}, "there is no option `--colour'");
  ExpectComplaint({"stencil", "3"}, "`stencil' is no option");
  ExpectComplaint({"-size", "3", "--help", "x"}, "`--help' must stand in front of the options");
  ExpectComplaint({"-cmdLineFile", "x"}, "--options FILE reads a file of options");
}

TEST_F(CommandTest, AMissingValueIsAnError) {
  const CommandResult result = RunSimulator({"-size"});
  EXPECT_EQ(NOT_BEGUN, result.exitStatus);
  EXPECT_EQ("marrowfin-sim: -size wants a value\n", result.err);
  EXPECT_EQ("marrowfin-sim: --options wants the name of a file\n", RunSimulator({"--options"}).err);
}

TEST_F(CommandTest, MalformedValuesAreErrors) {
  ExpectComplaint({"-size", "many"}, "`many' for -size is no whole number below 2^32");
  ExpectComplaint({"-size", "12x"}, "`12x' for -size");
  ExpectComplaint({"-size", "-1"}, "`-1' for -size");
  ExpectComplaint({"-size", "4294967296"}, "`4294967296' for -size");
  ExpectComplaint({"-size", ""}, "`' for -size");
  ExpectComplaint({"-seed", "18446744073709551616"}, "below 2^64");
  ExpectComplaint({"-array/peStatistics", "1"}, "is neither true nor false");
}

TEST_F(CommandTest, ZeroCountsAreErrors) {
  ExpectComplaint({"-array/clusters", "0"}, "-array/clusters must be from 1");
  ExpectComplaint({"-array/domains", "0"}, "-array/domains must be from 1");
  ExpectComplaint({"-array/pes", "0"}, "-array/pes must be from 1");
  ExpectComplaint({"-array/peLinkQueue", "0"}, "-array/peLinkQueue must be from 1");
  ExpectComplaint({"-array/memoryLatency", "0"}, "-array/memoryLatency must be from 1");
  ExpectComplaint({"-array/window", "1"}, "-array/window must be from 2");
  ExpectComplaint({"-size", "0"}, "must be at least 1");
  ExpectComplaint({"-threads", "0"}, "must be at least 1");
  ExpectComplaint({"-rounds", "0"}, "must be at least 1");
  ExpectComplaint({"-sweeps", "0"}, "must be at least 1");
  ExpectComplaint({"-threads", "5000"}, "-threads must be at most 4096");
  ExpectComplaint({"-threads", "4096", "-array/window", "1048576"},
                  "no operand buffer would do for these -threads and this -array/window");
  ExpectComplaint({"-operationsPerPe", "5"}, "-operationsPerPe must be at most 4 for this buffer");
  ExpectComplaint({"-operationsPerPe", "5"}, ": -array/operandBuffer 80 would do\n");
}

TEST_F(CommandTest, UnknownNamesAreErrorsThatListTheKnownOnes) {
  ExpectComplaint({"-program", "game"}, "there is no program `game'; there are matmul, spmv");
  ExpectComplaint({"-placement", "good"}, "there are row-major, blocked, random, greedy");
}

TEST_F(CommandTest, AnArrayThatIsTooLargeIsAnError) {
  ExpectComplaint({"-array/clusters", "100", "-array/domains", "100", "-array/pes", "100"},
                  "1000000 processing elements along an axis; 1024 are possible");
  ExpectComplaint({"-array/clusters", "4000000000"}, "-array/clusters must be from 1 to 1024");
}

TEST_F(CommandTest, AProgramThatDoesNotFitIsAnErrorHoweverLargeItIs) {
  for (const char* program : {"matmul", "spmv", "fft", "sort", "stencil", "reduce"}) {
    ExpectComplaint({"-program", program, "-size", "4294967295"}, "too large for the array");
  }
  ExpectComplaint({"-program", "stencil", "-size", "40"}, "operations; each of the 1024");
  ExpectComplaint({"-program", "reduce", "-array/memoryWords", "10"},
                  "marrowfin-sim: the program needs 76 words of a cluster's memory, which has 10");
  ExpectComplaint({"-program", "reduce", "-array/operandBuffer", "3"},
                  "holds 0 of them for this number of threads: -array/operandBuffer 16 would do");
  ExpectComplaint({"-program", "spmv", "-nonzeros", "4294967295"}, "too large for the array");
}

// The options that a complaint names, and their values.
std::vector<std::string> RemedyIn(const std::string& complaint) {
  std::smatch found;
  std::vector<std::string> words;
  if (std::regex_search(complaint, found, std::regex(": ((-[A-Za-z/]+ [0-9]+ )+)would do\n"))) {
    std::istringstream remedy(found[1]);
    for (std::string word; remedy >> word;) {
      words.push_back(word);
    }
  }
  return words;
}

TEST_F(CommandTest, AProgramThatDoesNotFitRunsWithTheValuesThatTheComplaintNames) {
  const std::vector<std::vector<std::string>> runs = {
      {"-program", "matmul", "-size", "32"},
      {"-program", "matmul", "-size", "8", "-placement", "random", "-threads", "64"},
      {"-program", "spmv", "-size", "500", "-threads", "1", "-array/memoryWords", "50",
       "-array/operandBuffer", "16"},
      {"-program", "fft", "-size", "128"},
      {"-program", "sort", "-size", "128", "-placement", "blocked"},
      {"-program", "stencil", "-size", "24", "-sweeps", "1"},
      {"-program", "stencil", "-size", "12", "-sweeps", "1", "-array/clusters", "1"},
      {"-program", "reduce", "-size", "3000", "-placement", "row-major"},
      {"-program", "reduce", "-size", "100", "-array/memoryWords", "5"}};
  for (std::vector<std::string> words : runs) {
    const CommandResult refused = RunSimulator(words);
    EXPECT_EQ(NOT_BEGUN, refused.exitStatus);
    const std::vector<std::string> remedy = RemedyIn(refused.err);
    ASSERT_THAT(remedy, Not(IsEmpty())) << refused.err;
    words.insert(words.end(), remedy.begin(), remedy.end());
    EXPECT_EQ(0, RunSimulator(words).exitStatus) << refused.err;
    // One less is not enough.
    words.back() = std::to_string(std::stoul(words.back()) - 1);
    EXPECT_EQ(NOT_BEGUN, RunSimulator(words).exitStatus) << refused.err;
  }
}

TEST_F(CommandTest, AProgramThatTakesTooLongFails) {
  const CommandResult result = RunSmall({"-mostCycles", "5"});
  EXPECT_EQ(FAILED, result.exitStatus);
  EXPECT_THAT(result.out, HasSubstr("STATISTICS DONE\nRegression FAILED: the program did not end "
                                    "within 5 cycles\n"));
}

TEST_F(CommandTest, OptionFilesAreCheckedLineByLine) {
  const std::string file = directory.File("options");
  const auto expect = [&](const std::string& text, const std::string& complaint) {
    WriteFile(file, text);
    ExpectComplaint({"--options", file}, file + complaint);
  };
  expect("-size\n", ":1: an option and a value are wanted");
  expect("\n-size\n", ":2: an option and a value are wanted");
  expect("-size 5 -threads 1\n", ":1: `-threads 1' behind the value is left over");
  expect("-logFilename \"a\" -outFilename \"b\"\n", ":1: `-outFilename \"b\"' behind the value");
  expect("-logFilename \"a\n", ":1: a quotation mark is not closed");
  expect("-size 5\n-colour 3\n", ":2: there is no option `-colour'");
  expect("-size five\n", ":1: `five' for -size");
  expect(std::string(1 << 20, '\n') + "-size 5\n", ": too long for a file of options");
  expect(std::string("-size\0 5\n", 9), ": no file of text");
  ExpectComplaint({"--options", directory.Path()}, directory.Path() + ": Is a directory");
}

TEST_F(CommandTest, AMissingOptionFileIsAnErrorAndIsNotMade) {
  const std::string file = directory.File("missing");
  ExpectComplaint({"--options", file}, file + ": No such file or directory");
  EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(CommandTest, FilesThatCannotBeWrittenAreErrorsBeforeAnythingRuns) {
  const std::string nowhere = directory.File("missing/file");
  ExpectComplaint({"-logFilename", nowhere}, nowhere + ": No such file or directory");
  ExpectComplaint({"-dotFilename", nowhere}, nowhere + ": No such file or directory");
  ExpectComplaint({"-statistics/outputFileName", nowhere}, nowhere + ": No such file");
  ExpectComplaint({"-logFilename", directory.Path()}, directory.Path() + ": Is a directory");
  const CommandResult result = RunSmall({"-outFilename", nowhere});
  EXPECT_EQ(NOT_BEGUN, result.exitStatus);
  EXPECT_EQ("marrowfin-sim: " + nowhere + ": No such file or directory\n", result.err);
}

TEST_F(CommandTest, ATraceIsKeptWhenAnErrorIsFoundBeforeTheRun) {
  WriteFile(Trace(), "precious");
  EXPECT_EQ(NOT_BEGUN, RunSmall({"-outFilename", Trace(), "-size", "0"}).exitStatus);
  EXPECT_EQ("precious", ReadFile(Trace()));
}

TEST_F(CommandTest, AFaultOfOneOutputLeavesTheOthersAsTheyWere) {
  const std::string nowhere = directory.File("missing/file");
  const std::string log = directory.File("log");
  const std::string graph = directory.File("graph");
  WriteFile(log, "precious");
  const CommandResult result =
      RunSmall({"-logFilename", log, "-dotFilename", graph, "-outFilename", nowhere});
  EXPECT_EQ(NOT_BEGUN, result.exitStatus);
  EXPECT_EQ("precious", ReadFile(log));
  EXPECT_FALSE(std::filesystem::exists(graph));
}

TEST_F(CommandTest, WhatAnOutputHeldBeforeIsGoneHoweverLongItWas) {
  const std::vector<std::string> options = {"-logFilename", directory.File("log"), "-outFilename",
                                            Trace()};
  RunSmall(options);
  const std::string trace = ReadFile(Trace());
  const std::string log = ReadFile(directory.File("log"));
  for (const std::string& name : {Trace(), directory.File("log")}) {
    WriteFile(name, std::string(2 * (trace.size() + log.size()), 'x'));
  }
  RunSmall(options);
  EXPECT_EQ(trace, ReadFile(Trace()));
  EXPECT_EQ(log, ReadFile(directory.File("log")));
}

TEST_F(CommandTest, AnOutputThatWasMadeBeforeAnotherCouldNotBeOpenedIsGoneAgain) {
  // A socket may be written, as far as its permissions say, but not be opened.
  struct sockaddr_un address = {AF_UNIX, ""};
  strcpy(address.sun_path, directory.File("log").c_str());
  const int descriptor = socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_EQ(0, bind(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof(address)));
  const CommandResult result = RunSmall({"-dotFilename", directory.File("graph"), "-logFilename",
                                         directory.File("log"), "-outFilename", Trace()});
  close(descriptor);
  EXPECT_EQ(NOT_BEGUN, result.exitStatus);
  EXPECT_EQ("marrowfin-sim: " + directory.File("log") + ": No such device or address\n",
            result.err);
  EXPECT_FALSE(std::filesystem::exists(directory.File("graph")));
  EXPECT_FALSE(std::filesystem::exists(Trace()));
}

class SameFileTest : public CommandTest {
 protected:
  // Runs in the directory with words that name one file twice: nothing of it may change.
  void ExpectRefusal(const std::string& words, const std::string& text) const {
    const auto before = Contents();
    const CommandResult result =
        RunCommand({"bash", "-c", "cd " + directory.Path() + " && " + MARROWFIN_SIM + " " + words});
    EXPECT_EQ(NOT_BEGUN, result.exitStatus) << words;
    EXPECT_THAT(result.err, AllOf(StartsWith("marrowfin-sim: "), HasSubstr(text))) << words;
    EXPECT_EQ(before, Contents()) << words;
  }

  // The names in the directory, and what lies behind them.
  std::vector<std::string> Contents() const {
    std::vector<std::string> contents;
    for (const auto& entry : std::filesystem::directory_iterator(directory.Path())) {
      contents.push_back(entry.path().string() +
                         (entry.is_regular_file() ? ": " + ReadFile(entry.path()) : ""));
    }
    std::sort(contents.begin(), contents.end());
    return contents;
  }
};

TEST_F(SameFileTest, NoTwoOutputsCanBeOneFileHoweverItIsNamed) {
  std::filesystem::create_directory(directory.File("folder"));
  std::filesystem::create_symlink("folder", directory.File("other"));
  std::filesystem::create_symlink("q", directory.File("link"));
  std::filesystem::create_symlink("../q", directory.File("folder/back"));
  const std::string text = "cannot go to the same file";
  for (const std::string name : {"q", "./q", "folder/../q", "link", "folder/back", "other/back"}) {
    ExpectRefusal("-outFilename q -statistics/outputFileName " + name, text);
    ExpectRefusal("-outFilename " + name + " -logFilename q", text);
    ExpectRefusal("-logFilename " + name + " -dotFilename q", text);
  }
  ExpectRefusal("-outFilename folder/new -logFilename other/new", text);
  // And when it is there.
  WriteFile(directory.File("q"), "precious");
  std::filesystem::create_hard_link(directory.File("q"), directory.File("hard"));
  for (const std::string name : {"q", "./q", "link", "folder/back", "hard"}) {
    ExpectRefusal("-outFilename q -statistics/outputFileName " + name, text);
  }
  ExpectRefusal("-.*Filename q", text);
}

TEST_F(SameFileTest, NoOutputCanBeAnOptionFile) {
  WriteFile(directory.File("q"), "-size 5\n");
  std::filesystem::create_symlink("q", directory.File("link"));
  for (const char* option :
       {"-outFilename", "-logFilename", "-dotFilename", "-statistics/outputFileName"}) {
    ExpectRefusal("--options q " + std::string(option) + " link", "the options were read from it");
  }
}

TEST_F(SameFileTest, NoOutputCanBeTheFileThatTheStandardOutputGoesTo) {
  WriteFile(directory.File("out"), "");
  ExpectRefusal("-outFilename out >out", "it is the standard output, where the verdict goes");
  ExpectRefusal("-statistics/outputFileName /dev/stdout | cat; exit ${PIPESTATUS[0]}",
                "it is the standard output");
}

TEST_F(SameFileTest, NoOutputCanBeTheFileThatTheStandardErrorGoesTo) {
  const CommandResult result =
      RunCommand({"bash", "-c",
                  "cd " + directory.Path() + " && " + MARROWFIN_SIM + " -outFilename err 2>err"});
  EXPECT_EQ(NOT_BEGUN, result.exitStatus);
  EXPECT_EQ("marrowfin-sim: -outFilename cannot go to err: it is the standard error\n",
            ReadFile(directory.File("err")));
}

TEST_F(SameFileTest, OutputsMayShareADevice) {
  EXPECT_EQ(0, RunSmall({"-outFilename", "/dev/null", "-logFilename", "/dev/null"}).exitStatus);
}

TEST_F(SameFileTest, FilesThatOnlyLookAlikeAreTwo) {
  std::filesystem::create_directory(directory.File("folder"));
  EXPECT_EQ(
      0, RunSmall({"-outFilename", directory.File("q"), "-logFilename", directory.File("folder/q")})
             .exitStatus);
  EXPECT_FALSE(ReadFile(directory.File("q")) == ReadFile(directory.File("folder/q")));
}

TEST_F(CommandTest, AReportThatCannotBeWrittenFails) {
  const CommandResult full = RunSmall({"-statistics/outputFileName", "/dev/full"});
  EXPECT_EQ(FAILED, full.exitStatus);
  EXPECT_THAT(full.out, EndsWith("Regression FAILED: /dev/full: the report could not be written\n"
                                 "\n"));
  EXPECT_EQ("marrowfin-sim: /dev/full: the report could not be written\n", full.err);
  const CommandResult help =
      RunCommand({"sh", "-c", std::string(MARROWFIN_SIM) + " --help >/dev/full"});
  EXPECT_EQ(NOT_BEGUN, help.exitStatus);
  const CommandResult run =
      RunCommand({"sh", "-c", std::string(MARROWFIN_SIM) + " -size 3 >/dev/full"});
  EXPECT_EQ(FAILED, run.exitStatus);
  EXPECT_THAT(run.err, HasSubstr("the report could not be written"));
  const CommandResult verdict =
      RunCommand({"sh", "-c",
                  std::string(MARROWFIN_SIM) + " -size 3 -statistics/outputFileName " +
                      directory.File("report") + " >/dev/full"});
  EXPECT_EQ(FAILED, verdict.exitStatus);
  EXPECT_EQ("marrowfin-sim: cannot write to the standard output\n", verdict.err);
}

TEST_F(CommandTest, AVerdictThatIsCutShortFails) {
  const std::string run = std::string(MARROWFIN_SIM) + " -size 3 >" + directory.File("out");
  ASSERT_EQ(0, RunCommand({"bash", "-c", run}).exitStatus);
  const size_t size = ReadFile(directory.File("out")).size();
  for (const size_t missing : {1, 10}) {
    const std::string limit = "prlimit --fsize=" + std::to_string(size - missing) + " ";
    EXPECT_EQ(FAILED, RunCommand({"bash", "-c", limit + run}).exitStatus);
    EXPECT_EQ(size - missing, ReadFile(directory.File("out")).size());
  }
}

TEST_F(CommandTest, AReaderWhoHasSeenEnoughIsNotComplainedTo) {
  for (const std::string words : {"-program reduce", "--help", "--settings"}) {
    const CommandResult result =
        RunCommand({"bash", "-c",
                    "(sleep 0.1; " + std::string(MARROWFIN_SIM) + " " + words + "; echo $? >" +
                        directory.File("status") + ") | true"});
    EXPECT_EQ("", result.err) << words;
    EXPECT_NE("0\n", ReadFile(directory.File("status"))) << words;
  }
}

// AddressSanitizer takes more room than there is memory, and ends the program itself where it gets
// no more.
#ifndef __SANITIZE_ADDRESS__
TEST_F(CommandTest, AnArrayThatTheMemoryDoesNotHoldIsAnErrorBeforeAnythingRuns) {
  WriteFile(Trace(), "precious");
  const CommandResult result = RunCommand(
      {"bash", "-c",
       "ulimit -v 200000; " + std::string(MARROWFIN_SIM) +
           " -array/clusters 16 -array/domains 16 -array/pes 4 -outFilename " + Trace()});
  EXPECT_EQ(NO_MEMORY, result.exitStatus);
  EXPECT_EQ(withoutMemory, result.err);
  EXPECT_EQ("precious", ReadFile(Trace()));
}
#endif

// What was printed before stays, and a run that began has a verdict.
TEST_F(CommandTest, MemoryThatRunsOutAnywhereIsAnErrorAndNoCrash) {
  std::vector<std::string> words = SmallRun();
  words.insert(words.begin(), MARROWFIN_SIM);
  words.insert(words.end(), {"-outFilename", Trace()});
  int failed = 0;
  const auto check = [&](const CommandResult& result, const std::string& what) {
    SCOPED_TRACE(what);
    EXPECT_EQ(0, result.signal);
    // The parser of the common library ends the program itself where it has no memory for a
    // pattern, and takes one that it cannot try for one that matches nothing.
    if (result.exitStatus == 0 || result.err.find("Memory exhausted") != std::string::npos ||
        result.err.find("there is no option") != std::string::npos) {
      return;
    }
    ++failed;
    EXPECT_EQ(NO_MEMORY, result.exitStatus);
    EXPECT_EQ(withoutMemory, result.err);
    if (result.out.find("Settings:") != std::string::npos) {
      EXPECT_THAT(result.out, EndsWith("Regression FAILED: there is not enough memory\n\n"));
    }
  };
  RunWithScarceMemory(words, {}, 25, check);
  EXPECT_TRUE(!MEMORY_CAN_BE_SCARCE || failed > 15) << failed;
}

TEST_F(CommandTest, AGraphThatCannotBeWrittenFailsTheRun) {
  const CommandResult result = RunSmall({"-dotFilename", "/dev/full"});
  EXPECT_EQ(FAILED, result.exitStatus);
  EXPECT_EQ("marrowfin-sim: /dev/full: No space left on device\n", result.err);
  EXPECT_THAT(result.out, HasSubstr("STATISTICS DONE\nRegression FAILED: /dev/full: No space"));
}

TEST_F(CommandTest, NothingIsSaidOfTheProgressWhereStandardErrorIsNoTerminal) {
  EXPECT_EQ("", RunSimulator({"-size", "6", "-rounds", "20"}).err);
}

// What a run that nobody could wait for writes to a terminal until `text` matches `pattern`, and
// then until it has ended because of an interrupt.
std::string OnATerminal(const std::string& pattern) {
  int terminal;
  const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
  if (child == 0) {
    execl(MARROWFIN_SIM, MARROWFIN_SIM, "-rounds", "1000000", static_cast<char*>(nullptr));
    _exit(127);
  }
  std::string text;
  char buffer[4096];
  bool isInterrupted = false;
  // Reading from a terminal whose last writer is gone is an error, and no end of the file.
  for (ssize_t got; (got = read(terminal, buffer, sizeof(buffer))) > 0;) {
    text.append(buffer, static_cast<size_t>(got));
    if (!isInterrupted && std::regex_search(text, std::regex(pattern))) {
      isInterrupted = true;
      kill(child, SIGINT);
    }
  }
  close(terminal);
  waitpid(child, nullptr, 0);
  return text;
}

TEST_F(CommandTest, ATerminalShowsTheProgressAndItsShare) {
  const std::string text = OnATerminal("\r[0-9]+ cycles, [0-9]+ events, [0-9]+ events/s, [0-9]+ %");
  // The line is gone before the report begins.
  EXPECT_THAT(text, HasSubstr("\r\033[KSTATISTICS:\r\n"));
  EXPECT_THAT(text, EndsWith("Regression FAILED: SIGINT\r\n\r\n"));
}

}  // namespace marrowfin::sim::testing
