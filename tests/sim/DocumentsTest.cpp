// What the documents say: every command in them works, every program in them builds and runs, and
// every option is described with its default.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include "tests/sim/Laws.h"
#include "tests/sim/Rig.h"
#include "tests/support/Files.h"

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
    EXPECT_THAT(page, HasSubstr(cell + (value == "false" ? "`false`" : value)));
    EXPECT_THAT(manual, HasSubstr("Fl " + name.substr(1))) << name;
    ++count;
  }
  EXPECT_EQ(29U, count);
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

TEST_F(DocumentsTest, TheProgramInCxxBuildsAndRecords) {
  const std::vector<std::string> blocks =
      Blocks(ReadDocument("instrument-your-simulator.md"), "cpp");
  ASSERT_EQ(1U, blocks.size());
  WriteFile(directory.File("main.cpp"), blocks[0]);
  ExpectTrace(MARROWFIN_COMPILE " -I " MARROWFIN_SOURCE_DIR " main.cpp " MARROWFIN_LIBRARIES
                                " -o my-simulator && "
                                "./my-simulator -outFilename ring.trace",
              "ring.trace", {1, 1, 2}, 800);
}

}  // namespace marrowfin::sim::testing
