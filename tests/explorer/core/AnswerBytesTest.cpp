#include "explorer/core/AnswerBytes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "tests/explorer/core/ReadAnswer.h"

namespace marrowfin::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(AnswerBytesTest, ColumnsOfEveryTypeComeBackAsTheyWere) {
  AnswerBytes answer;
  answer.Head().Key("what").Text("all types");
  answer.Column("bytes", std::vector<uint8_t>{1, 2, 255});
  answer.Column("halves", std::vector<uint16_t>{1, 65535});
  answer.Column("words", std::vector<uint32_t>{7, ~0U});
  answer.Column("longs", std::vector<uint64_t>{~uint64_t{0}});
  answer.Column("signed", std::vector<int32_t>{-5});
  answer.Column("floats", std::vector<float>{0.5F});
  answer.Column("doubles", std::vector<double>{-0.25, 1e300});
  answer.Column("places", std::vector<Place>{{1, 2}, {3, 4}});
  answer.Column("nothing", std::vector<double>());
  const ReadAnswer read = ReadAnswerBytes(answer.Finish());
  EXPECT_EQ(read.head["what"], "all types");
  EXPECT_THAT(read.Of("bytes"), ElementsAre(1, 2, 255));
  EXPECT_THAT(read.Of("halves"), ElementsAre(1, 65535));
  EXPECT_THAT(read.Of("words"), ElementsAre(7, 4294967295.0));
  EXPECT_THAT(read.Wide("longs"), ElementsAre(~uint64_t{0}));
  EXPECT_THAT(read.Of("signed"), ElementsAre(-5));
  EXPECT_THAT(read.Of("floats"), ElementsAre(0.5));
  EXPECT_THAT(read.Of("doubles"), ElementsAre(-0.25, 1e300));
  EXPECT_THAT(read.Of("places"), ElementsAre(1, 2, 3, 4));
  EXPECT_THAT(read.Of("nothing"), IsEmpty());
}

TEST(AnswerBytesTest, TheFirstBytesAreThoseOfTheDocument) {
  AnswerBytes answer;
  answer.Column("c", std::vector<uint16_t>{0x0102});
  const std::vector<uint8_t> bytes = answer.Finish();
  const std::string head = "{\"columns\":[\"c\"]}";
  std::vector<uint8_t> expected = {'M', 'F', 'E', 'A', 1, 0, 0, 0, 17, 0, 0, 0, 1, 0, 0, 0,
                                   2,   0,   0,   0,   0, 0, 0, 0, 1,  0, 0, 0, 0, 0, 0, 0};
  expected.insert(expected.end(), head.begin(), head.end());
  expected.insert(expected.end(), 7, 0);
  expected.insert(expected.end(), {2, 1});
  EXPECT_EQ(bytes, expected);
}

TEST(AnswerBytesTest, EveryColumnBeginsAtAMultipleOfEight) {
  for (size_t length = 0; length < 20; ++length) {
    AnswerBytes answer;
    answer.Head().Key("x").Text(std::string(length, 'x'));
    answer.Column("odd", std::vector<uint8_t>(length, 1));
    answer.Column("next", std::vector<double>{1.5});
    const std::vector<uint8_t> bytes = answer.Finish();
    EXPECT_EQ(bytes.size() % 8, 0U) << length;
    EXPECT_THAT(ReadAnswerBytes(bytes).Of("next"), ElementsAre(1.5)) << length;
  }
}

TEST(AnswerBytesTest, RefusalsTellCodeAndWordsAndLeaveOutWhatIsEmpty) {
  const ReadAnswer read = ReadAnswerBytes(
      AnswerBytes::Of({Refusal::DAMAGED, "it is \"broken\"\n", "a.trace", {}, "mend it"}));
  EXPECT_EQ(read.Code(), "damaged");
  EXPECT_EQ(read.head["error"]["message"], "it is \"broken\"\n");
  EXPECT_EQ(read.head["error"]["file"], "a.trace");
  EXPECT_EQ(read.head["error"]["remedy"], "mend it");
  EXPECT_FALSE(read.head["error"].contains("place"));
  EXPECT_THAT(read.columns, IsEmpty());
}

TEST(AnswerBytesTest, NamesThatAreNoUtf8AreMendedAndNumbersThatAreNoneAreNull) {
  AnswerBytes answer;
  answer.Head().Key("name").Text(
      "a\xFF"
      "b\x01");
  answer.Head().Key("infinite").Real(std::numeric_limits<double>::infinity());
  answer.Head().Key("third").Real(1.0 / 3);
  answer.Head().Key("wide").Wide(~uint64_t{0});
  const ReadAnswer read = ReadAnswerBytes(answer.Finish());
  EXPECT_EQ(read.head["name"],
            "a\xEF\xBF\xBD"
            "b\x01");
  EXPECT_TRUE(read.head["infinite"].is_null());
  EXPECT_EQ(read.head["third"], 1.0 / 3);
  EXPECT_EQ(read.head["wide"], "18446744073709551615");
}

TEST(RefusalTest, EveryFaultOfTheEngineHasACodeThatPagesKnow) {
  const std::vector<std::pair<Fault::Kind, std::string>> codes = {
      {Fault::CUT_RECORD, "damaged"},         {Fault::CHANGED, "changed"},
      {Fault::SYSTEM, "unreadable"},          {Fault::OUT_OF_RANGE, "out-of-range"},
      {Fault::OUTSIDE_ARRAY, "out-of-range"}, {Fault::CANCELLED, "cancelled"},
      {Fault::OTHER_TRACE, "not-there"},      {Fault::DAMAGED_INDEX, "damaged"},
      {Fault::DAMAGED_NOTES, "damaged"}};
  for (const auto& [kind, code] : codes) {
    Fault fault;
    fault.kind = kind;
    EXPECT_EQ(RefusalName(RefusalOf(fault).code), code) << FaultName(kind);
    EXPECT_EQ(RefusalOf(fault).ofIndex, kind == Fault::DAMAGED_INDEX);
  }
}

TEST(RefusalTest, EveryCodeHasTheNameThatProgramsSwitchOn) {
  const std::vector<std::pair<Refusal::Code, std::string>> names = {
      {Refusal::BAD_QUESTION, "bad-question"},
      {Refusal::TOO_LARGE, "too-large"},
      {Refusal::NO_SUCH_TRACE, "no-such-trace"},
      {Refusal::CHANGED, "changed"},
      {Refusal::NOT_INDEXED_YET, "not-indexed-yet"},
      {Refusal::OUT_OF_RANGE, "out-of-range"},
      {Refusal::DAMAGED, "damaged"},
      {Refusal::UNREADABLE, "unreadable"},
      {Refusal::BUSY, "busy"},
      {Refusal::CANCELLED, "cancelled"},
      {Refusal::TOO_MUCH, "too-much"},
      {Refusal::NOT_THERE, "not-there"},
      {Refusal::INTERNAL, "internal"}};
  for (const auto& [code, name] : names) {
    EXPECT_EQ(RefusalName(code), name);
  }
}

}  // namespace
}  // namespace marrowfin::testing
