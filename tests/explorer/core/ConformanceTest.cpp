// The recorded answers of the protocol, asked of the core itself: a host other than the server
// gives the same bytes.

#include <gtest/gtest.h>

#include <cmath>

#include "tests/explorer/core/AskedTrace.h"
#include "tests/support/TraceText.h"

namespace marrowfin::testing {
namespace {

using nlohmann::json;

json Folder(const char* name) {
  return json::parse(ReadFile(std::string(MARROWFIN_CONFORMANCE "/") + name));
}

json NumberOrNull(double value) { return std::isnan(value) ? json() : json(value); }

TEST(ConformanceTest, EveryRecordedQuestionHasItsRecordedAnswer) {
  const json cases = Folder("questions.json");
  std::string text;
  for (const json& line : cases["trace"]) {
    text += line.get<std::string>() + "\n";
  }
  const AskedTrace asked(TraceBytes(text));
  asked.UntilReady();
  const json recorded = Folder("answers.json");
  EXPECT_EQ(recorded.size(), cases["questions"].size());
  for (const json& expected : recorded) {
    ReadAnswer answer = asked.Ask(expected["question"]);
    answer.head.erase("columns");
    if (answer.head.contains("error")) {
      answer.head["error"].erase("file");
    }
    EXPECT_EQ(answer.head, expected["head"]) << expected["question"].dump();
    EXPECT_EQ(answer.columns.size(), expected["columns"].size());
    for (const auto& [name, column] : answer.columns) {
      json values = json::array();
      for (const double value : answer.Of(name)) {
        values.push_back(NumberOrNull(value));
      }
      EXPECT_EQ(values, expected["columns"][name]) << name << expected["question"].dump();
    }
  }
}

}  // namespace
}  // namespace marrowfin::testing
