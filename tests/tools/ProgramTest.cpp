// The program as its users run it.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <map>
#include <sstream>
#include <thread>

#include "tests/support/Command.h"
#include "tests/support/Files.h"
#include "tests/tools/RunningProgram.h"
#include "tools/program/Subcommands.h"

namespace marrowfin {
namespace {

using ::testing::AllOf;
using testing::CommandResult;
using ::testing::ContainsRegex;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using testing::RunCommand;
using ::testing::StartsWith;

constexpr char fire[] = R"({"proc":"BRISC","sx":1,"sy":2,"timestamp":10,"type":"WRITE_FLUSH"})";

std::string InShell(const std::string& redirection) { return "exec \"$0\" \"$@\" " + redirection; }

class ProgramTest : public ::testing::Test {
 protected:
  std::vector<std::string> ImportWords(const std::string& input) const {
    return {MARROWFIN_TRACE,          "import", "--format", "tt-npe", input, "-o",
            folder.File("out.trace"), "--force"};
  }

  // The program under a shell that does `redirection`.
  CommandResult RunInShell(const std::string& redirection, const std::string& input) const {
    std::vector<std::string> words = {"sh", "-c", InShell(redirection)};
    for (const std::string& word : ImportWords(input)) {
      words.push_back(word);
    }
    return RunCommand(words);
  }

