// What the example's traces hold, checked against what the shape of the work says and nothing else.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

#include "tests/examples/Example.h"
#include "tests/support/Files.h"

namespace marrowfin::testing {

using ::testing::HasSubstr;
using ::testing::Not;

std::string TraceOf(const Words& arguments) {
  const TempDir directory;
  Words words = arguments;
  words.insert(words.end(), {"-.*outFilename", directory.File("trace")});
  const CommandResult result = RunExample(words);
  EXPECT_EQ(0, result.exitStatus) << result.err;
  return ReadFile(directory.File("trace"));
}

// The switch through which a message leaves its cluster, at the place under which the viewer knows
// it; the same as `from` where it stays.
Position SwitchBetween(const Shape& shape, const Position& from, const Position& to) {
  const unsigned side = shape.ClusterSide();
  if (from.row / side == to.row / side && from.column / side == to.column / side) {
    return from;
  }
  return {from.row / side * side + 4, from.column / side * side + 4};
}

// How often each event is to happen, whatever the cycle.
using Counts = std::map<Event, uint64_t>;

void ExpectMove(const Shape& shape, uint32_t thread, const Position& from, const Position& to,
                Counts& counts) {
  counts[{SEND, 0, thread, from, to}] += shape.inner * shape.products;
  const Position viaSwitch = SwitchBetween(shape, from, to);
  if (viaSwitch != from) {
    counts[{TRANSMIT, 0, thread, viaSwitch, viaSwitch}] += shape.inner * shape.products;
  }
}

// Each element of a product is computed on the PE below it when the array is laid over the product
// tile by tile; operands move on as long as there are elements in the same tile.
Counts ExpectedCounts(const Shape& shape) {
  Counts counts;
  const unsigned side = shape.Side();
  for (uint32_t thread = 0; thread < shape.threads; ++thread) {
    for (unsigned row = 0; row < shape.rows; ++row) {
      for (unsigned column = 0; column < shape.columns; ++column) {
        const Position pe = {row % side, column % side};
        counts[{FIRE, 0, thread, pe, pe}] += shape.inner * shape.products;
        if (column + 1 < shape.columns && pe.column + 1 < side) {
          ExpectMove(shape, thread, pe, {pe.row, pe.column + 1}, counts);
        }
        if (row + 1 < shape.rows && pe.row + 1 < side) {
          ExpectMove(shape, thread, pe, {pe.row + 1, pe.column}, counts);
        }
      }
    }
  }
  return counts;
}

class TraceOfShape : public ::testing::TestWithParam<Shape> {
 protected:
  const Shape& shape = GetParam();
  const std::vector<Event> events = EventsIn(TraceOf(shape.Arguments()));
};

INSTANTIATE_TEST_SUITE_P(Shapes, TraceOfShape, ::testing::ValuesIn(Shapes()),
                         [](const auto& test) { return test.param.Name(); });

TEST_P(TraceOfShape, CyclesNeverDecrease) {
  EXPECT_TRUE(std::is_sorted(events.begin(), events.end(),
                             [](const Event& a, const Event& b) { return a.cycle < b.cycle; }));
}

TEST_P(TraceOfShape, EveryEventLiesWhereTheViewerHasAPiece) {
  std::set<Position> switches;
  for (unsigned row = 0; row < shape.Side(); row += shape.ClusterSide()) {
    for (unsigned column = 0; column < shape.Side(); column += shape.ClusterSide()) {
      switches.insert({row + 4, column + 4});
    }
  }
  for (const Event& event : events) {
    if (event.type == TRANSMIT) {
      EXPECT_EQ(1U, switches.count(event.at)) << event.at.row << " " << event.at.column;
    } else {
      EXPECT_LT(std::max({event.at.row, event.at.column, event.to.row, event.to.column}),
                shape.Side());
    }
  }
}

TEST_P(TraceOfShape, EachMultiplicationMoveAndCrossingIsThereOnce) {
  Counts counts;
  for (const Event& event : events) {
    ++counts[{event.type, 0, event.thread, event.at, event.to}];
  }
  EXPECT_EQ(ExpectedCounts(shape), counts);
}

TEST_P(TraceOfShape, APeFiresAtMostOnceACycle) {
  std::set<std::pair<uint64_t, Position>> fired;
  for (const Event& event : events) {
    if (event.type == FIRE) {
      EXPECT_TRUE(fired.insert({event.cycle, event.at}).second) << "in cycle " << event.cycle;
    }
  }
}

TEST_P(TraceOfShape, AnOperandIsSentByAPeThatFiresAndMakesItsReceiverFireInTheNextCycle) {
  const std::set<Event> all(events.begin(), events.end());
  for (const Event& event : events) {
    if (event.type == SEND) {
      EXPECT_EQ(1U, all.count({FIRE, event.cycle, event.thread, event.at, event.at}));
      EXPECT_EQ(1U, all.count({FIRE, event.cycle + 1, event.thread, event.to, event.to}));
    }
  }
}

TEST_P(TraceOfShape, ASwitchTransmitsInTheCycleAndForTheThreadOfTheMessageThatCrosses) {
  Counts crossings;
  Counts transmissions;
  for (const Event& event : events) {
    if (event.type == TRANSMIT) {
      ++transmissions[event];
    } else if (event.type == SEND) {
      const Position viaSwitch = SwitchBetween(shape, event.at, event.to);
      if (viaSwitch != event.at) {
        ++crossings[{TRANSMIT, event.cycle, event.thread, viaSwitch, viaSwitch}];
      }
    }
  }
  EXPECT_EQ(crossings, transmissions);
}

TEST(TraceTest, TheDefaultsFillTheArrayWithSeveralThreadsAtATime) {
  const std::vector<Event> events = EventsIn(TraceOf({}));
  std::map<uint64_t, std::set<uint32_t>> threads;
  std::set<Position> fired;
  for (const Event& event : events) {
    if (event.type == FIRE) {
      threads[event.cycle].insert(event.thread);
      fired.insert(event.at);
    }
  }
  size_t most = 0;
  for (const auto& [cycle, inCycle] : threads) {
    most = std::max(most, inCycle.size());
  }
  EXPECT_EQ(32U * 32U, fired.size());
  EXPECT_GE(most, 4U);
}

TEST(TraceTest, ThreadsTakeTurnsTileByTile) {
  // One PE: it computes tile after tile. Two threads, products of two tiles of one multiplication.
  const Shape shape = {1, 1, 1, 2, 1, 1, 2, 2, 0};
  std::vector<uint32_t> threads;
  for (const Event& event : EventsIn(TraceOf(shape.Arguments()))) {
    threads.push_back(event.thread);
  }
  EXPECT_EQ((std::vector<uint32_t>{0, 1, 0, 1, 0, 1, 0, 1}), threads);
}

TEST(TraceTest, TheGapSeparatesTheTiles) {
  const Shape shape = {1, 1, 1, 1, 2, 1, 3, 1, 5};
  std::vector<uint64_t> cycles;
  for (const Event& event : EventsIn(TraceOf(shape.Arguments()))) {
    cycles.push_back(event.cycle);
  }
  EXPECT_EQ((std::vector<uint64_t>{1, 2, 8, 9, 15, 16}), cycles);
}

TEST(TraceTest, TheSameRunWritesTheSameTraceByteForByte) {
  const Words arguments = {"-c", "2", "-.*rows", "21"};
  const std::string trace = TraceOf(arguments);
  EXPECT_FALSE(trace.empty());
  EXPECT_TRUE(trace == TraceOf(arguments));
}

TEST(TraceTest, WhatHappensDoesNotDependOnTheNumbersInTheMatrices) {
  EXPECT_TRUE(TraceOf({"-c", "2", "-.*seed", "1"}) == TraceOf({"-c", "2", "-.*seed", "7"}));
}

TEST(TraceTest, NothingIsWrittenWithoutAFileName) {
  const TempDir directory;
  const CommandResult result = RunExample({"-c", "1"}, directory.Path());
  EXPECT_EQ(0, result.exitStatus);
  EXPECT_THAT(result.out, Not(HasSubstr("Opened tracefile")));
  EXPECT_EQ("", RunCommand({"ls", "-A", directory.Path()}).out);
}

TEST(TraceTest, TheNameOfTheTraceIsReportedWhenItIsOpened) {
  const TempDir directory;
  const CommandResult result =
      RunExample({"-c", "1", "-array/vis/outFilename", "trace"}, directory.Path());
  EXPECT_THAT(result.out, ::testing::StartsWith("Opened tracefile  trace\nSTATISTICS:\n"));
  EXPECT_FALSE(ReadFile(directory.File("trace")).empty());
}

}  // namespace marrowfin::testing
