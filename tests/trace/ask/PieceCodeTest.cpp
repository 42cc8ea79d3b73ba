#include "trace/ask/PieceCode.h"

#include <gtest/gtest.h>

#include <set>

#include "trace/ask/ArrayState.h"

namespace marrowfin::testing {
namespace {

template <class Codes>
void ExpectCodesTellThreadsAndAges() {
  std::set<uint8_t> seen = {Codes::UNTOUCHED};
  for (uint32_t thread = 0; thread < 6; ++thread) {
    for (unsigned age = 0; age <= Codes::OLDEST; ++age) {
      const uint8_t code = Codes::Encode(thread, age);
      EXPECT_EQ(Codes::Thread(code), thread);
      EXPECT_EQ(Codes::Age(code), age);
      EXPECT_EQ(Codes::Fades(code), age < Codes::OLDEST);
      EXPECT_EQ(Codes::Encode(thread + 6, age), code);
      EXPECT_TRUE(seen.insert(code).second);
    }
    EXPECT_EQ(Codes::Encode(thread, ~uint64_t{0}), Codes::Encode(thread, Codes::OLDEST));
  }
  EXPECT_FALSE(Codes::Fades(Codes::UNTOUCHED));
  EXPECT_EQ(seen.size(), Codes::COUNT);
  EXPECT_EQ(*seen.rbegin(), Codes::COUNT - 1);
}

TEST(PieceCodeTest, CodeTellsThreadAndAgeUntilTheColourRests) {
  ExpectCodesTellThreadsAndAges<ElementCodes>();
  ExpectCodesTellThreadsAndAges<SwitchCodes>();
}

TEST(PieceCodeTest, ColoursRestAtTheAgeFromWhichCodesAreTheSame) {
  for (uint32_t thread = 0; thread < 6; ++thread) {
    for (unsigned more = 1; more < 20; ++more) {
      EXPECT_TRUE(ElementColor(thread, ELEMENT_REST) == ElementColor(thread, ELEMENT_REST + more));
      EXPECT_TRUE(SwitchColor(thread, SWITCH_REST) == SwitchColor(thread, SWITCH_REST + more));
    }
  }
  EXPECT_FALSE(ElementColor(1, ELEMENT_REST) == ElementColor(1, ELEMENT_REST - 1));
  EXPECT_FALSE(SwitchColor(1, SWITCH_REST) == SwitchColor(1, SWITCH_REST - 1));
}

TEST(PieceCodeTest, PaletteOfAStepGivesEveryCodeItsColour) {
  for (const uint64_t step : {0, 1, 2, 3, 4, 5, 8, 9, 1000}) {
    const ElementPalette elements = ElementPaletteAt(step);
    const SwitchPalette switches = SwitchPaletteAt(step);
    EXPECT_TRUE(elements[ElementCodes::UNTOUCHED] == UntouchedElementColor(step));
    EXPECT_TRUE(switches[SwitchCodes::UNTOUCHED] == UntouchedSwitchColor(step));
    for (uint32_t thread = 0; thread < 6; ++thread) {
      for (uint64_t age = 0; age < 12; ++age) {
        EXPECT_TRUE(elements[ElementCodes::Encode(thread, age)] == ElementColor(thread, age));
        EXPECT_TRUE(switches[SwitchCodes::Encode(thread, age)] == SwitchColor(thread, age));
      }
    }
  }
}

TEST(PieceCodeTest, DifferenceOfTwoStatesIsWhatOneHasAndTheOtherHasNot) {
  ArrayState before;
  before.elementCodes = {0, 1, 2, 3};
  before.switchCodes = {5};
  before.messages.resize(3);
  ArrayState after = before;
  EXPECT_TRUE(Difference(before, after).elements.empty());
  after.elementCodes = {0, 2, 2, 0};
  after.switchCodes = {6};
  for (uint64_t i = 0; i < 3; ++i) {
    before.messages[i].record = 10 + i;
    after.messages[i].record = 11 + 2 * i;
  }
  const StateChanges changes = Difference(before, after);
  EXPECT_EQ(changes.elements, (std::vector<PieceChange>{{1, 1, 2}, {3, 3, 0}}));
  EXPECT_EQ(changes.switches, (std::vector<PieceChange>{{0, 5, 6}}));
  EXPECT_EQ(changes.gone, (std::vector<LiveMessage>{before.messages[0], before.messages[2]}));
  EXPECT_EQ(changes.appeared, (std::vector<LiveMessage>{after.messages[1], after.messages[2]}));
}

}  // namespace
}  // namespace marrowfin::testing
