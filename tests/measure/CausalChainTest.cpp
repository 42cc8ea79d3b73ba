// Chains, cones, bounds and slack of small runs, against what every path of their causes tells.

#include "measure/CausalChain.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <random>
#include <set>

#include "measure/CausalCone.h"
#include "measure/RunBounds.h"
#include "tests/measure/CausesFixture.h"
#include "tests/trace/support/RandomTrace.h"

namespace marrowfin::testing {
namespace {

constexpr uint64_t NEVER = ~uint64_t{0};

// A small run whose causes are drawn and told, and everything about it the slow way.
class SmallRun {
 public:
  explicit SmallRun(unsigned seed) : random(seed) {
    const size_t count = 2 + random() % 16;
    uint64_t cycle = random() % 50;
    for (uint64_t record = 0; record < count; ++record) {
      cycle += random() % 6;
      Event event = {random() % 2 == 0 ? uint32_t{FIRE_RECORD} : uint32_t{SEND_RECORD},
                     cycle,
                     static_cast<uint32_t>(random() % 3),
                     AnyPlace(),
                     {}};
      if (event.type == FIRE_RECORD) {
        run.recorder.Fire(cycle, event.thread, event.at);
      } else {
        event.to = AnyPlace();
        run.recorder.Send(cycle, event.thread, event.at, event.to);
      }
      events.push_back(event);
      causes.push_back(DrawCauses(record));
    }
    run.End();
    Result<Causes> result = run.Find(Flat(4));
    EXPECT_TRUE(IsFine(result.Why()));
    found.emplace(std::move(result).Take());
    FindLeast();
  }

  uint64_t Time(uint64_t record) const { return events[record].cycle; }

  // The least time from a record to anything that it caused, of all records like it.
  uint64_t Least(uint64_t record) const {
    const auto found = least.find(ClassOf(record));
    return found == least.end() ? 0 : found->second;
  }
  bool IsFire(uint64_t record) const { return events[record].type == FIRE_RECORD; }

  // The cause that left the least time to spare.
  std::optional<uint64_t> BindingOf(uint64_t record) const {
    std::optional<uint64_t> best;
    for (const uint64_t cause : causes[record]) {
      if (!best || Time(cause) + Least(cause) >= Time(*best) + Least(*best)) {
        best = cause;
      }
    }
    return best;
  }

  // Calls with each path from a record without causes to `end`, the end first.
  void EachPathTo(uint64_t end, const std::function<void(const Numbers&)>& call) const {
    Numbers path = {end};
    Extend(path, causes, call);
  }

  std::vector<Numbers> Effects() const {
    std::vector<Numbers> effects(events.size());
    for (uint64_t record = 0; record < events.size(); ++record) {
      for (const uint64_t cause : causes[record]) {
        effects[cause].push_back(record);
      }
    }
    return effects;
  }

  // Calls with each path from `begin` to a record that caused nothing.
  void EachPathFrom(uint64_t begin, const std::function<void(const Numbers&)>& call) const {
    Numbers path = {begin};
    Extend(path, Effects(), call);
  }

  std::mt19937 random;
  RecordedRun run;
  std::vector<Event> events;
  std::vector<Numbers> causes;
  std::optional<Causes> found;

 private:
  Place AnyPlace() {
    return {static_cast<uint32_t>(random() % 4), static_cast<uint32_t>(random() % 2)};
  }

  Numbers DrawCauses(uint64_t record) {
    std::set<uint64_t> drawn;
    for (unsigned i = random() % 4; i > 0 && record > 0; --i) {
      const uint64_t cause = random() % record;
      drawn.insert(cause);
      run.recorder.Note(IsFire(cause) ? run.producedBy : run.consumes, RecordNumber{cause});
    }
    return {drawn.begin(), drawn.end()};
  }

  // -1 for fires, for messages their distance.
  int ClassOf(uint64_t record) const {
    const Event& event = events[record];
    const auto apart = [](uint32_t a, uint32_t b) {
      return static_cast<int>(a > b ? a - b : b - a);
    };
    return IsFire(record)
               ? -1
               : apart(event.at.column, event.to.column) + apart(event.at.row, event.to.row);
  }

