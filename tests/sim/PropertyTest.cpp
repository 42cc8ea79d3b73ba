// Random programs on random arrays with random placements: results, laws of the trace and of the
// log. A failure names the seed, with which it happens again.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/sim/Laws.h"
#include "tests/sim/RandomProgram.h"
#include "tests/sim/Rig.h"

namespace marrowfin::sim::testing {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

// An array of a few processing elements with queues of any length, and threads and a placement.
RigOptions DrawOptions(Random& random) {
  RigOptions options;
  options.words = ArrayWords(1 + random.Below(3), 1 + random.Below(2), 1 + random.Below(3));
  const auto set = [&](const char* name, unsigned least, unsigned most) {
    options.words.push_back(std::string("-array/") + name);
    options.words.push_back(std::to_string(least + random.Below(most - least + 1)));
  };
  set("window", 2, 5);
  set("outputQueue", 1, 4);
  set("peLinkQueue", 1, 4);
  set("domainLinkQueue", 1, 4);
  set("switchLinkQueue", 1, 4);
  set("fireLatency", 1, 3);
  set("peLinkLatency", 1, 3);
  set("domainLinkLatency", 1, 3);
  set("switchLinkLatency", 1, 5);
  set("memoryLatency", 1, 9);
  set("memoryPorts", 1, 3);
  set("operandBuffer", 2000, 4000);
  options.threads = 1 + random.Below(4);
  options.placement =
      PlacementPolicies()[random.Below(static_cast<unsigned>(PlacementPolicies().size()))].name;
  options.operationsPerPe = random.Below(4);
  options.seed = random.Next();
  return options;
}

TEST(PropertyTest, RandomProgramsComputeWhatAPlainEvaluationComputes) {
  for (unsigned long long seed = 1; seed <= 400; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const RandomProgram program(seed);
    Random random(seed * 7919);
    const RigResult result = RunOnArray(program, DrawOptions(random));
    ASSERT_EQ("", result.fault);
    ASSERT_EQ(0U, WrongWords(program, result));
    ASSERT_EQ(0U, result.tokensLeft);
    unsigned long long fires = 0;
    for (const SegmentData& data : result.data) {
      fires += program.FiresOf(data);
    }
    ASSERT_EQ(fires, result.fires);
  }
}

TEST(PropertyTest, TracesAndLogsOfRandomProgramsObeyTheLaws) {
  for (unsigned long long seed = 1001; seed <= 1100; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const RandomProgram program(seed);
    Random random(seed * 7919);
    RigOptions options = DrawOptions(random);
    options.withTrace = true;
    options.withLog = true;
    const RigResult result = RunOnArray(program, options);
    ASSERT_EQ("", result.fault);
    ASSERT_THAT(BrokenTraceLaws(result.trace, result.shape), IsEmpty());
    ASSERT_THAT(BrokenLogLaws(result.log, program.GetGraph(), result.settings), IsEmpty());
    ASSERT_EQ(result.fires, RecordCounts(result.trace)[3]);
  }
}

TEST(PropertyTest, NarrowQueuesSlowAProgramDownButNeverStopIt) {
  for (unsigned long long seed = 2001; seed <= 2050; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const RandomProgram program(seed);
    RigOptions options;
    options.words = ArrayWords(4, 1, 1);
    options.words.insert(options.words.end(),
                         {"-array/.*LinkQueue", "1", "-array/outputQueue", "1", "-array/window",
                          "2", "-array/operandBuffer", "4000"});
    options.threads = 4;
    options.placement = "random";
    options.seed = seed;
    const RigResult result = RunOnArray(program, options);
    ASSERT_EQ("", result.fault);
    ASSERT_EQ(0U, result.tokensLeft);
    ASSERT_EQ(0U, WrongWords(program, result));
  }
}

// The log of a small run that obeys the laws, for the tests that break it.
class BrokenLogTest : public ::testing::Test {
 protected:
  BrokenLogTest() : program(FindProgram("sort")->make({8, 1, 1, 1})) {
    RigOptions options;
    options.words = ArrayWords(2, 2, 2);
    options.placement = "random";
    options.withLog = true;
    const RigResult result = RunOnArray(*program, options);
    log = result.log;
    settings = result.settings;
  }

  std::vector<std::string> Broken() const {
    return BrokenLogLaws(log, program->GetGraph(), settings);
  }

