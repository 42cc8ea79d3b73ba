#include "measure/expect/Baseline.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/Files.h"

namespace marrowfin {
namespace {

using ::testing::HasSubstr;
using ::testing::IsNull;
using ::testing::Pointee;

typedef Baseline::Numbers Numbers;

Baseline Parsed(const std::string& text) {
  Result<Baseline> baseline = Baseline::Parse(text, "b.json");
  EXPECT_TRUE(baseline) << baseline.Why().Text();
  return baseline ? std::move(baseline).Take() : Baseline();
}

TEST(BaselineTest, WhatIsWrittenIsReadAgainToTheLastDigit) {
  Baseline baseline;
  baseline.Set("b", {{"fires", 3}, {"firesPerCycle", 5 / 11.0}});
  baseline.Set("a \"quoted\"", {{"x", -1e300}});
  EXPECT_EQ(baseline.Text(),
            "{\n"
            "  \"format\": 1,\n"
            "  \"rules\": {\n"
            "    \"a \\\"quoted\\\"\": {\n"
            "      \"x\": -1e+300\n"
            "    },\n"
            "    \"b\": {\n"
            "      \"fires\": 3,\n"
            "      \"firesPerCycle\": 0.45454545454545453\n"
            "    }\n"
            "  }\n"
            "}\n");
  EXPECT_EQ(Parsed(baseline.Text()), baseline);
  EXPECT_THAT(baseline.Of("b"), Pointee(Numbers{{"fires", 3}, {"firesPerCycle", 5 / 11.0}}));
  EXPECT_THAT(baseline.Of("c"), IsNull());
}

TEST(BaselineTest, WhatStatsPrintedIsOneForEveryRule) {
  const Baseline baseline = Parsed(
      R"({"firesPerCycle": 0.5, "trace": "t", "elements": {"imbalance": {"gini": 0.25}},
          "links": {"busiest": [{"load": 1}], "modelError": null}})");
  EXPECT_THAT(baseline.Of("any"),
              Pointee(Numbers{{"elements.imbalance.gini", 0.25}, {"firesPerCycle", 0.5}}));
}

TEST(BaselineTest, WhatIsNoBaselineIsRefused) {
  for (const char* const text : {"", "{", "[]", "3", "{}", R"({"fires": 3})", R"({"rules": 3})",
                                 R"({"rules": {"a": 3}})", R"({"rules": {"a": {"fires": "3"}}})",
                                 R"({"rules": {"a": {"fires": 1e999}}})", "\xff\xfe"}) {
    const Result<Baseline> baseline = Baseline::Parse(text, "b.json");
    EXPECT_EQ(baseline.Why().kind, Fault::REFUSED_INPUT) << text;
    EXPECT_THAT(baseline.Why().remedy, HasSubstr("--update-baseline")) << text;
  }
  EXPECT_EQ(Baseline::Parse("{\n\"rules\": {\n}", "b.json").Why().reason,
            "line 3: this is no JSON");
  std::string deep;
  for (int i = 0; i < 100000; ++i) {
    deep += "{\"a\":";
  }
  EXPECT_FALSE(Baseline::Parse(deep + "1" + std::string(100000, '}'), "b.json"));
}

TEST(BaselineTest, AFileIsReadUpTo16MiBAndRefusedBeyond) {
  const testing::TempDir folder;
  const std::string name = folder.File("b.json");
  const auto readWith = [&name](size_t size) {
    std::string text = R"({"rules": {"a": {"fires": 3}}})";
    text.resize(size, ' ');
    testing::WriteFile(name, text);
    return Baseline::Read(name);
  };
  EXPECT_TRUE(readWith(size_t{16} << 20));
  EXPECT_EQ(readWith((size_t{16} << 20) + 1).Why().kind, Fault::REFUSED_INPUT);
}

TEST(BaselineTest, AFileThatIsMissingIsToBeMade) {
  const testing::TempDir folder;
  const Fault fault = Baseline::Read(folder.File("none.json")).Why();
  EXPECT_EQ(fault.kind, Fault::SYSTEM);
  EXPECT_EQ(fault.remedy, "make it with --update-baseline");
}

}  // namespace
}  // namespace marrowfin
