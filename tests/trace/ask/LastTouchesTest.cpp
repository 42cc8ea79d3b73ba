#include "trace/ask/LastTouches.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <utility>

#include "tests/trace/support/Opened.h"
#include "tests/trace/support/RandomTrace.h"
#include "trace/ask/StateReader.h"

namespace marrowfin::testing {
namespace {

constexpr uint64_t EVERY_CYCLE = ~uint64_t{0};

// Records by piece: whether it is a switch, and its number.
using Touches = std::map<std::pair<bool, uint32_t>, uint64_t>;

Touches Found(const Opened& opened, const ArrayState& state, const Region& region,
              uint64_t lastCycle = EVERY_CYCLE) {
  Touches touches;
  const auto take = [&](const Piece& piece, const Selection& found, size_t i) {
    EXPECT_TRUE(touches.insert({{piece.isSwitch, piece.number}, found.Record(i)}).second);
    return Fault();
  };
  EXPECT_TRUE(
      IsFine(FindLastTouches(*opened.trace, *opened.index, state, region, lastCycle, take)));
  return touches;
}

// By looking at every event.
Touches Expected(const std::vector<Event>& events, const ArrayState& state, const Region& region,
                 uint64_t lastCycle = EVERY_CYCLE) {
  Touches touches;
  for (uint64_t record = state.first; record < state.last; ++record) {
    const Event& event = events[record];
    if (event.type == SEND_RECORD || event.cycle > lastCycle || !region.Has(event.at)) {
      continue;
    }
    const bool isSwitch = event.type == SWITCH_RECORD;
    const size_t number =
        isSwitch ? state.shape.SwitchNumber(event.at) : state.shape.ElementNumber(event.at);
    touches[{isSwitch, static_cast<uint32_t>(number)}] = record;
  }
  return touches;
}

TEST(LastTouchesTest, EachPieceThatWasTouchedHasItsLastEvent) {
  std::mt19937 random(3);
  for (int round = 0; round < 60; ++round) {
    RandomTraceOptions options;
    options.records = 800;
    options.shape = {2, 1, 4};
    options.falling = round % 3 == 0;
    const std::vector<Event> events = RandomEvents(random, options);
    const Opened opened(Encode(events));
    const StateReader reader(*opened.trace, *opened.index, options.shape);
    const uint64_t cycle = random() % 250;
    ArrayState state;
    ASSERT_TRUE(Take(reader.AtCycle(cycle, {}), state));
    const Region somewhere = {{1, 2}, {6, 5}};
    for (const Region& region : {Region(), somewhere}) {
      EXPECT_EQ(Expected(events, state, region, cycle), Found(opened, state, region, cycle));
    }
    ASSERT_TRUE(Take(reader.AtStep(random() % 100, random() % 50, {}), state));
    EXPECT_EQ(Expected(events, state, {}), Found(opened, state, {}));
  }
}

TEST(LastTouchesTest, WhatWasTouchedLongAgoIsLookedUp) {
  // Two pieces at the start, then many events of another one.
  std::vector<Event> events = {{FIRE_RECORD, 1, 3, {0, 0}, {}},
                               {SWITCH_RECORD, 1, 4, {4, 4}, {}},
                               {FIRE_RECORD, 1, 3, {7, 7}, {}},
                               {FIRE_RECORD, 1, 5, {7, 7}, {}}};
  events.resize(1'300'000, {FIRE_RECORD, 2, 1, {3, 3}, {}});
  const Opened opened(Encode(events));
  const ArrayShape shape(1, 1, 8);
  ArrayState state;
  ASSERT_TRUE(Take(StateReader(*opened.trace, *opened.index, shape).AtCycle(2), state));
  EXPECT_EQ((Touches{{{false, 0}, 0}, {{true, 0}, 1}, {{false, 63}, 3}, {{false, 27}, 1'299'999}}),
            Found(opened, state, {}));
}

TEST(LastTouchesTest, AFaultOfWhoTakesThemEndsTheSearch) {
  const Opened opened(Encode({{FIRE_RECORD, 1, 0, {0, 0}, {}}, {FIRE_RECORD, 1, 0, {1, 0}, {}}}));
  ArrayState state;
  ASSERT_TRUE(
      Take(StateReader(*opened.trace, *opened.index, ArrayShape(1, 1, 2)).AtCycle(1), state));
  int taken = 0;
  const auto refuse = [&](const Piece&, const Selection&, size_t) {
    ++taken;
    return CancelledFault("t.trace");
  };
  EXPECT_EQ(Fault::CANCELLED,
            FindLastTouches(*opened.trace, *opened.index, state, {}, EVERY_CYCLE, refuse).kind);
  EXPECT_EQ(1, taken);
}

// A state of another trace has pieces that this one never touched.
TEST(LastTouchesTest, AStateOfAnotherTraceIsAFault) {
  const Opened opened(Encode({{FIRE_RECORD, 1, 0, {0, 0}, {}}}));
  ArrayState state;
  ASSERT_TRUE(
      Take(StateReader(*opened.trace, *opened.index, ArrayShape(1, 1, 2)).AtCycle(1), state));
  state.elementCodes[1] = ElementCodes::Encode(0, 0);
  const auto take = [](const Piece&, const Selection&, size_t) { return Fault(); };
  EXPECT_TRUE(bool(FindLastTouches(*opened.trace, *opened.index, state, {}, EVERY_CYCLE, take)));
}

}  // namespace
}  // namespace marrowfin::testing
