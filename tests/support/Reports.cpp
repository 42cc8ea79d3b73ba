#include "tests/support/Reports.h"

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

// The digits between `before` and `after`, which must be the whole text; empty where it is not so.
std::string NumberBetween(const std::string& text, const std::string& before,
                          const std::string& after) {
  if (text.size() <= before.size() + after.size() || !text.starts_with(before) ||
      !text.ends_with(after)) {
    return "";
  }
  const std::string number = text.substr(before.size(), text.size() - before.size() - after.size());
  const bool digits = number.find_first_not_of("0123456789") == std::string::npos;
  return digits && number.size() < 7 ? number : "";
}

// `code` is what the source has at the reported line.
MATCHER_P4(IsReport, file, before, after, code,
           "is the report \"" + before + file + ":LINE" + after + "\" of a line with " + code) {
  const std::string number = NumberBetween(arg, before + file + ":", after);
  if (number.empty()) {
    return false;
  }
  const std::string line = SourceLine(file, number);
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
