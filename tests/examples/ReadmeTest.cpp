// What the example's README says, tried out.

#include <gtest/gtest.h>

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

// The pieces of `text` between separators.
Words Split(const std::string& text, const std::string& separator) {
  Words pieces;
  size_t start = 0;
  for (size_t end; (end = text.find(separator, start)) != std::string::npos;
       start = end + separator.size()) {
    pieces.push_back(text.substr(start, end - start));
  }
  pieces.push_back(text.substr(start));
  return pieces;
}

// A word as the shell hands it on, of one that the README shows: `'-.*rows'`.
std::string Unquoted(std::string word) {
  std::erase_if(word, [](char c) { return c == '`' || c == '\''; });
  return word;
}

TEST(ReadmeTest, TheTableOfOptionsHasTheirNamesAndDefaults) {
  Words arguments;
  for (const std::string& line : LinesOfReadme()) {
    // | `PATTERN`, `PATTERN` | DEFAULT, DEFAULT | MEANING |
    const Words cells = Split(line, " | ");
    if (!line.starts_with("| `-") && !line.starts_with("| `'-")) {
      continue;
    }
    const Words patterns = Split(cells.at(0).substr(2), ", ");
    const Words defaults = Split(cells.at(1), ", ");
    for (size_t i = 0; i < patterns.size(); ++i) {
      // A file that is not named by default has no value that could be given.
      if (defaults.at(i) != "none" && defaults.at(i) != "standard output") {
        arguments.insert(arguments.end(), {Unquoted(patterns[i]), defaults.at(i)});
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