  void FindLeast() {
    for (uint64_t effect = 0; effect < events.size(); ++effect) {
      for (const uint64_t cause : causes[effect]) {
        // Of a way and of all shorter ones.
        for (int key = ClassOf(cause); key >= (IsFire(cause) ? -1 : 0); --key) {
          const uint64_t took = Time(effect) - Time(cause);
          const auto [known, isNew] = least.try_emplace(key, took);
          known->second = std::min(known->second, took);
        }
      }
    }
  }

  static void Extend(Numbers& path, const std::vector<Numbers>& next,
                     const std::function<void(const Numbers&)>& call) {
    if (next[path.back()].empty()) {
      call(path);
    }
    for (const uint64_t record : next[path.back()]) {
      path.push_back(record);
      Extend(path, next, call);
      path.pop_back();
    }
  }

  std::map<int, uint64_t> least;
};

class CausalPathsTest : public ::testing::TestWithParam<unsigned> {};

TEST_P(CausalPathsTest, TheChainIsThatOfTheCausesThatLeftTheLeastTimeToSpare) {
  const SmallRun run(GetParam());
  for (uint64_t record = 0; record < run.events.size(); ++record) {
    Numbers wanted;
    for (std::optional<uint64_t> at = record; at; at = run.BindingOf(*at)) {
      wanted.insert(wanted.begin(), *at);
    }
    const Result<CausalChain> chain = FindChain(*run.found, ArrayShape(1, 1, 4), record);
    ASSERT_TRUE(chain);
    const Result<std::vector<ChainStep>> steps = StepsOf(*run.found, *chain, record, NEVER);
    ASSERT_TRUE(steps);
    Numbers got;
    TimeSplit sum;
    for (const ChainStep& step : *steps) {
      got.push_back(step.event.record);
      sum.Add(step.since);
    }
    EXPECT_EQ(got, wanted);
    EXPECT_EQ(chain->Steps(), wanted.size());
    EXPECT_EQ(chain->time, sum);
    EXPECT_EQ(chain->time.Sum(), run.Time(record) - run.Time(wanted[0]));
    TimeSplit placed;
    for (const ChainPlace& place : chain->places) {
      placed.Add(place.time);
    }
    EXPECT_EQ(placed, sum);
  }
}

TEST_P(CausalPathsTest, NoPathAllowsAnEarlierEndThanTheBound) {
  const SmallRun run(GetParam());
  if (!run.found->last) {
    return;
  }
  const auto boundOf = [&](bool freeMessages, bool instantWork) {
    uint64_t bound = 0;
    const bool hasFires = std::any_of(run.events.begin(), run.events.end(),
                                      [](const Event& e) { return e.type == FIRE_RECORD; });
    for (uint64_t end = 0; end < run.events.size(); ++end) {
      if (run.IsFire(end) != hasFires) {
        continue;
      }
      run.EachPathTo(end, [&](const Numbers& path) {
        uint64_t time = run.Time(path.back());
        for (size_t i = 1; i < path.size(); ++i) {
          const bool isFree = run.IsFire(path[i]) ? instantWork : freeMessages;
          time += isFree ? 0 : run.Least(path[i]);
        }
        bound = std::max(bound, time);
      });
    }
    return bound;
  };
  const Result<RunBounds> bounds = FindBounds(*run.found);
  ASSERT_TRUE(bounds);
  EXPECT_EQ(bounds->noWaits, boundOf(false, false));
  EXPECT_EQ(bounds->freeMessages, boundOf(true, false));
  EXPECT_EQ(bounds->instantWork, boundOf(false, true));
  EXPECT_EQ(bounds->end, run.Time(*run.found->last));
  EXPECT_LE(bounds->noWaits, bounds->end);
  EXPECT_LE(bounds->freeMessages, bounds->noWaits);
  EXPECT_LE(bounds->instantWork, bounds->noWaits);
}

TEST_P(CausalPathsTest, SlackIsWhatEveryPathToTheEndAllows) {
  const SmallRun run(GetParam());
  if (!run.found->last) {
    return;
  }
  const uint64_t end = run.Time(*run.found->last);
  std::map<std::pair<uint32_t, uint32_t>, std::vector<uint64_t>> wanted;
  for (uint64_t record = 0; record < run.events.size(); ++record) {
    if (!run.IsFire(record)) {
      continue;
    }
    uint64_t slack = NEVER;
    run.EachPathFrom(record, [&](const Numbers& path) {
      uint64_t allowed = end > run.Time(path.back()) ? end - run.Time(path.back()) : 0;
      for (size_t i = 1; i < path.size(); ++i) {
        const uint64_t took = run.Time(path[i]) - run.Time(path[i - 1]);
        allowed += run.BindingOf(path[i]) == path[i - 1] ? 0 : took - run.Least(path[i - 1]);
      }
      slack = std::min(slack, allowed);
    });
    wanted[{run.events[record].at.row, run.events[record].at.column}].push_back(slack);
  }
  const Result<RunSlack> slack = FindSlack(*run.found);
  ASSERT_TRUE(slack);
  ASSERT_EQ(slack->places.size(), wanted.size());
  for (const PlaceSlack& place : slack->places) {
    const std::vector<uint64_t>& fires = wanted.at({place.at.row, place.at.column});
    EXPECT_EQ(place.fires, fires.size());
    EXPECT_EQ(place.least, *std::min_element(fires.begin(), fires.end()));
    double sum = 0;
    for (const uint64_t value : fires) {
      sum += static_cast<double>(value);
    }
    EXPECT_DOUBLE_EQ(place.mean, sum / static_cast<double>(fires.size()));
  }
}

TEST_P(CausalPathsTest, ConesHoldWhatAPathLeadsToOrFrom) {
  const SmallRun run(GetParam());
  for (uint64_t record = 0; record < run.events.size(); ++record) {
    std::set<uint64_t> back;
    std::set<uint64_t> forward;
    run.EachPathTo(record, [&](const Numbers& path) { back.insert(path.begin(), path.end()); });
    run.EachPathFrom(record,
                     [&](const Numbers& path) { forward.insert(path.begin(), path.end()); });
    for (const auto& [direction, wanted] :
         {std::pair(ConeDirection::BACK, back), std::pair(ConeDirection::FORWARD, forward)}) {
      const Result<CausalCone> cone = FindCone(*run.found, record, direction);
      ASSERT_TRUE(cone);
      EXPECT_EQ(cone->Events(), wanted.size());
      EXPECT_EQ(cone->records.Size(), wanted.size());
      EXPECT_EQ(cone->firstCycle, run.Time(*wanted.begin()));
      EXPECT_EQ(cone->lastCycle, run.Time(*wanted.rbegin()));
      uint64_t fires = 0;
      for (const uint64_t member : wanted) {
        EXPECT_TRUE(cone->records.Has(member));
        fires += run.IsFire(member) ? 1 : 0;
      }
      EXPECT_EQ(cone->fires, fires);
      uint64_t placed = 0;
      for (const CausalCone::Fires& place : cone->places) {
        placed += place.fires;
      }
      EXPECT_EQ(placed, fires);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Drawn, CausalPathsTest, ::testing::Range(1U, 121U));

TEST(RunBoundsTest, RunsOfMoreThanTwoThousandMillionCyclesAreTimedAsWell) {
  constexpr uint64_t LONG = uint64_t{1} << 40;
  RecordedRun run;
  const RecordNumber first = run.recorder.Fire(5, 0, {0, 0});
  const RecordNumber send = run.recorder.Send(6, 0, {0, 0}, {1, 0});
  run.recorder.Note(run.producedBy, first);
  run.recorder.Fire(10 + LONG, 0, {1, 0});
  run.recorder.Note(run.consumes, send);
  run.End();
  const Result<Causes> causes = run.Find(Flat(2));
  ASSERT_TRUE(causes);
  const Result<RunBounds> bounds = FindBounds(*causes);
  ASSERT_TRUE(bounds);
  EXPECT_EQ(bounds->noWaits, 10 + LONG);
  EXPECT_EQ(bounds->freeMessages, 6U);
  EXPECT_EQ(bounds->instantWork, 9 + LONG);
  const Result<RunSlack> slack = FindSlack(*causes);
  ASSERT_TRUE(slack);
  EXPECT_EQ(slack->places[0].least, 0U);
}

TEST(RunBoundsTest, WhoAsksToStopGetsNoAnswer) {
  const Opened run(Encode(std::vector<Event>(1000, {FIRE_RECORD, 1, 0, {0, 0}, {}})));
  const Result<Causes> causes = FindCauses(*run.trace, *run.index, nullptr, Flat(2));
  ASSERT_TRUE(causes);
  const auto stop = [](const Progress&) { return false; };
  EXPECT_EQ(FindBounds(*causes, stop).Why().kind, Fault::CANCELLED);
  EXPECT_EQ(FindSlack(*causes, stop).Why().kind, Fault::CANCELLED);
}

TEST(CausalConeTest, OnlyCausesThatNobodyToldCountAsInferred) {
  RecordedRun run;
  const RecordNumber first = run.recorder.Fire(5, 0, {0, 0});
  const RecordNumber send = run.recorder.Send(6, 0, {0, 0}, {1, 0});
  run.recorder.Note(run.producedBy, first);
  run.recorder.Fire(9, 0, {1, 0});
  run.recorder.Note(run.consumes, send);
  run.End();
  for (const auto& [told, inferred] : {std::pair(true, 0U), std::pair(false, 2U)}) {
    const Result<Causes> causes = run.Find(Flat(2), told);
    ASSERT_TRUE(causes);
    for (const auto& [record, direction] :
         {std::pair(2U, ConeDirection::BACK), std::pair(0U, ConeDirection::FORWARD)}) {
      const Result<CausalCone> cone = FindCone(*causes, record, direction);
      ASSERT_TRUE(cone);
      EXPECT_EQ(cone->Events(), 3U);
      EXPECT_EQ(cone->inferred, inferred);
    }
  }
}

TEST(CausalConeTest, WhoAsksToStopGetsNoAnswer) {
  const Opened run(Encode(std::vector<Event>(20000, {FIRE_RECORD, 1, 0, {0, 0}, {}})));
  const Result<Causes> causes = FindCauses(*run.trace, *run.index, nullptr, Flat(2));
  ASSERT_TRUE(causes);
  const auto stop = [](const Progress&) { return false; };
  EXPECT_EQ(FindCone(*causes, 0, ConeDirection::FORWARD, stop).Why().kind, Fault::CANCELLED);
  EXPECT_EQ(FindCone(*causes, 19999, ConeDirection::BACK, stop).Why().kind, Fault::CANCELLED);
  const Result<CausalChain> chain = FindChain(*causes, Flat(2).shape, 19999);
  ASSERT_TRUE(chain);
  ASSERT_EQ(chain->Steps(), 20000U);
  EXPECT_EQ(FindChain(*causes, Flat(2).shape, 19999, stop).Why().kind, Fault::CANCELLED);
  EXPECT_EQ(StepsOf(*causes, *chain, 19999, NEVER, stop).Why().kind, Fault::CANCELLED);
}

TEST(CausalChainTest, PlacesAreTakenTogetherByDomainsAndClustersWithTheirSwitches) {
  const ArrayShape shape(2, 2, 2);
  const std::vector<ChainPlace> places = {{false, {0, 0}, {1, 0, 0}},
                                          {false, {1, 1}, {2, 0, 1}},
                                          {false, {2, 0}, {0, 4, 0}},
                                          {true, {1, 0}, {0, 2, 7}},
                                          {false, {3, 0}, {0, 3, 0}}};
  const std::vector<ChainPlace> domains = ByLevel(places, shape, Level::DOMAIN);
  ASSERT_EQ(domains.size(), 2U);
  EXPECT_EQ(domains[0].at, (Place{1, 0}));
  EXPECT_EQ(domains[0].time, (TimeSplit{0, 7, 0}));
  EXPECT_EQ(domains[1].at, (Place{0, 0}));
  const std::vector<ChainPlace> clusters = ByLevel(places, shape, Level::CLUSTER);
  ASSERT_EQ(clusters.size(), 2U);
  EXPECT_EQ(clusters[0].at, (Place{0, 0}));
  EXPECT_EQ(clusters[0].time, (TimeSplit{3, 7, 1}));
  EXPECT_EQ(clusters[1].time, (TimeSplit{0, 2, 7}));
  EXPECT_EQ(OfKind(places, true).size(), 1U);
  EXPECT_EQ(OfKind(places, false).size(), 4U);
  EXPECT_EQ(OfKind(places, false)[0].at, (Place{2, 0}));
  EXPECT_EQ(OfKind(places, false)[1].at, (Place{3, 0})) << "of equally long ones the lower row";
}

}  // namespace
}  // namespace marrowfin::testing
