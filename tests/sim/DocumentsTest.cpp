// What the documents say: every command in them works, every program in them builds and runs, and
// every option is described with its default.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "tests/sim/Laws.h"
#include "tests/sim/Rig.h"
#include "tests/support/Files.h"
#include "trace/read/AboutFile.h"
#include "trace/read/NotesFile.h"

namespace marrowfin::sim::testing {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

std::string ReadDocument(const std::string& name) {
  return ReadFile(std::string(MARROWFIN_SOURCE_DIR) + "/docs/" + name);
}

// The blocks of code of one language, in order.
std::vector<std::string> Blocks(const std::string& document, const std::string& language) {
  const std::string start = "\n```" + language + "\n";
  std::vector<std::string> blocks;
  for (size_t at = document.find(start); at != std::string::npos; at = document.find(start, at)) {
    at += start.size();
    blocks.push_back(document.substr(at, document.find("\n```\n", at) + 1 - at));
  }
  return blocks;
}

class DocumentsTest : public ::testing::Test {
 protected:
  CommandResult Shell(const std::string& script) const {
    const std::string folder = std::filesystem::path(MARROWFIN_SIM).parent_path().string();
    CommandOptions options;
    options.directory = directory.Path();
    return RunCommand(
        {"bash", "-e", "-o", "pipefail", "-c", "PATH=" + folder + ":$PATH\n" + script}, options);
  }

  // Runs a program that records `name`, and checks what it has recorded.
  void ExpectTrace(const std::string& command, const std::string& name, const Shape& shape,
                   size_t records) const {
    const CommandResult result = Shell(command);
    ASSERT_EQ(0, result.exitStatus) << result.err;
    const std::string bytes = ReadFile(directory.File(name));
    EXPECT_THAT(BrokenTraceLaws(bytes, shape), IsEmpty());
    const std::vector<size_t> counts = RecordCounts(bytes);
    EXPECT_EQ(records, counts[2] + counts[3] + counts[4]);
  }