  // The first line that begins with `start`.
  std::string Line(const std::string& start) const {
    const size_t begin = ("\n" + log).find("\n" + start);
    return log.substr(begin, log.find('\n', begin) + 1 - begin);
  }

  void Remove(const std::string& line) { log.erase(log.find(line), line.size()); }

  std::unique_ptr<Program> program;
  std::string log;
  Settings settings;
};

TEST_F(BrokenLogTest, IsWholeBeforeItIsBroken) { EXPECT_THAT(Broken(), IsEmpty()); }

TEST_F(BrokenLogTest, AMissingSendShows) {
  Remove(Line("send"));
  EXPECT_THAT(Broken(), Contains("an arrival without a send"));
}

TEST_F(BrokenLogTest, AMissingArrivalShows) {
  Remove(Line("arrive"));
  EXPECT_THAT(Broken(), Contains(HasSubstr("wrongly")));
}

TEST_F(BrokenLogTest, AMissingLinkShows) {
  const std::string arrival = Line("arrive");
  const std::string message = arrival.substr(0, arrival.find(" array")).substr(7);
  const std::string id = message.substr(message.find(' ') + 1);
  const size_t begin = log.find(" " + id + " array/");
  const size_t link = log.rfind("\nlink", log.find("switch", begin));
  Remove(log.substr(link + 1, log.find('\n', link + 1) - link));
  EXPECT_THAT(Broken(), Contains("a message leaves a unit that it did not reach"));
}

TEST_F(BrokenLogTest, ALinkUsedTwiceInACycleShows) {
  const std::string line = Line("link");
  log.insert(log.find(line), line);
  EXPECT_THAT(Broken(), Contains(HasSubstr("two messages in one cycle")));
}

TEST_F(BrokenLogTest, AMessageThatIsFasterThanItsLinkShows) {
  for (LinkSettings* link : {&settings.peLink, &settings.domainLink, &settings.switchLink}) {
    ++link->latency;
    EXPECT_THAT(Broken(), Contains("a message is faster than its link"));
    --link->latency;
  }
}

TEST_F(BrokenLogTest, ALinkThatIsUsedWithoutACreditShows) {
  for (LinkSettings* link : {&settings.peLink, &settings.domainLink, &settings.switchLink}) {
    // As if there were no queue at all, and not even the last place of the wire.
    link->queue = 0 - link->latency;
    EXPECT_THAT(Broken(), Contains("a link is used without a credit"));
    link->queue = 4;
  }
  EXPECT_THAT(Broken(), IsEmpty());
}

// One domain in each of four clusters, so that its links to the switch are full for long.
TEST(CreditTest, QueuesThatAreFullHoldAsManyMessagesAsTheLinksHaveCreditsAndNoMore) {
  const std::unique_ptr<Program> program = FindProgram("sort")->make({24, 1, 1, 1});
  RigOptions options;
  options.words = ArrayWords(2, 1, 4);
  options.words.insert(
      options.words.end(),
      {"-array/.*LinkLatency", "3", "-array/switchLinkQueue", "5", "-array/domainLinkQueue", "2",
       "-array/peLinkQueue", "3", "-array/operandBuffer", "4000"});
  options.placement = "random";
  options.threads = 4;
  options.withLog = true;
  const RigResult result = RunOnArray(*program, options);
  ASSERT_EQ("", result.fault);
  EXPECT_THAT(BrokenLogLaws(result.log, program->GetGraph(), result.settings), IsEmpty());
  Settings narrower = result.settings;
  --narrower.switchLink.queue;
  EXPECT_THAT(BrokenLogLaws(result.log, program->GetGraph(), narrower),
              Contains("a link is used without a credit"));
  narrower = result.settings;
  --narrower.domainLink.queue;
  EXPECT_THAT(BrokenLogLaws(result.log, program->GetGraph(), narrower),
              Contains("a link is used without a credit"));
}

TEST_F(BrokenLogTest, AFireThatIsLoggedTwiceShows) {
  const std::string line = Line("fire");
  log.insert(log.find(line), line);
  EXPECT_THAT(Broken(), Contains("an operation fired twice"));
}

TEST_F(BrokenLogTest, AMissingFireShows) {
  Remove(Line("fire"));
  EXPECT_THAT(Broken(), Contains(HasSubstr("left over")));
}

}  // namespace marrowfin::sim::testing
