// What the example's README says, tried out.

#include <gtest/gtest.h>

#include <regex>
#include <sstream>

#include "tests/examples/Example.h"
#include "tests/support/Files.h"

namespace marrowfin::testing {

std::vector<std::string> LinesOfReadme() {
  std::istringstream readme(ReadFile(SYSTOLIC_MATMUL_README));
  std::vector<std::string> lines;
  for (std::string line; std::getline(readme, line);) {
    lines.push_back(line);
  }
  return lines;
}

TEST(ReadmeTest, TheCommandThatWritesATraceWorks) {
  const TempDir directory;
  CommandOptions options;
  options.directory = directory.Path();
  int commands = 0;
  for (const std::string& line : LinesOfReadme()) {
    const std::string program = "    build/release/bin/systolic_matmul ";
    if (line.starts_with(program)) {
      ++commands;
      const std::string command = SYSTOLIC_MATMUL " " + line.substr(program.size());
      EXPECT_EQ(0, RunCommand({"sh", "-c", command}, options).exitStatus);
      EXPECT_FALSE(EventsIn(ReadFile(directory.File("matmul.trace"))).empty());
    }
  }
  EXPECT_EQ(1, commands);
}

// The pieces of `text` that match, without what stands around the one group of the pattern.
Words AllIn(const std::string& text, const char* pattern) {
  const std::regex expression(pattern);
  Words pieces;
  for (std::sregex_iterator piece(text.begin(), text.end(), expression), end; piece != end;
       ++piece) {
    pieces.push_back((*piece)[1]);
  }
  return pieces;
}

TEST(ReadmeTest, TheTableOfOptionsHasTheirNamesAndDefaults) {
  Words arguments;
  for (const std::string& line : LinesOfReadme()) {
    // | `PATTERN`, `PATTERN` | DEFAULT, DEFAULT | ...
    std::smatch row;
    if (std::regex_search(line, row, std::regex("^\\| (`'?-.*?`) \\| (.*?) \\|"))) {
      const Words patterns = AllIn(row[1], "`'?(-[^'`]*)'?`");
      const Words defaults = AllIn(row[2], "([0-9]+|true|false)");
      for (size_t i = 0; i < defaults.size(); ++i) {
        arguments.insert(arguments.end(), {patterns.at(i), defaults[i]});
      }
    }
  }
  // -c, -d, -p, rows, inner, columns, threads, products, gap, seed and faulty.
  EXPECT_EQ(11U * 2, arguments.size());
  const CommandResult result = RunExample(arguments);
  EXPECT_EQ(0, result.exitStatus) << result.err;
  EXPECT_EQ(RunExample({}).out, result.out);
}

}  // namespace marrowfin::testing