  TempDir directory;
};

TEST_F(DocumentsTest, EveryCommandOfTheSimulatorsPageWorks) {
  const std::vector<std::string> blocks = Blocks(ReadDocument("simulator.md"), "sh");
  EXPECT_LE(6U, blocks.size());
  for (const std::string& block : blocks) {
    const CommandResult result = Shell(block);
    EXPECT_EQ(0, result.exitStatus) << block << result.err;
    EXPECT_THAT(result.out, Not(IsEmpty())) << block;
  }
}

TEST_F(DocumentsTest, TheFirstCommandTakesTheCyclesThatThePageSays) {
  std::string cycles = StatisticIn(RunSimulator({}).out, "array/cycles");
  cycles.insert(cycles.size() - 3, ",");
  EXPECT_THAT(ReadDocument("simulator.md"), HasSubstr("for " + cycles + " cycles"));
}

TEST_F(DocumentsTest, EveryOptionIsDescribedWithItsDefault) {
  const std::string page = ReadDocument("simulator.md");
  const std::string manual = ReadDocument("man/marrowfin-sim.1");
  std::istringstream settings(RunSimulator({"--settings"}).out);
  std::string name;
  std::string value;
  size_t count = 0;
  while (settings >> name >> value) {
    if (value[0] == '"') {
      value = value == "\"\"" ? "" : "`" + value.substr(1, value.size() - 2) + "`";
    }
    const std::string cell = "\n| `" + name + "` | ";
    EXPECT_THAT(
        page, HasSubstr(cell + (value == "false" || value == "true" ? "`" + value + "`" : value)));
    EXPECT_THAT(manual, HasSubstr("Fl " + name.substr(1))) << name;
    ++count;
  }
  EXPECT_EQ(32U, count);
}

// A formula of the page, such as "2 * peLinkLatency + 3", for these values of its names.
Cycle Evaluate(const std::string& formula, const std::map<std::string, Cycle>& values) {
  Cycle sum = 0;
  std::istringstream terms(std::regex_replace(formula, std::regex("\\(hops - 1\\)"), "steps"));
  for (std::string term; std::getline(terms, term, '+');) {
    Cycle product = 1;
    std::istringstream factors(term);
    for (std::string factor; factors >> factor;) {
      if (factor != "*") {
        product *= isdigit(factor[0]) != 0 ? std::stoull(factor) : values.at(factor);
      }
    }
    sum += product;
  }
  return sum;
}

// Sends one operand from element to element, each time when the one before has arrived.
struct Relay : public Program {
  Relay() {
    Value last = graph.Add(Opcode::ADD, {Later(), Number(1)});
    graph.Start(last, 0, 1);
    for (int n = 0; n < 60; ++n) {
      last = graph.Add(Opcode::ADD, {last, Number(1)});
    }
  }
  void ComputePlainly(SegmentData&) const override {}
  void FillInput(SegmentData&, Random&) const override {}
};

TEST_F(DocumentsTest, AMessageThatWaitsForNothingTakesTheCyclesOfThePagesFormula) {
  const std::string page = ReadDocument("simulator.md");
  std::smatch found;
  ASSERT_TRUE(std::regex_search(page, found,
                                std::regex("\n(.*\\S) +within a domain\n(.*\\S) +elsewhere\n")));
  RigOptions options;
  options.words = ArrayWords(3, 2, 2);
  const std::map<std::string, Cycle> latencies = {
      {"peLinkLatency", 3}, {"domainLinkLatency", 5}, {"switchLinkLatency", 11}};
  for (const auto& [name, cycles] : latencies) {
    options.words.insert(options.words.end(), {"-array/" + name, std::to_string(cycles)});
  }
  options.placement = "random";
  options.withLog = true;
  std::istringstream log(RunOnArray(Relay(), options).log);
  std::set<Cycle> hopsSeen;
  Cycle sent = 0;
  for (std::string line; std::getline(log, line);) {
    std::istringstream words(line);
    std::string kind;
    Cycle now = 0;
    std::string skipped;
    Cycle hops = 0;
    words >> kind >> now >> skipped >> skipped >> hops;
    if (kind == "send") {
      sent = now;
    } else if (kind == "arrive") {
      std::map<std::string, Cycle> values = latencies;
      values["steps"] = hops - 1;
      EXPECT_EQ(Evaluate(found[hops == 0 ? 1 : 2], values), now - sent) << hops << " hops";
      hopsSeen.insert(hops);
    }
  }
  EXPECT_EQ((std::set<Cycle>{0, 1, 2, 3, 4, 5}), hopsSeen);
}

TEST_F(DocumentsTest, EveryProgramAndPlacementIsDescribed) {
  const std::string page = ReadDocument("simulator.md");
  for (const ProgramInfo& program : Programs()) {
    EXPECT_THAT(page, HasSubstr("\n| `" + std::string(program.name) + "` | "));
  }
  for (const PlacementPolicy& policy : PlacementPolicies()) {
    EXPECT_THAT(page, HasSubstr("\n| `" + std::string(policy.name) + "` | "));
  }
}

TEST_F(DocumentsTest, TheManualPageRendersWithoutAComplaint) {
  const CommandResult result = RunCommand(
      {"man", "--warnings", "-E", "UTF-8", "-l", MARROWFIN_SOURCE_DIR "/docs/man/marrowfin-sim.1"});
  EXPECT_EQ(0, result.exitStatus);
  EXPECT_EQ("", result.err);
  EXPECT_THAT(result.out, HasSubstr("EXIT STATUS"));
}

TEST_F(DocumentsTest, TheProgramInPlainCBuildsAndRecords) {
  const std::vector<std::string> blocks = Blocks(ReadDocument("instrument-your-simulator.md"), "c");
  ASSERT_EQ(1U, blocks.size());
  WriteFile(directory.File("my-simulator.c"), blocks[0]);
  ExpectTrace("cc -std=c99 -Wall -Wextra -Wpedantic -Werror -I " MARROWFIN_SOURCE_DIR
              "/trace my-simulator.c -o my-simulator && ./my-simulator c.trace",
              "c.trace", {1, 2, 4}, 900);
}

TEST_F(DocumentsTest, TheProgramsInCxxBuildAndRecord) {
  const std::vector<std::string> blocks =
      Blocks(ReadDocument("instrument-your-simulator.md"), "cpp");
  ASSERT_EQ(2U, blocks.size());
  const std::string runs[] = {"./my-simulator ring.trace",
                              "./my-simulator -outFilename ring.trace"};
  std::string first;
  for (size_t i = 0; i < blocks.size(); ++i) {
    WriteFile(directory.File("main.cpp"), blocks[i]);
    ExpectTrace(MARROWFIN_COMPILE " -I " MARROWFIN_SOURCE_DIR " main.cpp " MARROWFIN_LIBRARIES
                                  " -o my-simulator && " +
                    runs[i],
                "ring.trace", {1, 1, 2}, 800);
    const std::string bytes = ReadFile(directory.File("ring.trace"));
    EXPECT_EQ(first.empty() ? bytes : first, bytes) << "both record the same";
    first = bytes;
  }
}

TEST_F(DocumentsTest, TheProgramInCxxTellsWhatItsTraceCannotSay) {
  WriteFile(directory.File("main.cpp"),
            Blocks(ReadDocument("instrument-your-simulator.md"), "cpp")[0]);
  const CommandResult result =
      Shell(MARROWFIN_COMPILE " -I " MARROWFIN_SOURCE_DIR " main.cpp " MARROWFIN_LIBRARIES
                              " -o my-simulator && ./my-simulator t");
  ASSERT_EQ(0, result.exitStatus) << result.err;
  const Result<std::unique_ptr<NotesFile>> notes = NotesFile::Open(directory.File("t.notes"));
  ASSERT_TRUE(notes) << notes.Why().Text();
  EXPECT_EQ(800U, (*notes)->Records());
  EXPECT_EQ("request", (*notes)->Declarations().attributes[0].names.at(1));
  const Result<NotesBlock> last = (*notes)->Notes(2);  // behind declarations and the first records
  ASSERT_TRUE(last) << last.Why().Text();
  EXPECT_EQ(797U, last->columns[1].values.back()) << "what the last fire, record 798, consumed";
  const Result<About> about = ReadAbout(directory.File("t.about"));
  ASSERT_TRUE(about) << about.Why().Text();
  EXPECT_EQ("a ring of four", about->name);
  EXPECT_EQ(ArrayShape(1, 1, 2), about->array->shape);
}

}  // namespace marrowfin::sim::testing
