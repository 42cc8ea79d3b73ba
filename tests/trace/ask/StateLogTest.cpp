#include "trace/ask/StateLog.h"

#include <gtest/gtest.h>

#include <vector>

namespace marrowfin::testing {
namespace {

// A step in which one element fires, a switch transmits and a message is sent.
void Go(StateLog& log) {
  const uint64_t step = log.State().step;
  const uint32_t at = static_cast<uint32_t>(step % 8);
  log.Fire({at, 0}, at);
  log.Transmit({4, 4}, at);
  log.Send(step, at, {at, 0}, {0, at});
  log.Commit(step + 1, step * 10, true);
}

TEST(StateLogTest, StepsAreTakenBackAsFarAsTheyAreKeptAndTakenAgain) {
  StateLog log(AsBuilt({1, 1, 8}), 3000);
  std::vector<ArrayState> states = {log.State()};
  for (int step = 0; step < 100; ++step) {
    Go(log);
    ASSERT_LE(log.KeptBytes(), 3000U);
    states.push_back(log.State());
  }
  const size_t kept = log.KeptSteps();
  ASSERT_GT(kept, 2U);
  ASSERT_LT(kept, 50U);
  for (size_t step = 100; step > 100 - kept; --step) {
    ASSERT_TRUE(log.CanUndo());
    log.Undo();
    ASSERT_TRUE(log.State() == states[step - 1]) << step;
  }
  EXPECT_FALSE(log.CanUndo());
  for (size_t step = 100 - kept; step < 100; ++step) {
    ASSERT_TRUE(log.CanRedo());
    log.Redo();
    ASSERT_TRUE(log.State() == states[step + 1]) << step;
  }
  EXPECT_FALSE(log.CanRedo());
}

TEST(StateLogTest, LastStepIsKeptHoweverLittleRoomThereIs) {
  StateLog log(AsBuilt({1, 1, 8}), 0);
  for (int step = 0; step < 5; ++step) {
    Go(log);
    EXPECT_EQ(log.KeptSteps(), 1U);
    EXPECT_EQ(log.Changes().appeared.size(), 1U);
  }
  log.Undo();
  EXPECT_EQ(log.State().step, 4U);
  EXPECT_EQ(log.Changes().gone.size(), 1U);
  EXPECT_FALSE(log.CanUndo());
}

TEST(StateLogTest, WhatWasGatheredAndDroppedLeavesNoTrace) {
  StateLog log(AsBuilt({1, 1, 8}), 3000);
  for (int step = 0; step < 3; ++step) {
    Go(log);
  }
  const ArrayState before = log.State();
  log.Fire({0, 0}, 1);
  log.Fire({0, 0}, 2);
  log.Transmit({4, 4}, 3);
  log.Send(7, 0, {0, 0}, {1, 1});
  log.Drop();
  EXPECT_TRUE(log.State() == before);
  log.Commit(9, 40, false);
  EXPECT_EQ(log.State().elementCodes[0], ElementCodes::Encode(0, 3));
  EXPECT_EQ(log.State().messages.size(), 3U);
  EXPECT_FALSE(log.State().shown);
}

TEST(StateLogTest, PieceThatIsTouchedAgainIsToldOfOnceEvenWhereItLooksTheSame) {
  StateLog log(AsBuilt({1, 1, 8}), 3000);
  log.Fire({3, 0}, 1);
  log.Commit(1, 1, true);
  log.Fire({3, 0}, 2);
  log.Fire({3, 0}, 1);
  log.Commit(3, 2, true);
  const uint8_t code = ElementCodes::Encode(1, 0);
  EXPECT_EQ(log.Changes().elements, (std::vector<PieceChange>{{3, code, code}}));
}

}  // namespace
}  // namespace marrowfin::testing
