#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <set>
#include <stdexcept>

#include "explorer/core/Question.h"
#include "tests/explorer/core/AskedTrace.h"
#include "tests/support/TraceText.h"

namespace marrowfin::testing {
namespace {

using nlohmann::json;
using ::testing::HasSubstr;

class BadQuestionsTest : public ::testing::Test {
 protected:
  BadQuestionsTest() { asked.UntilReady(); }

  void ExpectBad(const ReadAnswer& answer, const std::string& part, const std::string& what) const {
    ASSERT_EQ(answer.Code(), "bad-question") << what;
    EXPECT_THAT(answer.head["error"]["message"].get<std::string>(), HasSubstr(part)) << what;
  }

  AskedTrace asked{TraceBytes("fire 1 0 0 0\nfire 2 0 1 0\nsend 3 1 0 0 1 1\n")};
};

// A question of each kind that is answered.
std::vector<json> GoodQuestions() {
  const json moment = {{"reading", "viewer"}, {"step", 1}};
  json steps = {{"ask", "steps"}, {"reading", "natural"}, {"cycle", "1"}, {"count", 2}};
  json state = {{"ask", "state"}};
  state.update(moment);
  json when = {{"ask", "when"}};
  when.update(moment);
  return {
      {{"ask", "trace"}},
      {{"ask", "palette"}, {"step", 3}},
      {{"ask", "activity"}, {"first", "0"}, {"last", "3"}, {"bins", 2}},
      {{"ask", "count"}, {"before", 2}, {"nth", 1}},
      {{"ask", "events"}, {"from", 0}, {"count", 5}, {"back", false}},
      {{"ask", "next"}, {"piece", {{"pe", {0, 0}}}}, {"record", 0}},
      {{"ask", "heat"}, {"first", "0"}, {"last", "3"}, {"what", "fires"}},
      {{"ask", "hits"}, {"first", "0"}, {"last", "3"}, {"bins", 2}},
      {{"ask", "lane"}, {"piece", {{"pe", {0, 0}}}}, {"first", "0"}, {"last", "3"}, {"bins", 3}},
      {{"ask", "links"}, {"first", "0"}, {"last", "3"}},
      {{"ask", "measures"}, {"first", "0"}, {"last", "3"}},
      {{"ask", "phases"}},
      {{"ask", "piece"}, {"piece", {{"pe", {0, 0}}}}, {"reading", "natural"}, {"cycle", "2"}},
      {{"ask", "search"}, {"text", "a"}, {"most", 3}},
      {{"ask", "why"}, {"record", 1}, {"direction", "chain"}, {"most", 9}},
      steps,
      state,
      when};
}

TEST(AnswerByTest, WhateverAnAnswerThrowsIsRefused) {
  const auto codeOf = [](const std::function<MaybeRefusal(AnswerBytes&)>& ask) {
    return ReadAnswerBytes(AnswerBy(ask)).Code();
  };
  EXPECT_EQ(codeOf([](AnswerBytes&) { return std::nullopt; }), "");
  EXPECT_EQ(codeOf([](AnswerBytes&) -> MaybeRefusal { throw std::bad_alloc(); }), "too-much");
  EXPECT_EQ(codeOf([](AnswerBytes&) -> MaybeRefusal { throw std::length_error("vector"); }),
            "too-much");
  EXPECT_EQ(codeOf([](AnswerBytes&) -> MaybeRefusal { throw std::logic_error("a mistake"); }),
            "internal");
  EXPECT_EQ(codeOf([](AnswerBytes&) -> MaybeRefusal { return BadQuestion("it says nothing"); }),
            "bad-question");
}

TEST_F(BadQuestionsTest, AQuestionOfEachKindIsAnswered) {
  std::set<std::string> names;
  for (const json& question : GoodQuestions()) {
    EXPECT_EQ(asked.Ask(question).Code(), "") << question.dump();
    names.insert(question["ask"]);
  }
  names.insert({"counter", "kinds", "packet"});  // which need notes
  const std::vector<std::string> all = QuestionNames();
  EXPECT_EQ(names, std::set<std::string>(all.begin(), all.end()));
}

TEST_F(BadQuestionsTest, BytesThatAreNoObjectAreRefused) {
  const std::string deep(30000, '[');
  for (const std::string& bytes :
       {std::string(), std::string("x"), std::string("[]"), std::string("\"a\""),
        std::string("{\"ask\":\"trace\""), std::string("{\"ask\":\"\xFF\"}"), std::string("{} {}"),
        std::string("{\"a\":1e999}"), std::string(5, '\0'), deep}) {
    ExpectBad(asked.AskBytes(bytes), "no JSON object", bytes.substr(0, 40));
  }
}

TEST_F(BadQuestionsTest, AMemberThatIsThereTwiceIsRefused) {
  ExpectBad(asked.AskBytes(R"({"protocol":1,"ask":"trace","ask":"state"})"), "`ask` is there twice",
            "ask");
}

TEST_F(BadQuestionsTest, OneThatIsTooLongIsRefusedAndNotRead) {
  std::string bytes(Question::LARGEST + 1, ' ');
  EXPECT_EQ(asked.AskBytes(bytes).Code(), "too-large");
  bytes.pop_back();
  EXPECT_EQ(asked.AskBytes(bytes).Code(), "bad-question");
}

TEST_F(BadQuestionsTest, AnotherProtocolAnotherNameAndAnotherTraceAreRefused) {
  ExpectBad(asked.Ask({{"ask", "trace"}, {"protocol", 2}}), "this is protocol 1", "protocol");
  ExpectBad(asked.AskBytes("{}"), "`protocol` is missing", "nothing");
  const ReadAnswer near = asked.Ask({{"ask", "stats"}});
  ExpectBad(near, "no question `stats`", "stats");
  EXPECT_EQ(near.head["error"]["remedy"], "is `state` meant?");
  EXPECT_EQ(asked.Ask({{"ask", "trace"}, {"trace", "0000"}}).Code(), "no-such-trace");
  EXPECT_EQ(asked.Ask({{"ask", "trace"}, {"trace", ""}}).Code(), "no-such-trace");
}

TEST_F(BadQuestionsTest, MembersThatNobodyKnowsAreRefusedByName) {
  for (json question : GoodQuestions()) {
    question["colour"] = "red";
    ExpectBad(asked.Ask(question), "nobody knows `colour`", question.dump());
  }
}

TEST_F(BadQuestionsTest, MembersOfAnotherTypeAreRefusedByName) {
  const std::vector<json> wrong = {
      json::array(),          json::object(),  true, -1, 1.5, "word", "1x", "-1", 1e30,
      "18446744073709551616", json::array({1})};
  for (const json& good : GoodQuestions()) {
    for (const auto& member : good.items()) {
      for (const json& value : wrong) {
        if ((member.value().is_boolean() && value.is_boolean()) ||
            (member.key() == "text" && value.is_string())) {
          continue;
        }
        json question = good;
        question[member.key()] = value;
        const bool known = member.key() == "ask" && value.is_string();
        ExpectBad(asked.Ask(question), known ? "no question" : "`" + member.key() + "`",
                  question.dump());
      }
    }
  }
}

TEST_F(BadQuestionsTest, ShapesThatNobodyCanDrawAreRefused) {
  for (const json& shape :
       {json{{"clusters", {0, 1}}, {"domains", {1, 1}}, {"pes", {1, 1}}},
        json{{"clusters", {4096, 1}}, {"domains", {2, 1}}, {"pes", {1, 1}}},
        json{{"clusters", {4294967295, 4294967295}}, {"domains", {4294967295, 1}}, {"pes", {2, 2}}},
        json{{"clusters", {1, 1}}, {"domains", {1, 1}}},
        json{{"clusters", {1, 1}}, {"domains", {1, 1}}, {"pes", {1, 1, 1}}},
        json{{"clusters", 1}, {"domains", {1, 1}}, {"pes", {1, 1}}}, json("large"), json(3)}) {
    ExpectBad(asked.Ask({{"ask", "state"}, {"reading", "viewer"}, {"step", 1}, {"shape", shape}}),
              "shape", shape.dump());
  }
}

TEST_F(BadQuestionsTest, RangesThatEndBeforeTheyBeginAreRefused) {
  ExpectBad(asked.Ask({{"ask", "activity"}, {"first", "3"}, {"last", "2"}, {"bins", 1}}),
            "`first` is behind `last`", "range");
  ExpectBad(asked.Ask({{"ask", "activity"}, {"first", "0"}, {"last", "2"}, {"bins", 0}}),
            "`bins` is 0", "bins");
}

TEST_F(BadQuestionsTest, MomentsThatTheTraceDoesNotHaveAreOutOfRange) {
  for (const std::string ask : {"state", "when"}) {
    EXPECT_EQ(asked.Ask({{"ask", ask}, {"reading", "viewer"}, {"step", 1000}}).Code(),
              "out-of-range");
  }
  EXPECT_EQ(asked.Ask({{"ask", "when"}, {"record", 3}}).Code(), "out-of-range");
}

}  // namespace
}  // namespace marrowfin::testing
