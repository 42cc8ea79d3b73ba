#include "measure/expect/Judge.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>

#include "measure/expect/FarMessages.h"
#include "measure/expect/ReadRules.h"
#include "tests/support/TraceText.h"
#include "tests/trace/support/Opened.h"
#include "tests/trace/support/RandomTrace.h"
#include "trace/base/About.h"
#include "trace/read/Companion.h"
#include "trace/write/Recorder.h"

namespace marrowfin {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using testing::Opened;
using ::testing::Optional;

// Four elements and eleven cycles: one is busy, one is asked now and then, two do nothing.
constexpr char small[] =
    "fire 10 0 0 0\n"
    "fire 10 1 0 0\n"
    "send 10 0 0 0 1 0\n"
    "fire 11 0 0 0\n"
    "send 11 0 0 0 1 1\n"
    "fire 12 0 1 0\n"
    "send 19 0 1 0 1 1\n"
    "fire 20 0 1 0\n";

class JudgeTest : public ::testing::Test {
 protected:
  void Use(const std::string& text, const ArrayShape& shape = {1, 1, 2}) {
    opened.emplace(testing::TraceBytes(text));
    run.trace = opened->trace.get();
    run.index = opened->index.get();
    run.question.shape = shape;
  }

  std::vector<Verdict> Judged(const std::string& text) {
    if (!opened) {
      Use(small);
    }
    const Result<RuleFile> file = ParseRules(text, "rules.toml");
    EXPECT_TRUE(file) << file.Why().Text();
    if (!file) {
      return {};
    }
    rules = file->rules;
    Result<std::vector<Verdict>> verdicts = Judge(rules, baselines, run);
    EXPECT_TRUE(verdicts) << verdicts.Why().Text();
    return verdicts ? std::move(verdicts).Take() : std::vector<Verdict>();
  }

  // The verdict of a rule with a measure and these lines.
  Verdict Of(const std::string& measure, const std::string& lines) {
    const std::vector<Verdict> verdicts =
        Judged("[[rule]]\nname = \"r\"\nmeasure = \"" + measure + "\"\n" + lines + "\n");
    return verdicts.empty() ? Verdict() : verdicts[0];
  }

  // Its only finding.
  Finding In(const std::string& measure, const std::string& lines) {
    const Verdict verdict = Of(measure, lines);
    EXPECT_EQ(verdict.findings.size(), 1U);
    return verdict.findings.empty() ? Finding() : verdict.findings[0];
  }

