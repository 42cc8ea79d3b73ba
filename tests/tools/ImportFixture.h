#ifndef TESTS_TOOLS_IMPORTFIXTURE_H
#define TESTS_TOOLS_IMPORTFIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/Files.h"
#include "tests/support/TraceText.h"
#include "tests/tools/TraceRecords.h"
#include "tools/program/Program.h"

namespace marrowfin {

// An event of processor BRISC of tile (1, 2) at time 10, with `more` fields.
inline std::string Event(const std::string& more) {
  return R"({"proc":"BRISC","sx":1,"sy":2,"timestamp":10,)" + more + "}";
}

// Imports a capture in the test's own process, in a folder that holds nothing else.
class ImportFixture : public ::testing::Test {
 protected:
  static constexpr char captureName[] = "capture.json";

  std::string Capture() const { return folder.File(captureName); }
  std::string Trace() const { return folder.File("out.trace"); }

  // The exit status; what was printed is in `out` and `err`.
  int Run(const std::vector<std::string>& arguments) {
    std::ostringstream outStream;
    std::ostringstream errStream;
    const int status = RunProgram(arguments, {outStream, errStream, nullptr});
    out = outStream.str();
    err = errStream.str();
    return status;
  }

  // May be called again and again.
  int Import(const std::string& json, const std::vector<std::string>& more = {}) {
    testing::WriteFile(Capture(), json);
    std::vector<std::string> arguments = {"import", "--format", "tt-npe", Capture(),
                                          "-o",     Trace(),    "--force"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return Run(arguments);
  }

  // Imports `json` and compares the trace, but for its frame, with the text of TraceBytes.
  void ExpectRecords(const std::string& json, const std::string& records) {
    ASSERT_EQ(0, Import(json, {"--no-frame"})) << err;
    EXPECT_EQ(RecordsIn(testing::TraceBytes(records)), RecordsIn(testing::ReadFile(Trace())));
    EXPECT_EQ(testing::TraceBytes(records), testing::ReadFile(Trace()));
  }

  nlohmann::json Account(const std::string& json) {
    EXPECT_EQ(0, Import(json, {"--json"})) << err;
    return nlohmann::json::parse(out);
  }

  // Names of all files in the folder, hidden ones too.
  std::vector<std::string> FolderContents() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.Path())) {
      names.push_back(entry.path().filename());
    }
    return names;
  }

  // After a refusal: nothing but the capture is there.
  void ExpectNothingLeft() const {
    EXPECT_THAT(FolderContents(), ::testing::ElementsAre(captureName));
  }

  testing::TempDir folder;
  std::string out;
  std::string err;
};

}  // namespace marrowfin

#endif
