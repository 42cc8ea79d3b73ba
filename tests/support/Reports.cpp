#include "tests/support/Reports.h"

#include <regex>
#include <sstream>

#include "tests/support/Files.h"

namespace marrowfin::testing {

namespace {

std::string SourceLine(const std::string& file, const std::string& number) {
  std::istringstream source(ReadFile(std::string(MARROWFIN_SOURCE_DIR) + "/" + file));
  std::string line;
  for (int i = 0; i < std::stoi(number); ++i) {
    std::getline(source, line);
  }
  return line;
}

std::string Quoted(const std::string& text) {
  return std::regex_replace(text, std::regex(R"([.*+?^$()\[\]{}|\\])"), R"(\$&)");
}

// `code` is what the source has at the reported line.
MATCHER_P4(IsReport, file, before, after, code,
           "is the report \"" + before + file + ":LINE" + after + "\" of a line with " + code) {
  std::smatch match;
  if (!std::regex_match(arg, match,
                        std::regex(Quoted(before + file) + ":([0-9]{1,9})" + Quoted(after)))) {
    return false;
  }
  const std::string line = SourceLine(file, match[1]);
  *result_listener << "the source has there: " << line;
  return line.find(code) != std::string::npos;
}

}  // namespace

::testing::Matcher<const std::string&> AssertionReport(const std::string& file,
                                                       const std::string& expression) {
  return IsReport(file, std::string(), ": failed assertion `" + expression + "'\n",
                  "SIM_ASSERT(" + expression + ")");
}

::testing::Matcher<const std::string&> CrashReport(const std::string& file,
                                                   const std::string& message) {
  return IsReport(file, std::string("CRASH["), "]:  " + message, std::string("SIM_CRASH("));
}

}  // namespace marrowfin::testing
