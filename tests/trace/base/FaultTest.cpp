#include "trace/base/Fault.h"

#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <sstream>
#include <string>

#include "tests/support/Files.h"

namespace marrowfin::testing {
namespace {

// The rows "| number | name | ..." of the tables of a page.
std::map<int, std::string> NumberedNames(const std::string& page) {
  static const std::regex row(R"(\| (\d+) \| ([a-z-]+) \|.*)");
  std::map<int, std::string> names;
  std::istringstream lines(page);
  std::smatch found;
  for (std::string line; std::getline(lines, line);) {
    if (std::regex_match(line, found, row)) {
      EXPECT_TRUE(names.emplace(std::stoi(found[1]), found[2]).second) << line;
    }
  }
  return names;
}

// They stand in the index files of yesterday.
TEST(FaultTest, KindsHaveTheNumbersThatThePageOfTheIndexTells) {
  const std::map<int, std::string> names =
      NumberedNames(ReadFile(MARROWFIN_SOURCE_DIR "/docs/index-format.md"));
  ASSERT_FALSE(names.empty());
  for (const auto& [number, name] : names) {
    EXPECT_EQ(FaultName(static_cast<Fault::Kind>(number)), name);
  }
  const int next = names.rbegin()->first + 1;
  EXPECT_EQ(static_cast<size_t>(next), names.size()) << "a number is missing";
  EXPECT_STREQ(FaultName(static_cast<Fault::Kind>(next)), "unknown") << "the page lacks a kind";
}

}  // namespace
}  // namespace marrowfin::testing
