#include "measure/expect/ReadRules.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "tests/support/Files.h"

namespace marrowfin {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

// A rule that is good, with more lines.
std::string RuleWith(const std::string& more) {
  return "[[rule]]\nname = \"r\"\nmeasure = \"fires\"\n" + more + "\n";
}

Rule OnlyRule(const std::string& text) {
  const Result<RuleFile> file = ParseRules(text, "dir/rules.toml");
  EXPECT_TRUE(file) << file.Why().Text();
  if (!file || file->rules.size() != 1) {
    ADD_FAILURE() << "not one rule";
    return {};
  }
  return file->rules[0];
}

std::vector<std::string> NamesOf(const Rule& rule) {
  std::vector<std::string> names;
  for (const MeasureEntry& measure : rule.measures) {
    names.push_back(measure->name);
  }
  return names;
}

// What is said of a text that is refused, without the file.
std::string WhyNot(const std::string& text) {
  const Result<RuleFile> file = ParseRules(text, "rules.toml");
  EXPECT_EQ(file.Why().kind, Fault::REFUSED_INPUT) << text;
  EXPECT_EQ(file.Why().file, "rules.toml");
  EXPECT_NE(file.Why().remedy, "");
  return file.Why().reason;
}

TEST(ReadRulesTest, ARuleHasAllThatItsKeysSay) {
  const Rule rule = OnlyRule(
      "format = 1\n"
      "[[rule]]\n"
      "name = \"Ünïcode\"\n"
      "description = \"\"\"two\nlines\"\"\"\n"
      "measure = [\"distance.max\", \"distance.p90\", \"distance.max\"]\n"
      "at_least = 1\n"
      "below = 6.5\n"
      "cycles = \"100:900\"\n"
      "every = 50\n"
      "region = \"cluster:2,0\"\n"
      "thread = 3\n"
      "kind = \"load\"\n"
      "where = [\"size>=64\", \"!packet\"]\n"
      "optional = true\n");
  EXPECT_EQ(rule.name, "Ünïcode");
  EXPECT_EQ(rule.description, "two\nlines");
  EXPECT_EQ(rule.line, 2U);
  EXPECT_THAT(NamesOf(rule), ElementsAre("distance.max", "distance.p90"));
  EXPECT_FALSE(rule.patterned);
  EXPECT_EQ(rule.bound.limits, (Limits{1, 6.5, false, true}));
  EXPECT_EQ(rule.scope.range.first, 100U);
  EXPECT_EQ(rule.scope.range.last, 900U);
  EXPECT_EQ(rule.scope.every, 50U);
  EXPECT_EQ(rule.scope.region->kind, RegionWords::CLUSTER);
  EXPECT_EQ(std::get<uint32_t>(*rule.scope.thread), 3U);
  EXPECT_THAT(rule.scope.where, ElementsAre("size>=64", "!packet", "kind=load"));
  EXPECT_TRUE(rule.optional);
  EXPECT_FALSE(rule.skip);
}

TEST(ReadRulesTest, WhatARuleDoesNotSayTheDefaultsDo) {
  const std::string defaults =
      "[defaults]\n"
      "cycles = \"100:\"\n"
      "thread = \"requests\"\n"
      "baseline = \"b.json\"\n"
      "within = \"5 %\"\n";
  Rule rule = OnlyRule(defaults + RuleWith(""));
  EXPECT_EQ(rule.scope.range.first, 100U);
  EXPECT_EQ(std::get<std::string>(*rule.scope.thread), "requests");
  EXPECT_EQ(rule.baseline, "dir/b.json") << "from the folder of the rules";
  EXPECT_DOUBLE_EQ(*rule.bound.withinShare, 0.05);
  rule = OnlyRule(defaults + RuleWith("cycles = \":9\"\nat_most = 3"));
  EXPECT_EQ(rule.scope.range.first, 0U);
  EXPECT_EQ(rule.scope.range.last, 9U);
  EXPECT_EQ(rule.baseline, "") << "it has a bound of its own";
  EXPECT_FALSE(rule.bound.IsWithin());
  rule = OnlyRule(defaults + RuleWith("at_most = \"105 %\""));
  EXPECT_EQ(rule.baseline, "dir/b.json");
  EXPECT_DOUBLE_EQ(*rule.bound.ofBaseline.most, 1.05);
  rule = OnlyRule(defaults + RuleWith("equals = 7"));
  EXPECT_EQ(rule.baseline, "");
  EXPECT_DOUBLE_EQ(*rule.bound.withinShare, 0.05) << "near to what it equals";
}

TEST(ReadRulesTest, PatternsMeanNumbersOfTheRun) {
  const Rule rule = OnlyRule(
      "[[rule]]\nname = \"r\"\nmeasure = [\"longestGap.*\", \"distance.*\"]\n"
      "except = [\"*.p*\", \"distance.count\"]\nat_most = 1\n");
  EXPECT_TRUE(rule.patterned);
  EXPECT_THAT(NamesOf(rule),
              ElementsAre("longestGap.cycles", "distance.mean", "distance.min", "distance.max"))
      << "without the cycle at which the gap ends";
}

TEST(ReadRulesTest, WithinIsANumberAShareOrBoth) {
  Bound bound = OnlyRule(RuleWith("equals = 9\nwithin = [\"2.5%\", 3]")).bound;
  EXPECT_DOUBLE_EQ(*bound.withinShare, 0.025);
  EXPECT_EQ(bound.within, 3.0);
  bound = OnlyRule(RuleWith("equals = 9\nwithin = 0.5")).bound;
  EXPECT_EQ(bound.within, 0.5);
  EXPECT_FALSE(bound.withinShare);
}

TEST(ReadRulesTest, AMistypedKeyOrMeasureGetsTheNearestRightOneAndItsLine) {
  EXPECT_EQ(WhyNot(RuleWith("at_mots = 6")), "line 4: a rule has no 'at_mots'; is at_most meant?");
  EXPECT_EQ(WhyNot("[defaults]\n\ncycle = \"1\"\n" + RuleWith("at_most = 6")),
            "line 3: [defaults] has no 'cycle'; is cycles meant?");
  EXPECT_EQ(WhyNot("formt = 1\n" + RuleWith("at_most = 6")),
            "line 1: a file of rules has no 'formt'; is format meant?");
  EXPECT_EQ(
      WhyNot("[[rule]]\nname = \"r\"\nat_most = 6\nmeasure = [\n\"fires\",\n\"distnce.max\"]"),
      "line 4: there is no measure 'distnce.max'; is distance.max meant?");
  EXPECT_THAT(WhyNot("[[rules]]\nname = \"r\"\n"), HasSubstr("is rule meant?"));
  EXPECT_THAT(WhyNot(RuleWith("latitude = 6")), HasSubstr("it may have name, description, "));
  EXPECT_THAT(WhyNot("[[rule]]\nname = \"r\"\nat_most = 1\nmeasure = \"what nobody measures\"\n"),
              HasSubstr("expect --measures lists them"));
}

TEST(ReadRulesTest, WhatCannotBeMeantIsRefusedWithItsLine) {
  const std::pair<std::string, std::string> refused[] = {
      {"", "line 1: there are no tables [[rule]]"},
      {"rule = 3\n", "line 1: there are no tables [[rule]]"},
      {"rule = []\n", "line 1: there are no tables [[rule]]"},
      {"format = 2\n" + RuleWith("at_most = 1"), "line 1: format 2 is newer than this program"},
      {"format = 0\n" + RuleWith("at_most = 1"), "line 1: format is no number of at least 1"},
      {"defaults = 1\n" + RuleWith("at_most = 1"), "line 1: defaults is no table"},
      {"[[rule]]\nmeasure = \"fires\"\nat_most = 1\n", "line 1: the rule has no name"},
      {"[[rule]]\nname = \"a\\nb\"\nmeasure = \"fires\"\nat_most = 1\n",
       "line 2: the name of the rule has a line feed or a control character"},
      {"[[rule]]\nname = \"a\"\nat_most = 1\n", "line 1: the rule has no measure"},
      {"[[rule]]\nname = \"a\"\nmeasure = \"zzz*\"\nat_most = 1\n",
       "line 3: no measure of the run is called as in 'zzz*'"},
      {"[[rule]]\nname = \"a\"\nmeasure = \"element.*\"\nat_most = 1\n",
       "line 3: no measure of the run is called as in 'element.*'"},
      {"[[rule]]\nname = \"a\"\nmeasure = 7\nat_most = 1\n",
       "line 3: measure is no text and no list of texts"},
      {RuleWith("at_most = 1\n\n") + RuleWith("at_most = 2"),
       "line 7: the rule on line 1 has the same name"},
      {RuleWith(""),
       "line 1: the rule bounds nothing: give at_least, at_most, above, below, "
       "equals or baseline"},
      {RuleWith("at_most = \"six\""), "line 4: at_most is no number, nor a share as in \"105 %\""},
      {RuleWith("at_most = nan"), "line 4: at_most is no number, nor a share as in \"105 %\""},
      {RuleWith("at_most = inf"), "line 4: at_most is no number, nor a share as in \"105 %\""},
      {RuleWith("at_most = 6\nbelow = 7"), "line 5: below says again where the bound ends"},
      {RuleWith("at_most = 1\nat_least = 2"), "line 1: no number meets 2 to 1"},
      {RuleWith("at_most = \"105 %\""),
       "line 1: a bound in percent is a share of a baseline, and the rule has none"},
      {RuleWith("at_most = 1\nwithin = 3"),
       "line 1: within says how near to equals or to a baseline, and the rule has neither"},
      {RuleWith("equals = 1\nwithin = -3"),
       "line 5: within is a number, a share as in \"5 %\", or both in a list"},
      {RuleWith("equals = 1\nwithin = [1, 2]"), "line 5: within says the same twice"},
      {RuleWith("baseline = \"b\""),
       "line 1: the rule does not say how near to the baseline: give within, or bounds in percent"},
      {RuleWith("baseline = \"b\"\nequals = 3\nwithin = 1"),
       "line 1: equals and baseline both say what the measure is to be"},
      {RuleWith("baseline = \"\"\nwithin = 1"), "line 4: baseline is no name of a file"},
      {RuleWith("baseline = \"b\"\nwithin = 1\nevery = 5"),
       "line 1: a baseline has one number for each measure: fires every so many cycles has more"},
      {"[[rule]]\nname = \"r\"\nmeasure = \"element.gap\"\nbaseline = \"b\"\nwithin = 1\n",
       "line 1: a baseline has one number for each measure: element.gap is one of each element"},
      {RuleWith("at_most = 1\nexcept = \"*\""), "line 5: except leaves no measure"},
      {RuleWith("at_most = 1\ncycles = \"9:1\""), "line 5: 9:1 ends before it begins"},
      {RuleWith("at_most = 1\ncycles = 9"), "line 5: cycles is no text"},
      {RuleWith("at_most = 1\nregion = \"cluster\""), "line 5: cluster is no "},
      {RuleWith("at_most = 1\nevery = 0"), "line 5: every is no number of cycles of at least 1"},
      {RuleWith("at_most = 1\nthread = -1"),
       "line 5: thread is no number of a thread and no name of one"},
      {RuleWith("at_most = 1\nthread = 4294967296"),
       "line 5: thread is no number of a thread and no name of one"},
      {RuleWith("at_most = 1\nskip = true"), "line 5: skip is no text"},
      {RuleWith("at_most = 1\nskip = \"\""),
       "line 5: skip is the reason why the rule is not asked, in a line"},
      {RuleWith("at_most = 1\noptional = 1"), "line 5: optional is neither true nor false"},
      {RuleWith("at_most = "), "line 4: "},
      {RuleWith("at_most = 1\nwhen = 2026-11-22"),
       "line 5: a date or a time stands outside of a text: put it in quotes"},
  };
  for (const auto& [text, reason] : refused) {
    EXPECT_THAT(WhyNot(text), StartsWith(reason)) << text;
  }
}

TEST(ReadRulesTest, ManyRulesAreToBeParted) {
  std::string text;
  for (size_t i = 0; i <= MOST_RULES; ++i) {
    text += "[[rule]]\nname = \"" + std::to_string(i) + "\"\nmeasure = \"fires\"\nat_most = 1\n";
  }
  EXPECT_EQ(WhyNot(text), "line 4001: there are more than 1000 rules");
}

TEST(ReadRulesTest, EveryCutOfAFileIsReadOrRefused) {
  const std::string text =
      "[defaults]\ncycles = \"1:9\"\n[[rule]]\nname = \"a\"\nmeasure = \"fires\"\nwithin = [1, \"5 "
      "%\"]\nequals = 3\nwhere = [\"a=1\"]\n[[rule]]\nname = \"ü\"\nmeasure = \"*\"\nat_most = 1\n";
  ASSERT_TRUE(ParseRules(text, "t"));
  size_t read = 0;
  for (size_t size = 0; size < text.size(); ++size) {
    const Result<RuleFile> file = ParseRules(text.substr(0, size), "t");
    read += file ? 1 : 0;
    EXPECT_TRUE(file || !file.Why().reason.empty()) << size;
  }
  EXPECT_GT(read, 0U);
}

TEST(ReadRulesTest, AFileIsReadByItsName) {
  const testing::TempDir folder;
  testing::WriteFile(folder.File("r.toml"), RuleWith("at_most = 1"));
  const Result<RuleFile> file = ReadRules(folder.File("r.toml"));
  ASSERT_TRUE(file) << file.Why().Text();
  EXPECT_EQ(file->name, folder.File("r.toml"));
  EXPECT_EQ(ReadRules(folder.File("none")).Why().kind, Fault::SYSTEM);
  testing::WriteFile(folder.File("large"), std::string((1 << 20) + 1, '\n'));
  EXPECT_THAT(ReadRules(folder.File("large")).Why().reason, HasSubstr("larger than 1 MiB"));
}

}  // namespace
}  // namespace marrowfin
