// Long questions about a run end where whoever asked them says so.

#include <gtest/gtest.h>

#include "measure/ChainPath.h"
#include "measure/CountThreads.h"
#include "measure/CyclesAsked.h"
#include "tests/measure/CausesFixture.h"
#include "tests/trace/support/RandomTrace.h"

namespace marrowfin::testing {
namespace {

class StoppedTest : public ::testing::Test {
 protected:
  // Asks a question twice: once whoever asked stops at the first word, once nobody does.
  template <class Question>
  void ExpectStopped(const Question& ask) {
    size_t words = 0;
    const Fault stopped = ask([&words](const Progress&) { return ++words > 1; });
    EXPECT_EQ(stopped.kind, Fault::CANCELLED) << stopped.Text();
    EXPECT_EQ(words, 1U) << "it went on";
    EXPECT_TRUE(IsFine(ask([](const Progress&) { return true; })));
  }

  // Messages alone, so that whoever looks for a fire looks everywhere; the cycles fall once.
  const Opened messages{Encode([] {
    std::vector<Event> events;
    for (uint64_t i = 0; i < 40000; ++i) {
      events.push_back({SEND_RECORD, i == 20000 ? 5 : i, 0, {0, 0}, {1, 1}});
    }
    return events;
  }())};

  const Opened fires{Encode(std::vector<Event>(40000, {FIRE_RECORD, 1, 0, {0, 0}, {}}))};
};

TEST_F(StoppedTest, CountingThreadsByPlace) {
  ThreadQuestion question;
  question.shape = ArrayShape(1, 1, 2);
  ExpectStopped([&](const ProgressCallback& progress) {
    return CountThreads(*fires.trace, *fires.index, question, progress).Why();
  });
}

TEST_F(StoppedTest, FindingTheCyclesOfEventsWhereCyclesFall) {
  EventFilter filter;
  filter.firstRecord = 10;
  ExpectStopped([&](const ProgressCallback& progress) {
    return CyclesAsked(*messages.trace, *messages.index, filter, progress).Why();
  });
}

TEST_F(StoppedTest, FindingTheLastFireOfAnElementThatHasNone) {
  ExpectStopped([&](const ProgressCallback& progress) {
    return LastFireOf(*messages.trace, *messages.index, {0, 0}, ~uint64_t{0}, progress).Why();
  });
}

TEST_F(StoppedTest, GatheringTheWayOfAChain) {
  const Result<Causes> causes = FindCauses(*fires.trace, *fires.index, nullptr, Flat(2));
  ASSERT_TRUE(causes);
  const Result<CausalChain> chain = FindChain(*causes, Flat(2).shape, 39999);
  ASSERT_TRUE(chain);
  ExpectStopped([&](const ProgressCallback& progress) {
    return PathOf(*causes, *chain, Flat(2).shape, Level::PE, progress).Why();
  });
}

}  // namespace
}  // namespace marrowfin::testing
