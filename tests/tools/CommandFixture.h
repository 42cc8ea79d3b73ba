#ifndef TESTS_TOOLS_COMMANDFIXTURE_H
#define TESTS_TOOLS_COMMANDFIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/Command.h"
#include "tests/support/Files.h"
#include "tests/support/TraceText.h"

namespace marrowfin {

// Runs the program as its users do, in a folder of its own. Caches go to a folder that the test may
// look into.
class CommandFixture : public ::testing::Test {
 protected:
  CommandFixture() { setenv("XDG_CACHE_HOME", cache.File("home").c_str(), 1); }

  // The words of a command line of the program.
  static std::vector<std::string> Words(std::vector<std::string> words) {
    words.insert(words.begin(), MARROWFIN_TRACE);
    return words;
  }

  testing::CommandResult Run(const std::vector<std::string>& words,
                             const std::string& input = "") const {
    return testing::RunCommand(Words(words), {input, folder.Path(), {}});
  }

  // A shell script in which $0 is the program, and what is in `words` follows as $1 and so on.
  testing::CommandResult Shell(const std::string& script,
                               std::vector<std::string> words = {}) const {
    words.insert(words.begin(), {"sh", "-c", script, MARROWFIN_TRACE});
    return testing::RunCommand(words, {"", folder.Path(), {}});
  }

  // Writes the trace of a text (see TraceBytes). Returns its path.
  std::string Trace(const std::string& text, const std::string& name = "t.trace") const {
    testing::WriteFile(folder.File(name), testing::TraceBytes(text));
    return folder.File(name);
  }

  // Makes a trace of many records. Returns its path.
  std::string LongTrace(uint64_t records, const std::string& name = "long.trace") const {
    const testing::CommandResult made =
        Run({"synth", "-o", folder.File(name), "--force", "--records", std::to_string(records)});
    EXPECT_EQ(0, made.exitStatus) << made.err;
    return folder.File(name);
  }

  // Reads JSON that a parser of another make takes as well.
  static nlohmann::json Json(const std::string& text) {
    const testing::CommandResult parsed = testing::RunCommand(
        {MARROWFIN_PYTHON, "-c", "import json,sys; json.load(sys.stdin.buffer)"}, {text, "", {}});
    EXPECT_EQ(0, parsed.exitStatus) << parsed.err << text;
    return nlohmann::json::parse(text, nullptr, false);
  }

  // What a run prints with --json.
  nlohmann::json RunForJson(std::vector<std::string> words, int exitStatus = 0) const {
    words.push_back("--json");
    const testing::CommandResult result = Run(words);
    EXPECT_EQ(exitStatus, result.exitStatus) << result.err;
    return Json(result.out);
  }

  // Expects a run that printed results and nothing else.
  static void ExpectOutput(const std::string& out, const testing::CommandResult& result) {
    EXPECT_EQ(0, result.exitStatus);
    EXPECT_EQ(out, result.out);
    EXPECT_EQ("", result.err);
  }

  // Expects a run that printed a failure and nothing else. `err` is what stands behind the
  // program's name.
  static void ExpectFailure(int exitStatus, const std::string& err,
                            const testing::CommandResult& result) {
    EXPECT_EQ(exitStatus, result.exitStatus);
    EXPECT_EQ(0, result.signal);
    EXPECT_EQ("", result.out);
    EXPECT_EQ("marrowfin-trace: " + err, result.err);
  }

  // Names of all files in the folder, hidden ones too, in order.
  std::vector<std::string> FolderContents() const { return ContentsOf(folder.Path()); }
  static std::vector<std::string> ContentsOf(const std::string& path) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path)) {
      names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  // Whether the folder has a file whose name holds `part`.
  bool HasFileLike(const std::string& part) const {
    const std::vector<std::string> names = FolderContents();
    return std::any_of(names.begin(), names.end(), [&](const std::string& name) {
      return name.find(part) != std::string::npos;
    });
  }

  testing::TempDir folder;
  testing::TempDir cache;
};

}  // namespace marrowfin

#endif