  std::optional<Opened> opened;
  JudgedRun run;
  Baselines baselines;
  std::vector<Rule> rules;
};

TEST_F(JudgeTest, ANumberOfTheRunIsHeldAgainstItsBound) {
  Finding finding = In("firesPerCycle", "at_least = 0.4");
  EXPECT_TRUE(finding.holds);
  EXPECT_THAT(finding.value, Optional(5 / 11.0));
  EXPECT_EQ(FindingText(finding), "firesPerCycle is 0.454545 a cycle, wanted at least 0.4");
  finding = In("firesPerCycle", "at_least = 0.8\ncycles = \"11:14\"");
  EXPECT_FALSE(finding.holds);
  EXPECT_THAT(finding.value, Optional(0.5));
  EXPECT_EQ(FindingPlaceText(finding), "cycle 13, of cycles 11 to 14") << "the first without one";
  EXPECT_EQ(Of("firesPerCycle", "at_least = 0.8").outcome, Outcome::FAILS);
}

TEST_F(JudgeTest, ANumberThatLooksLikeItsBoundIsToldInFull) {
  EXPECT_EQ(FindingText(In("firesPerCycle", "at_most = 0.4545454")),
            "firesPerCycle is 0.45454545454545453 a cycle, wanted at most 0.4545454");
}

TEST_F(JudgeTest, TheFarthestMessageIsFoundAndThoseThatGoFurtherAreCounted) {
  Finding finding = In("distance.max", "at_most = 1");
  EXPECT_FALSE(finding.holds);
  ASSERT_TRUE(finding.witness.message);
  EXPECT_EQ(finding.witness.message->record, 4U);
  EXPECT_EQ(FindingText(finding), "distance.max is 2 links, wanted at most 1");
  EXPECT_EQ(FindingPlaceText(finding),
            "record 4 at cycle 11, from (0, 0) to (1, 1), of cycles 10 to 20");
  finding = In("distance.max", "at_most = 0");
  EXPECT_EQ(finding.messages, 3U);
  EXPECT_EQ(finding.witness.message->record, 4U) << "the farthest, not the first";
  finding = In("distance.mean", "at_most = 0.5");
  EXPECT_EQ(finding.witness.message->record, 2U) << "the first that goes further";
  EXPECT_EQ(In("distance.max", "at_most = 1\ncycles = \"12:\"").holds, true);
  finding = In("distance.max", "below = 2");
  EXPECT_EQ(finding.messages, 1U) << "two is too far already";
  EXPECT_TRUE(finding.witness.message);
  EXPECT_EQ(In("distance.mean", "below = 1").witness.message->record, 2U);
}

TEST_F(JudgeTest, OfUnitsEachMustHoldAndTheWorstIsTold) {
  Finding finding = In("element.gap", "at_most = 7");
  EXPECT_EQ(FindingText(finding), "element.gap is 8 cycles, wanted at most 7");
  EXPECT_EQ(FindingPlaceText(finding), "element (1, 0), cycle 20, of cycles 10 to 20");
  EXPECT_EQ(finding.compared, 2U) << "the others have no gap";
  finding = In("element.fires", "at_least = 1");
  EXPECT_EQ(finding.beyond, 2U);
  EXPECT_THAT(FindingPlaceText(finding), HasSubstr("element (0, 1)"));
  EXPECT_THAT(FindingPlaceText(finding), HasSubstr("beyond it are 2 of 4 elements"));
  EXPECT_TRUE(In("element.fires", "at_least = 1\nregion = \"0,0:1,0\"").holds);
  EXPECT_EQ(In("element.peak", "at_most = 1").witness.cycle, 10U);
  EXPECT_TRUE(In("element.peak", "at_most = 1\nthread = 0").holds);
}

TEST_F(JudgeTest, SpellsAreIdleCyclesAndCountTheEndsOfTheRange) {
  EXPECT_EQ(In("element.spell", "at_most = 0\nregion = \"1,0\"").value, 7.0)
      << "between the fires at 12 and 20";
  Finding finding = In("element.spell", "at_most = 0\nregion = \"0,0\"");
  EXPECT_EQ(finding.value, 9.0) << "12 to 20";
  EXPECT_EQ(finding.witness.cycle, 20U);
  EXPECT_EQ(In("element.spell", "at_most = 0\nregion = \"0,1\"").value, 11.0) << "it never fires";
  finding = In("element.spell", "at_most = 0\nregion = \"1,0\"\ncycles = \"10:13\"");
  EXPECT_EQ(finding.value, 2.0) << "10 and 11";
  EXPECT_EQ(finding.witness.cycle, 11U);
}

TEST_F(JudgeTest, ASwitchIsToldByItsClusterOrItsPosition) {
  Use("switch 3 0 4 4\nswitch 5 0 4 4\nswitch 5 1 4 4\nswitch 9 0 12 4\nfire 10 0 0 0\n",
      {{2, 1}, {1, 1}, {8, 8}});
  for (const char* const region : {"4,4", "cluster:0,0", "0,0:7,7"}) {
    const Finding finding =
        In("switch.peak", "at_most = 1\nregion = \"" + std::string(region) + "\"");
    EXPECT_EQ(finding.value, 2.0) << region;
    EXPECT_EQ(FindingPlaceText(finding),
              "switch of cluster (0, 0) at (4, 4), cycle 5, of cycles 3 to 10");
  }
  EXPECT_TRUE(In("switch.peak", "at_most = 1\nregion = \"12,4\"").holds);
  EXPECT_EQ(In("switch.quiet", "at_most = 0").value, 1.0);
  EXPECT_EQ(In("switch.transmissions", "equals = 1").value, 3.0);
  EXPECT_EQ(Of("switch.peak", "at_most = 9\nregion = \"0,0\"").outcome, Outcome::UNTOLD);
  EXPECT_EQ(Of("switch.peak", "at_most = 9\nregion = \"domain:0,0\"").outcome, Outcome::UNTOLD);
}

TEST_F(JudgeTest, DomainsClustersAndLinksAreUnits) {
  Use("fire 0 0 0 0\nfire 1 0 3 0\nsend 1 0 1 0 2 0\nfire 9 0 1 0\n", {{2, 1}, {1, 1}, {2, 2}});
  Finding finding = In("cluster.fires", "at_most = 1");
  EXPECT_EQ(WitnessPlaceText(finding.witness), "cluster (0, 0)");
  EXPECT_EQ(In("domain.fires", "at_least = 2").value, 1.0);
  EXPECT_EQ(In("cluster.utilisation", "at_most = 0\nregion = \"cluster:1,0\"").value, 0.1 / 4);
  finding = In("link.messages", "at_most = 0");
  EXPECT_EQ(WitnessPlaceText(finding.witness), "link right of element (1, 0)");
  EXPECT_EQ(finding.value, 1.0);
  EXPECT_EQ(In("link.load", "at_most = 0").value, 0.1);
}

TEST_F(JudgeTest, LoadsAreSharesOfWhatTheCompanionTells) {
  Use("send 0 0 0 0 3 0\nswitch 0 0 4 4\nswitch 9 0 4 4\n", {{2, 1}, {1, 1}, {2, 2}});
  for (const char* const measure : {"switch.load", "switches.meanLoad", "switches.maxLoad"}) {
    EXPECT_EQ(In(measure, "at_most = 1").untold,
              "the companion does not tell what switches can pass on");
  }
  EXPECT_EQ(In("link.load", "at_most = 0").value, 0.1);
  About about;
  about.links = AboutLinks{"xy", 0, 1, 0.5};
  about.switches = AboutSwitches{3, {}, {}};
  run.about = &about;
  const Finding finding = In("switch.load", "at_most = 0.05");
  EXPECT_EQ(WitnessPlaceText(finding.witness), "switch of cluster (0, 0) at (4, 4)");
  EXPECT_EQ(finding.value, 0.1) << "of three ports and a link that take half a message each";
  EXPECT_EQ(In("switches.meanLoad", "at_most = 0").value, 0.05);
  EXPECT_EQ(In("switches.maxLoad", "at_most = 0").value, 0.1);
  EXPECT_EQ(In("link.load", "at_most = 0").value, 0.2);
}

TEST_F(JudgeTest, EveryWindowMustHoldAndTheWorstIsTold) {
  const Finding finding = In("fires", "at_least = 2\nevery = 3");
  EXPECT_EQ(finding.compared, 3U) << "10 to 12, 13 to 15, 16 to 18; the rest is shorter";
  EXPECT_EQ(finding.beyond, 2U);
  EXPECT_EQ(finding.value, 0.0);
  EXPECT_THAT(FindingPlaceText(finding),
              HasSubstr("of cycles 13 to 15; beyond it are 2 of 3 windows"));
  EXPECT_EQ(In("fires", "at_least = 2\nevery = 11").value, 5.0) << "one that is the range";
  EXPECT_EQ(In("fires", "at_least = 2\nevery = 12").untold,
            "the range is shorter than a window of 12 cycles");
  Use("fire 0 0 0 0\nfire 18446744073709551615 0 0 0\n");
  EXPECT_THAT(In("fires", "at_least = 2\nevery = 1").untold, HasSubstr("make them longer"));
  EXPECT_EQ(In("fires", "at_least = 1\nevery = 9223372036854775807").compared, 2U);
}

TEST_F(JudgeTest, ARuleMayAskForTenThousandWindowsAndNoMore) {
  Use("fire 0 0 0 0\nfire 9999 0 0 0\n");
  EXPECT_EQ(In("fires", "at_most = 1\nevery = 1").compared, 10000U);
  Use("fire 0 0 0 0\nfire 10000 0 0 0\n");
  EXPECT_EQ(In("fires", "at_most = 1\nevery = 1").untold,
            "the range has over 10000 windows of 1 cycles: make them longer");
}

TEST_F(JudgeTest, ARegionMeansItsUnits) {
  EXPECT_EQ(In("elements.never", "at_most = 0\nregion = \"1,0:1,1\"").value, 1.0);
  const Finding finding = In("elements.never", "at_most = 0\nregion = \"1,0:1,1\"");
  EXPECT_EQ(WitnessPlaceText(finding.witness), "element (1, 1)");
  EXPECT_DOUBLE_EQ(*In("utilisation", "at_most = 0\nregion = \"1,0\"").value, 2 / 11.0);
  EXPECT_EQ(In("fires", "at_most = 0\nregion = \"1,0\"").value, 2.0);
}

TEST_F(JudgeTest, WhatTheRunDoesNotTellIsNoSuccess) {
  const std::pair<const char*, const char*> untold[] = {
      {"packets.latency.p99", "nothing tells packets"},
      {"distance.p50", "there are too few of them"},
      {"phases.count", "there are too few cycles"},
      {"switches.imbalance.gini", "nothing happened"},
      {"links.modelError", "nothing happened"},
  };
  for (const auto& [measure, why] : untold) {
    Verdict verdict = Of(measure, "at_most = 1e9");
    EXPECT_EQ(verdict.outcome, Outcome::UNTOLD) << measure;
    EXPECT_THAT(verdict.findings[0].untold, HasSubstr(why));
    EXPECT_THAT(FindingText(verdict.findings[0]),
                HasSubstr(std::string(measure) + " cannot be told: "));
    verdict = Of(measure, "at_most = 1e9\noptional = true");
    EXPECT_EQ(verdict.outcome, Outcome::SKIPPED);
    EXPECT_THAT(verdict.reason, HasSubstr(why));
  }
  EXPECT_EQ(In("fires", "at_most = 9\ncycles = \"21:\"").untold,
            "the run ends at cycle 20, before cycle 21");
  EXPECT_EQ(In("fires", "at_most = 9\ncycles = \":9\"").untold,
            "the run begins at cycle 10, behind cycle 9");
  EXPECT_EQ(In("fires", "at_most = 9\nregion = \"cluster:1,0\"").untold,
            "the array has no cluster at column 1, row 0");
  EXPECT_EQ(In("element.fires", "at_most = 9\nregion = \"domain:0,7\"").untold,
            "the array has no domain at column 0, row 7");
  EXPECT_EQ(In("element.fires", "at_most = 9\nregion = \"7,7\"").untold,
            "there is no element in 7,7 that has this number");
  EXPECT_EQ(In("fires", "at_most = 9\nkind = \"load\"").untold,
            "there are no notes beside the trace that could be asked for kind=load");
}

TEST_F(JudgeTest, ThreadsMayHaveTheNamesThatTheRunGaveThem) {
  About about;
  about.threads[1] = {"requests", "class"};
  EXPECT_EQ(In("fires", "at_most = 0\nthread = \"requests\"").untold,
            "the run names no thread requests: give its number");
  run.about = &about;
  EXPECT_EQ(In("fires", "at_most = 0\nthread = \"requests\"").value, 1.0);
  EXPECT_EQ(In("fires", "at_most = 0\nthread = \"request\"").untold,
            "the run names no thread request; is requests meant?");
}

TEST_F(JudgeTest, ThreadsMayBePackets) {
  Use("fire 1 7 0 0\nsend 2 7 0 0 1 0\nfire 5 7 1 0\nfire 6 8 0 0\n");
  run.packets = PacketsBy::THREADS;
  const Finding finding = In("packets.latency.max", "at_most = 3");
  EXPECT_EQ(finding.value, 4.0);
  EXPECT_EQ(FindingPlaceText(finding), "packet 7, cycle 5, of cycles 1 to 6");
  EXPECT_EQ(In("packets.underWay", "equals = 1").holds, true);
  run.packets = PacketsBy::NOTHING;
  EXPECT_EQ(Of("packets.latency.max", "at_most = 3").outcome, Outcome::UNTOLD);
}

TEST_F(JudgeTest, ABaselineSaysWhatIsWanted) {
  baselines["b.json"].Set("r", {{"fires", 4}, {"sends", 3}});
  Finding finding = In("fires", "baseline = \"b.json\"\nwithin = \"20 %\"");
  EXPECT_EQ(FindingText(finding), "fires is 5 fires, wanted 3.2 to 4.8 (the baseline has 4)");
  EXPECT_TRUE(In("fires", "baseline = \"b.json\"\nwithin = [\"20 %\", 1]").holds);
  EXPECT_TRUE(In("fires", "baseline = \"b.json\"\nat_least = \"100 %\"").holds);
  EXPECT_FALSE(In("fires", "baseline = \"b.json\"\nbelow = \"125 %\"").holds);
}

TEST_F(JudgeTest, WhatABaselineLacksIsToldAndOfManyMeasuresNoFailure) {
  Verdict verdict = Of("fires", "baseline = \"b.json\"\nwithin = 1");
  EXPECT_EQ(verdict.outcome, Outcome::UNTOLD);
  EXPECT_EQ(FindingText(verdict.findings[0]), "fires is 5 fires: the baseline has no such number");
  EXPECT_EQ(Of("*", "baseline = \"b.json\"\nwithin = 1").outcome, Outcome::UNTOLD)
      << "it knows nothing of the rule";
  baselines["b.json"].Set("r", {{"fires", 5}});
  EXPECT_EQ(Of("*", "baseline = \"b.json\"\nwithin = 1").outcome, Outcome::HOLDS);
  baselines["b.json"].Set("r", {{"fires", 5}, {"distance.p99", 2}});
  verdict = Of("*", "baseline = \"b.json\"\nwithin = 1");
  EXPECT_EQ(verdict.outcome, Outcome::UNTOLD) << "the run no longer tells it";
}

TEST_F(JudgeTest, ASkippedRuleIsNotAsked) {
  const Verdict verdict = Of("distance.max", "at_most = 0\nskip = \"for now\"");
  EXPECT_EQ(verdict.outcome, Outcome::SKIPPED);
  EXPECT_EQ(verdict.reason, "for now");
  EXPECT_TRUE(verdict.findings.empty());
}

TEST_F(JudgeTest, RulesAboutTheSamePartShareOneCount) {
  Use(small);
  const auto passes = [&](const std::string& text) {
    const Result<RuleFile> file = ParseRules(text, "rules.toml");
    EXPECT_TRUE(file) << file.Why().Text();
    rules = file->rules;
    int told = 0;
    const Result<std::vector<Verdict>> verdicts =
        Judge(rules, baselines, run, [&](const Progress& now) {
          ++told;
          return now.done <= now.all;
        });
    EXPECT_TRUE(verdicts);
    return told;
  };
  const std::string one = "[[rule]]\nname = \"a\"\nmeasure = \"fires\"\nat_most = 9\n";
  const int once = passes(one);
  ASSERT_GT(once, 0);
  EXPECT_EQ(passes(one + "[[rule]]\nname = \"b\"\nmeasure = \"element.gap\"\nat_most = 9\n" +
                   "region = \"0,0\"\n[[rule]]\nname = \"c\"\nmeasure = \"sends\"\nat_most = 9\n" +
                   "cycles = \"0:\"\n"),
            once)
      << "units are chosen after the count";
  EXPECT_GT(passes(one + "[[rule]]\nname = \"b\"\nmeasure = \"fires\"\nat_most = 9\nthread = 0\n"),
            once);
}

TEST_F(JudgeTest, TheSumTellsOutcomes) {
  const std::vector<Verdict> verdicts = Judged(
      "[[rule]]\nname = \"a\"\nmeasure = \"fires\"\nat_most = 9\n"
      "[[rule]]\nname = \"b\"\nmeasure = \"fires\"\nat_most = 1\n"
      "[[rule]]\nname = \"c\"\nmeasure = \"distance.p50\"\nat_most = 1\n"
      "[[rule]]\nname = \"d\"\nmeasure = \"fires\"\nat_most = 1\nskip = \"so\"\n");
  const VerdictCounts counts = CountVerdicts(verdicts);
  EXPECT_EQ(counts.holds, 1U);
  EXPECT_EQ(counts.fails, 1U);
  EXPECT_EQ(counts.untold, 1U);
  EXPECT_EQ(counts.skipped, 1U);
  EXPECT_FALSE(counts.AllHold());
}

TEST_F(JudgeTest, WhatNotesChooseIsCountedOverTheSameCyclesAsWhatTheyDoNot) {
  testing::TempDir folder;
  const std::string name = folder.File("run.trace");
  Recorder recorder;
  ASSERT_FALSE(recorder.Open(name));
  const NumberNote size = recorder.DeclareNumber("size");
  for (const uint64_t cycle : {100, 110, 40, 60}) {
    recorder.Send(cycle, 0, {0, 0}, {1, 0});
    recorder.Note(size, cycle);
  }
  ASSERT_FALSE(recorder.Close());
  const std::unique_ptr<TraceSource> trace = testing::OpenTrace(name);
  const std::unique_ptr<Index> index = testing::OpenIndex(*trace);
  const Companion companion = Companion::Beside(*trace);
  ASSERT_NE(companion.Notes(), nullptr);
  NotesOfTrace notes(*trace, *index, *companion.Notes());
  run.trace = trace.get();
  run.index = index.get();
  run.notes = &notes;
  run.question.shape = {1, 1, 2};
  opened.emplace("");  // nothing of it is asked
  for (const char* const where : {"", "\nwhere = \"size\""}) {
    const std::string rule = "equals = 0" + std::string(where);
    EXPECT_EQ(In("sends", rule).value, 4.0) << "cycles fall: none is before the first" << where;
    EXPECT_EQ(In("cycles", rule).value, 71.0) << where;
    run.question.filter.firstRecord = 2;
    EXPECT_EQ(In("cycles", rule).value, 21.0) << "of the records that were asked for" << where;
    run.question.filter.firstRecord = 0;
  }
}

TEST_F(JudgeTest, HowLongMessagesTakeToTheirFiresIsAMeasureWhereNotesTellIt) {
  EXPECT_EQ(In("sendToFire.max", "at_most = 1").untold,
            "nothing tells what fires consumed: record the trace with a companion that does");
  testing::TempDir folder;
  const std::string name = folder.File("run.trace");
  Recorder recorder;
  ASSERT_FALSE(recorder.Open(name));
  const RecordsNote consumes = recorder.DeclareRecords("consumes");
  const RecordNumber quick = recorder.Send(10, 0, {0, 0}, {1, 0});
  const RecordNumber slow = recorder.Send(11, 0, {0, 0}, {1, 1});
  recorder.Fire(12, 0, {1, 0});
  recorder.Note(consumes, quick);
  recorder.Fire(19, 0, {1, 1});
  recorder.Note(consumes, slow);
  ASSERT_FALSE(recorder.Close());
  const std::unique_ptr<TraceSource> trace = testing::OpenTrace(name);
  const std::unique_ptr<Index> index = testing::OpenIndex(*trace);
  const Companion companion = Companion::Beside(*trace);
  NotesOfTrace notes(*trace, *index, *companion.Notes());
  run.trace = trace.get();
  run.index = index.get();
  run.notes = &notes;
  const Finding finding = In("sendToFire.max", "at_most = 6");
  EXPECT_EQ(FindingText(finding), "sendToFire.max is 8 cycles, wanted at most 6");
  EXPECT_EQ(
      FindingPlaceText(finding),
      "record 1 at cycle 11, from (0, 0) to (1, 1), consumed at cycle 19, of cycles 10 to 19");
  EXPECT_TRUE(In("sendToFire.mean", "equals = 5").holds);
  EXPECT_EQ(In("sendToFire.count", "equals = 1\ncycles = \":12\"").value, 1.0);
  EXPECT_EQ(In("sendToFire.p95", "at_most = 6").untold, "there are too few of them");
}

// One thread whose message crosses two clusters and waits there for another fire's.
constexpr char crossing[] =
    "fire 10 0 0 0\n"
    "send 11 0 0 0 2 0\n"
    "fire 16 0 2 0\n"
    "fire 18 0 2 0\n"
    "send 19 1 2 0 3 0\n"
    "send 19 1 3 0 0 0\n"
    "send 20 1 3 0 1 0\n";

TEST_F(JudgeTest, TrafficIsHeldOfEachClusterToEachOther) {
  Use(crossing, {{2, 1}, {1, 1}, {2, 2}});
  Finding finding = In("traffic.messages", "at_most = 1");
  EXPECT_EQ(FindingText(finding), "traffic.messages is 2 messages, wanted at most 1");
  EXPECT_EQ(FindingPlaceText(finding),
            "cluster (1, 0) to cluster (0, 0), cycle 19, of cycles 10 to 20");
  EXPECT_EQ(finding.compared, 2U) << "clusters and themselves are no pairs";
  EXPECT_EQ(In("traffic.messages", "at_most = 1\nregion = \"cluster:0,0\"").value, 1.0);
  EXPECT_EQ(In("traffic.messages", "at_most = 1\nto = \"cluster:1,0\"").value, 1.0);
  EXPECT_EQ(
      In("traffic.messages", "at_most = 1\nregion = \"cluster:0,0\"\nto = \"cluster:0,0\"").untold,
      "there is no pair of different clusters in cluster:0,0 that has this number");
  EXPECT_EQ(In("traffic.messages", "at_most = 1\nto = \"cluster:2,0\"").untold,
            "the array has no cluster at column 2, row 0");
  EXPECT_DOUBLE_EQ(*In("traffic.rate", "at_most = 0").value, 2 / 11.0);
  EXPECT_EQ(In("traffic.messages", "at_most = 0\ncycles = \"20:\"").value, 1.0);
  finding = In("cluster.inner", "at_most = 0");
  EXPECT_EQ(finding.value, 1.0);
  EXPECT_EQ(WitnessPlaceText(finding.witness), "cluster (1, 0)");
}

TEST_F(JudgeTest, AnArrayOfTooManyClustersTellsNoTraffic) {
  Use(crossing, {{64, 32}, {1, 1}, {1, 1}});
  EXPECT_EQ(In("traffic.messages", "at_most = 1").untold,
            "the array has more clusters than traffic is told of");
}

TEST_F(JudgeTest, TheCriticalPathBoundsAndSlackAreMeasures) {
  // Nothing of it is told, so that all of it is inferred: a fire, its message, two more fires.
  Use("fire 10 0 0 0\nsend 11 0 0 0 2 0\nfire 16 0 2 0\nfire 17 1 3 1\nfire 18 0 2 0\n",
      {{2, 1}, {1, 1}, {2, 2}});
  EXPECT_EQ(In("chain.fires", "at_most = 9").value, 3.0);
  EXPECT_EQ(In("chain.messages", "at_most = 9").value, 1.0);
  EXPECT_EQ(In("chain.inferred", "at_most = 9").value, 3.0);
  EXPECT_EQ(In("causes.inferred", "at_most = 9").value, 3.0);
  EXPECT_EQ(In("chain.before", "at_most = 9").value, 0.0);
  const double work = *In("chain.time.work", "at_most = 9").value;
  const double travel = *In("chain.time.travel", "at_most = 9").value;
  const double wait = *In("chain.time.wait", "at_most = 9").value;
  EXPECT_EQ(work + travel + wait, 8.0) << "from cycle 10 to 18";
  EXPECT_EQ(travel, 5.0) << "the only message took no longer than it must";
  EXPECT_EQ(*In("chain.share.travel", "at_most = 1").value, travel / 8);
  EXPECT_EQ(In("bounds.end", "at_most = 99").value, 18.0);
  EXPECT_EQ(In("bounds.freeMessages", "at_most = 99").value, 17.0) << "what has no cause stays";
  Finding finding = In("chain.longestMessage", "at_most = 4");
  EXPECT_EQ(FindingText(finding), "chain.longestMessage is 5 cycles, wanted at most 4");
  EXPECT_EQ(
      FindingPlaceText(finding),
      "record 1 at cycle 11, from (0, 0) to (2, 0), consumed at cycle 16, of cycles 10 to 18");
  finding = In("element.slack.least", "at_most = 0");
  EXPECT_EQ(finding.compared, 3U) << "those that fired";
  EXPECT_EQ(FindingPlaceText(finding), "element (3, 1), cycle 18, of cycles 10 to 18");
  EXPECT_EQ(finding.value, 1.0) << "nothing follows from its fire, and one cycle is left";
  EXPECT_EQ(In("element.slack.mean", "at_least = 0\nregion = \"cluster:0,0\"").value, 0.0);
  EXPECT_EQ(In("element.chain.travel", "at_most = 0").value, 5.0) << "where the message arrived";
  EXPECT_EQ(WitnessPlaceText(In("cluster.chain.travel", "at_most = 0").witness), "cluster (1, 0)");
  EXPECT_EQ(In("domain.chain.travel", "at_most = 0").compared, 2U) << "those off the path have 0";
  EXPECT_EQ(In("switch.chain.wait", "at_most = 0").value, 0.0);
}

TEST_F(JudgeTest, CausesAreOfAWholeRunAndPatternsAskForThemOfNothingLess) {
  const auto names = [&](const std::string& lines) {
    const Result<RuleFile> file =
        ParseRules("[[rule]]\nname = \"r\"\nmeasure = \"*\"\nat_least = 0\n" + lines, "r");
    std::string all;
    for (const MeasureEntry& measure : file->rules.at(0).measures) {
      all += measure->name + " ";
    }
    return all;
  };
  EXPECT_THAT(names(""), HasSubstr("chain.time.wait"));
  EXPECT_THAT(names(""), HasSubstr("bounds.noWaits"));
  EXPECT_THAT(names("cycles = \"0:10\""), Not(HasSubstr("chain.time.wait")));
  EXPECT_THAT(names("thread = 1"), Not(HasSubstr("bounds")));
  const auto fault = [](const std::string& lines) {
    return ParseRules("[[rule]]\nname = \"r\"\nat_least = 0\n" + lines, "r").Why().Text();
  };
  EXPECT_THAT(fault("measure = \"chain.fires\"\ncycles = \"0:10\""),
              HasSubstr("chain.fires is about the causes of a whole run: leave out cycles, every, "
                        "region, thread, kind and where"));
  EXPECT_THAT(fault("measure = \"chain.*\"\nthread = 3"),
              HasSubstr("the rule is about a part of it"));
  EXPECT_TRUE(
      ParseRules("[[rule]]\nname = \"r\"\nat_least = 0\nmeasure = "
                 "\"element.slack.least\"\nregion = \"0,0\"",
                 "r"))
      << "which elements are asked";
  EXPECT_THAT(fault("measure = \"fires\"\nto = \"cluster:0,0\""),
              HasSubstr("to says where traffic goes, and the rule is of no measure of traffic"));
}

TEST_F(JudgeTest, ARunWithoutFiresAndMessagesHasNoCauses) {
  Use("switch 1 0 4 4\n", {1, 1, 8});
  EXPECT_EQ(In("chain.fires", "at_most = 9").untold, "the run has no fires and no messages");
  EXPECT_EQ(In("element.slack.least", "at_most = 9").untold,
            "the run has no fires and no messages");
}

TEST_F(JudgeTest, WhatWhyPrintsIsABaselineToo) {
  Use(crossing, {{2, 1}, {1, 1}, {2, 2}});
  Result<Baseline> why = Baseline::Parse(
      R"({"causes": {"told": 0}, "chain": {"fires": 3, "time": {"wait": 0}}})", "why.json");
  ASSERT_TRUE(why) << why.Why().Text();
  baselines["why.json"] = std::move(why).Take();
  EXPECT_TRUE(In("chain.fires", "baseline = \"why.json\"\nwithin = 0").holds);
}

TEST_F(JudgeTest, AnEmptyTraceAndWorkThatIsStoppedAreFaults) {
  Use("");
  const Result<RuleFile> file =
      ParseRules("[[rule]]\nname = \"a\"\nmeasure = \"fires\"\nat_most = 9\n", "r");
  EXPECT_EQ(Judge(file->rules, {}, run).Why().kind, Fault::OUT_OF_RANGE);
  Use(small);
  EXPECT_EQ(Judge(file->rules, {}, run, [](const Progress&) { return false; }).Why().kind,
            Fault::CANCELLED);
}

TEST(FarMessagesTest, LookingForOneStopsWhereWhoeverAsksSaysSo) {
  const Opened opened(
      testing::Encode(std::vector<testing::Event>(40000, {SEND_RECORD, 1, 0, {0, 0}, {1, 0}})));
  const FarMessageQuestion question = {
      *opened.trace, *opened.index, nullptr, {}, {}, ArrayShape(1, 1, 2), 2};
  size_t words = 0;
  const auto stop = [&words](const Progress&) { return ++words > 1; };
  EXPECT_EQ(FirstFarMessage(question, stop).Why().kind, Fault::CANCELLED);
  EXPECT_EQ(words, 1U);
  const Result<std::optional<TraceEvent>> none = FirstFarMessage(question);
  EXPECT_TRUE(none && !none->has_value());
}

TEST(FarMessagesTest, WhatIsNoMessageIsNeverFar) {
  const Opened opened(testing::TraceBytes("switch 1 0 1 1\nfire 1 0 1 1\nsend 2 0 0 0 1 1\n"));
  const Result<std::optional<TraceEvent>> far =
      FirstFarMessage({*opened.trace, *opened.index, nullptr, {}, {}, ArrayShape(1, 1, 2), 2});
  ASSERT_TRUE(far && far->has_value());
  EXPECT_EQ((*far)->record, 2U);
}

}  // namespace
}  // namespace marrowfin