  std::vector<std::string> FolderContents() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.Path())) {
      names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  std::string CaptureOf(const std::string& json) const {
    testing::WriteFile(folder.File("in.json"), json);
    return folder.File("in.json");
  }

  testing::TempDir folder;
};

TEST_F(ProgramTest, TheVersionIsThatOfTheProject) {
  const CommandResult result = RunCommand({MARROWFIN_TRACE, "--version"});
  EXPECT_EQ(0, result.exitStatus);
  EXPECT_EQ("marrowfin-trace " MARROWFIN_VERSION "\n", result.out);
  EXPECT_EQ("", result.err);
}

TEST_F(ProgramTest, HelpListsEverySubcommandExamplesAndExitStatuses) {
  const CommandResult result = RunCommand({MARROWFIN_TRACE, "--help"});
  EXPECT_EQ(0, result.exitStatus);
  for (const Subcommand* subcommand : Subcommands()) {
    EXPECT_THAT(result.out, HasSubstr(subcommand->summary));
  }
  EXPECT_THAT(result.out, HasSubstr("Examples:\n  marrowfin-trace "));
  EXPECT_THAT(result.out, HasSubstr("Exit status:\n  0  all went well\n"));
}

// The lines from "Examples:" to the next empty line.
std::vector<std::string> ExamplesIn(const std::string& help) {
  std::istringstream lines(help);
  std::string line;
  while (std::getline(lines, line) && line != "Examples:") {
  }
  std::vector<std::string> examples;
  while (std::getline(lines, line) && !line.empty()) {
    examples.push_back(line);
  }
  return examples;
}

TEST_F(ProgramTest, ExamplesOfTheHelpAreCommandsUpToAnEmptyLine) {
  std::vector<std::vector<std::string>> pages;
  for (const Subcommand* subcommand : Subcommands()) {
    pages.push_back({MARROWFIN_TRACE, subcommand->name, "--help"});
  }
  for (const Subcommand* kind : PlotKinds()) {
    pages.push_back({MARROWFIN_TRACE, "plot", kind->name, "--help"});
  }
  for (const std::vector<std::string>& page : pages) {
    const std::vector<std::string> examples = ExamplesIn(RunCommand(page).out);
    EXPECT_THAT(examples, Not(IsEmpty())) << page[1];
    EXPECT_THAT(examples,
                Each(AllOf(StartsWith("  "), HasSubstr("marrowfin-trace " + page[1] + " "))));
  }
}

TEST_F(ProgramTest, TheHelpOfEverySubcommandSaysThatStatus2IsARefusedCommandLine) {
  for (const Subcommand* subcommand : Subcommands()) {
    std::string help = RunCommand({MARROWFIN_TRACE, subcommand->name, "--help"}).out;
    std::replace(help.begin(), help.end(), '\n', ' ');
    EXPECT_THAT(help, ContainsRegex("Exit status: 0 .*, 2 command line (or SQL )?refused[,.]"))
        << subcommand->name;
  }
}

TEST_F(ProgramTest, EverySubcommandHasHelpWithExamples) {
  for (const Subcommand* subcommand : Subcommands()) {
    const CommandResult result = RunCommand({MARROWFIN_TRACE, subcommand->name, "--help"});
    EXPECT_EQ(0, result.exitStatus);
    EXPECT_THAT(result.out, StartsWith(subcommand->summary));
    EXPECT_THAT(result.out,
                HasSubstr(std::string("Examples:\n  marrowfin-trace ") + subcommand->name));
    EXPECT_THAT(result.out, HasSubstr("Exit status: 0 "));
  }
}

TEST_F(ProgramTest, EveryKindOfPlotIsListedAndHasHelpOfItsOwn) {
  const CommandResult list = RunCommand({MARROWFIN_TRACE, "plot", "--help"});
  for (const Subcommand* kind : PlotKinds()) {
    EXPECT_THAT(list.out, HasSubstr(kind->summary));
    const CommandResult result = RunCommand({MARROWFIN_TRACE, "plot", kind->name, "--help"});
    EXPECT_EQ(0, result.exitStatus);
    EXPECT_THAT(result.out, StartsWith(kind->summary));
    EXPECT_THAT(result.out,
                HasSubstr(std::string("Examples:\n  marrowfin-trace plot ") + kind->name));
  }
  EXPECT_THAT(list.out, Not(HasSubstr("--scale-max")));
}

TEST_F(ProgramTest, AnImportPrintsItsAccountOnStandardOutputOnly) {
  const CommandResult result = RunCommand(ImportWords(CaptureOf(std::string("[") + fire + "]")));
  EXPECT_EQ(0, result.exitStatus);
  EXPECT_THAT(result.out, StartsWith("events read                                            1\n"));
  EXPECT_EQ("", result.err);
  EXPECT_THAT(FolderContents(),
              ElementsAre("in.json", "out.trace", "out.trace.about", "out.trace.notes"));
}

TEST_F(ProgramTest, ARefusedInputEndsWithStatus1AndALineOnStandardError) {
  const CommandResult result = RunCommand(ImportWords(CaptureOf("[")));
  EXPECT_EQ(1, result.exitStatus);
  EXPECT_EQ("", result.out);
  EXPECT_THAT(result.err, StartsWith("marrowfin-trace: " + folder.File("in.json") + ": byte 1: "));
  EXPECT_THAT(FolderContents(), ElementsAre("in.json"));
}

TEST_F(ProgramTest, ARefusedCommandLineEndsWithStatus2) {
  const CommandResult result = RunCommand({MARROWFIN_TRACE, "import", "--format", "vcd"});
  EXPECT_EQ(2, result.exitStatus);
  EXPECT_EQ("", result.out);
  EXPECT_THAT(result.err, HasSubstr("vcd"));
}

TEST_F(ProgramTest, ADiskThatFillsUpEndsWithStatus3AndLeavesNothing) {
  std::string json = std::string("[") + fire;
  for (int i = 0; i < 999; ++i) {
    json += std::string(",") + fire;
  }
  // Blocks of 512 bytes: 10,240 bytes of the 28,000 and more.
  const std::vector<std::string> import = ImportWords(CaptureOf(json + "]"));
  std::vector<std::string> words = {"sh", "-c", "ulimit -f 20; exec \"$0\" \"$@\""};
  words.insert(words.end(), import.begin(), import.end());
  const CommandResult result = RunCommand(words);
  EXPECT_EQ(3, result.exitStatus);
  EXPECT_EQ("marrowfin-trace: " + folder.File("out.trace") +
                ": cannot write: File too large\n"
                "  Make room there, or choose another place.\n",
            result.err);
  EXPECT_THAT(FolderContents(), ElementsAre("in.json"));
}

TEST_F(ProgramTest, AnAccountThatCannotBePrintedEndsWithStatus3) {
  const std::string capture = CaptureOf(std::string("[") + fire + "]");
  EXPECT_EQ(3, RunInShell("> /dev/full", capture).exitStatus);
  EXPECT_EQ(3, RunInShell(">&-", capture).exitStatus);
  EXPECT_EQ(3, RunCommand({"sh", "-c", "\"$0\" --help > /dev/full", MARROWFIN_TRACE}).exitStatus);
}

TEST_F(ProgramTest, AReaderThatLeavesEndsTheProgramQuietlyOfTheSignalThatShellsExpect) {
  const std::string capture = CaptureOf(std::string("[") + fire + "]");
  const std::string pipe = folder.File("pipe");
  ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
  // Opened for both directions, the pipe opens at once; its only reader is gone when the program
  // starts.
  const std::string gone = "3<> '" + pipe + "' > '" + pipe + "' 3<&-";
  for (const std::string start : {"", "trap '' PIPE; "}) {
    std::vector<std::string> words = {"sh", "-c", start + InShell(gone)};
    for (const std::string& word : ImportWords(capture)) {
      words.push_back(word);
    }
    const CommandResult result = RunCommand(words);
    if (start.empty()) {
      EXPECT_EQ(SIGPIPE, result.signal);
      EXPECT_EQ("", result.err);
    } else {
      EXPECT_EQ(3, result.exitStatus) << "where the signal is ignored, the write fails";
      EXPECT_THAT(result.err,
                  StartsWith("marrowfin-trace: standard output: cannot write: Broken pipe\n"));
    }
  }
}

TEST_F(ProgramTest, AnOutputWhoseReaderLeavesEndsTheProgramQuietlyToo) {
  const CommandResult result =
      RunCommand({"bash", "-c",
                  "\"$0\" synth -o /dev/stdout --records 100000 | head -c 1 >/dev/null; "
                  "echo ${PIPESTATUS[0]}",
                  MARROWFIN_TRACE});
  EXPECT_EQ("141\n", result.out);
  EXPECT_EQ("", result.err);
}

TEST_F(ProgramTest, AnOutputThatIsStandardOutputIsAloneThere) {
  const std::string capture = CaptureOf(std::string("[") + fire + "]");
  const std::vector<std::string> import = {MARROWFIN_TRACE, "import", "--format", "tt-npe",
                                           "--no-frame",    capture,  "-o",       "/dev/stdout"};
  const CommandResult imported = RunCommand(import);
  EXPECT_EQ(28u, imported.out.size());
  EXPECT_THAT(imported.err, StartsWith("events read "));
  const CommandResult made =
      RunCommand({MARROWFIN_TRACE, "synth", "-o", "/dev/stdout", "--records", "3", "--random"});
  EXPECT_THAT(made.err, StartsWith("/dev/stdout: 3 records"));
  EXPECT_THAT(made.out, ::testing::Not(HasSubstr("records")));
  // A plain file that is appended to keeps what it has.
  const CommandResult appended =
      RunCommand({"sh", "-c",
                  "cd '" + folder.Path() +
                      "'; printf precious >t; \"$0\" synth -o /dev/stdout "
                      "--records 1 >>t; \"$0\" synth -o t --force --records 1 >>t; head -c 8 t",
                  MARROWFIN_TRACE});
  EXPECT_EQ("precious", appended.out);
}

TEST_F(ProgramTest, AMistypedSubcommandGetsTheNearestRightOne) {
  const std::map<std::string, std::string> meant = {
      {"stat", "state"}, {"sate", "state"},    {"satte", "state"}, {"inf", "info"},
      {"infos", "info"}, {"inport", "import"}, {"Index", "index"}, {"snyth", "synth"}};
  for (const auto& [mistyped, right] : meant) {
    const CommandResult result = RunCommand({MARROWFIN_TRACE, mistyped, "t"});
    EXPECT_EQ(2, result.exitStatus);
    EXPECT_EQ("marrowfin-trace: " + mistyped + ": no such subcommand\n  Is " + right + " meant?\n",
              result.err);
  }
  for (const std::string other : {"view", "x", "", "frobnicate"}) {
    const CommandResult result = RunCommand({MARROWFIN_TRACE, other});
    EXPECT_EQ(2, result.exitStatus);
    EXPECT_EQ("marrowfin-trace: " + other +
                  ": no such subcommand\n  marrowfin-trace --help lists them.\n",
              result.err);
  }
}

TEST_F(ProgramTest, NoNameOfAFileIsACommandToATerminal) {
  const std::string name = folder.File(
      "a\033[2Jb\xc2\x9b"
      "31m\xff\r\xc3\xa9");
  const std::vector<std::string> words = {MARROWFIN_TRACE, "info", name};
  RunningProgram program(words, RunningProgram::TO_TERMINAL);
  program.Wait();
  EXPECT_THAT(program.Err(), HasSubstr("/a\\x1b[2Jb\\xc2\\x9b"
                                       "31m\\xff\\x0d\xc3\xa9: cannot open"));
  EXPECT_THAT(program.Err(), ::testing::Not(HasSubstr("\033")));
  EXPECT_THAT(RunCommand(words).err, HasSubstr(name)) << "a file gets the bytes as they are";
}

TEST_F(ProgramTest, NoNameOfAFileFakesALineOrTurnsOneRoundOnATerminal) {
  const std::string turned = "a\nb: nothing wrong\u202e\u2066\u2028\u200f\u061cc";
  const std::string shown =
      "/a\\x0ab: nothing "
      "wrong\\xe2\\x80\\xae\\xe2\\x81\\xa6\\xe2\\x80\\xa8\\xe2\\x80\\x8f\\xd8\\x9cc";
  RunningProgram refused({MARROWFIN_TRACE, "info", folder.File(turned)},
                         RunningProgram::TO_TERMINAL);
  refused.Wait();
  EXPECT_THAT(refused.Err(), HasSubstr(shown + ": cannot open"));
  ASSERT_EQ(0, RunCommand({MARROWFIN_TRACE, "synth", "--records", "9", "-o", folder.File(turned)})
                   .exitStatus);
  for (const char* const subcommand : {"info", "check", "index", "state", "stats"}) {
    const std::string line = std::string("'") + MARROWFIN_TRACE + "' " + subcommand + " \"$NAME\"" +
                             (subcommand == std::string("state") ? " --step 0" : "");
    const CommandResult result = RunCommand({"env", "NAME=" + folder.File(turned), "SHELL=/bin/sh",
                                             "script", "-qec", line, "/dev/null"});
    EXPECT_EQ(0, result.exitStatus) << subcommand;
    EXPECT_THAT(result.out, HasSubstr(shown)) << subcommand;
    EXPECT_THAT(result.out, ::testing::Not(HasSubstr("\nb: nothing wrong"))) << subcommand;
  }
}

TEST_F(ProgramTest, APackedCaptureIsUnpacked) {
  const std::string capture = CaptureOf(std::string("[") + fire + "]");
  ASSERT_EQ(0, RunCommand({"gzip", "-k", capture}).exitStatus);
  ASSERT_EQ(0, RunCommand({"zstd", "-q", capture}).exitStatus);
  ASSERT_EQ(0, RunCommand(ImportWords(capture)).exitStatus);
  const std::string expected = testing::ReadFile(folder.File("out.trace"));
  for (const char* const suffix : {".gz", ".zst"}) {
    std::filesystem::remove(folder.File("out.trace"));
    const CommandResult result = RunCommand(ImportWords(capture + suffix));
    EXPECT_EQ(0, result.exitStatus) << result.err;
    EXPECT_EQ(expected, testing::ReadFile(folder.File("out.trace")));
  }
  const std::string packed = testing::ReadFile(capture + ".gz");
  testing::WriteFile(capture + ".gz", packed.substr(0, packed.size() - 9));
  const CommandResult cut = RunCommand(ImportWords(capture + ".gz"));
  EXPECT_EQ(1, cut.exitStatus);
  EXPECT_THAT(cut.err, StartsWith("marrowfin-trace: " + capture + ".gz: the packed data ends "));
}

// What a terminal shows of a program that ends well.
std::string ShownOnTerminal(RunningProgram& program) {
  EXPECT_EQ(0, program.Wait());
  return program.Err();
}

void Feed(const std::string& pipe, const std::string& json, std::chrono::milliseconds pause) {
  const int fd = open(pipe.c_str(), O_WRONLY);
  ASSERT_EQ(1, write(fd, json.data(), 1));
  std::this_thread::sleep_for(pause);
  ASSERT_EQ(static_cast<ssize_t>(json.size() - 1), write(fd, json.data() + 1, json.size() - 1));
  close(fd);
}

TEST_F(ProgramTest, ALongImportShowsItsProgressOnATerminalAndErasesIt) {
  const std::string pipe = folder.File("pipe");
  ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
  RunningProgram program(ImportWords(pipe), RunningProgram::TO_TERMINAL);
  Feed(pipe, std::string("[") + fire + "]", std::chrono::milliseconds(700));
  const std::string shown = ShownOnTerminal(program);
  EXPECT_THAT(shown, StartsWith("\r\033[Kreading " + pipe + " 0.0 MB, "));
  EXPECT_THAT(shown, ::testing::EndsWith("\r\033[K"));
}

// On a machine with much else to do, an import is not short the first time.
TEST_F(ProgramTest, AShortImportShowsNothingOnATerminal) {
  using Clock = std::chrono::steady_clock;
  const std::string capture = CaptureOf(std::string("[") + fire + "]");
  std::string shown;
  Clock::duration taken = std::chrono::hours(1);
  for (int attempt = 0; attempt < 100 && taken >= std::chrono::milliseconds(500); ++attempt) {
    const Clock::time_point start = Clock::now();
    RunningProgram program(ImportWords(capture), RunningProgram::TO_TERMINAL);
    shown = ShownOnTerminal(program);
    taken = Clock::now() - start;
  }
  ASSERT_LT(taken, std::chrono::milliseconds(500)) << "never short";
  EXPECT_EQ("", shown);
}

TEST_F(ProgramTest, ALongImportIsSilentWhereNoTerminalIs) {
  const std::string pipe = folder.File("pipe");
  ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
  std::thread feeder(
      [&] { Feed(pipe, std::string("[") + fire + "]", std::chrono::milliseconds(700)); });
  const CommandResult result = RunCommand(ImportWords(pipe));
  feeder.join();
  EXPECT_EQ(0, result.exitStatus);
  EXPECT_EQ("", result.err);
}

}  // namespace
}  // namespace marrowfin
