// The parts of the simulator on their own.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <set>
#include <sstream>
#include <tuple>

#include "Core/VisTool.h"
#include "sim/Array.h"
#include "sim/Clamp.h"
#include "sim/Fifo.h"
#include "sim/LoopControl.h"
#include "sim/Messages.h"
#include "sim/Placement.h"
#include "sim/Random.h"
#include "sim/RunLog.h"
#include "sim/Scheduler.h"
#include "sim/Shape.h"
#include "sim/TraceRecorder.h"
#include "sim/Unit.h"
#include "tests/sim/Laws.h"
#include "tests/sim/Rig.h"
#include "tests/support/Files.h"
#include "trace/base/Record.h"

namespace marrowfin::sim::testing {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

TEST(ShapeTest, PositionsOfDomainsAndTheirProcessingElementsAreEachOthersInverse) {
  const Shape shape = {3, 2, 4};
  for (uint32 pe = 0; pe < shape.PeCount(); ++pe) {
    EXPECT_EQ(pe, shape.PeAt(shape.DomainOf(pe), shape.PositionInDomain(pe)));
    EXPECT_EQ(shape.ClusterOf(pe), shape.DomainOf(pe) / shape.DomainsPerCluster());
  }
}

TEST(ShapeTest, ASwitchLiesFourPastTheFirstPositionOfItsCluster) {
  EXPECT_EQ(Location(4, 4), Shape({2, 2, 4}).SwitchLocation(0));
  EXPECT_EQ(Location(4, 12), Shape({2, 2, 4}).SwitchLocation(1));
  EXPECT_EQ(Location(12, 4), Shape({2, 2, 4}).SwitchLocation(2));
  EXPECT_EQ(Location(5, 5), Shape({2, 1, 1}).SwitchLocation(3));
}

TEST(ShapeTest, HopsCountTheSwitchesOnTheWay) {
  const Shape shape = {3, 2, 2};
  EXPECT_EQ(0U, shape.Hops(5, 5));
  EXPECT_EQ(1U, shape.Hops(4, 5));
  EXPECT_EQ(2U, shape.Hops(0, 4));
  EXPECT_EQ(5U, shape.Hops(0, 35));
  EXPECT_EQ(5U, shape.Hops(35, 0));
}

// Notes the cycles at which it ticks, and asks for further ones.
class Ticker : public Unit {
 public:
  Ticker(const char* name, Scheduler& scheduler, std::vector<std::string>& order)
      : Unit(name, scheduler), order(order) {}

  void Tick(Cycle now) override {
    order.push_back(theName + "@" + std::to_string(now));
    for (const Cycle delay : wishes) {
      WakeAt(now + delay);
    }
    wishes.clear();
  }

  std::vector<Cycle> wishes;

 private:
  std::vector<std::string>& order;
};

class SchedulerTest : public ::testing::Test {
 protected:
  SchedulerTest()
      : scheduler(8), first("first", scheduler, order), second("second", scheduler, order) {}

  void RunAll() {
    while (scheduler.HasWork()) {
      scheduler.RunCycle();
    }
  }

  std::vector<std::string> order;
  Scheduler scheduler;
  Ticker first;
  Ticker second;
};

TEST_F(SchedulerTest, RunsUnitsInTheOrderOfTheirNumbersWhoeverWasWokenFirst) {
  scheduler.Wake(&second, 3);
  scheduler.Wake(&first, 3);
  RunAll();
  EXPECT_THAT(order, ElementsAre("first@3", "second@3"));
}

TEST_F(SchedulerTest, AUnitTicksOnceACycleHoweverOftenItIsWoken) {
  scheduler.Wake(&first, 2);
  scheduler.Wake(&first, 1);
  scheduler.Wake(&first, 2);
  RunAll();
  EXPECT_THAT(order, ElementsAre("first@1", "first@2"));
}

TEST_F(SchedulerTest, GoesStraightToTheNextCycleThatHasWork) {
  first.wishes = {8};
  scheduler.Wake(&first, 5);
  scheduler.RunCycle();
  EXPECT_EQ(5U, scheduler.Now());
  scheduler.RunCycle();
  EXPECT_EQ(13U, scheduler.Now());
  EXPECT_FALSE(scheduler.HasWork());
  EXPECT_THAT(order, ElementsAre("first@5", "first@13"));
}

TEST_F(SchedulerTest, UnitsBelongToItsClockAndAreClocked) {
  scheduler.Wake(&second, 4);
  RunAll();
  EXPECT_EQ(4U, first.theDomain->GetCurrentCycle());
  EXPECT_TRUE(first.IsClocked());
}

TEST(IdleTest, AnArrayWithoutAProgramHasNoWorkAtAll) {
  for (const uint32 clusters : {1U, 4U}) {
    TraceRecorder trace;
    RunLog log;
    Array array;
    array.Build(1, trace, log);
    EXPECT_FALSE(array.IsRunning()) << clusters;
  }
}

TEST(IdleTest, UnitsThatHaveNothingToDoNeverTick) {
  const std::unique_ptr<Program> program = FindProgram("reduce")->make({12, 1, 1, 1});
  RigOptions small;
  small.words = ArrayWords(1, 1, 6);
  RigOptions large;
  large.words = ArrayWords(5, 1, 6);
  const RigResult alone = RunOnArray(*program, small);
  const RigResult among = RunOnArray(*program, large);
  EXPECT_EQ(alone.cycles, among.cycles);
  EXPECT_EQ(alone.ticks, among.ticks);
  EXPECT_LT(alone.ticks, 36 * alone.cycles) << "not even all of the small array's";
}

TEST(FifoTest, GivesBackInOrderAndStaysShort) {
  Fifo<int> fifo;
  EXPECT_TRUE(fifo.IsEmpty());
  fifo.Push(-1);
  for (int i = 0; i < 1000; ++i) {
    fifo.Push(i);
    EXPECT_EQ(i - 1, fifo.Front());
    fifo.Pop();
    EXPECT_EQ(1U, fifo.Size());
  }
}

TEST(LoopControlTest, AnIterationMayCarryWhileTheNextLiesWithinTheWindow) {
  LoopControl loops(2, 3);
  loops.Produce(0, 0, 2);
  EXPECT_TRUE(loops.MayCarry(0, 0));
  EXPECT_TRUE(loops.MayCarry(0, 1));
  EXPECT_FALSE(loops.MayCarry(0, 2));
  loops.Produce(0, 1, 1);
  loops.Consume(0, 0, 2);
  EXPECT_FALSE(loops.MayCarry(0, 2)) << "the window moves at the end of the cycle";
  loops.EndCycle();
  EXPECT_TRUE(loops.MayCarry(0, 2));
  EXPECT_FALSE(loops.MayCarry(1, 2)) << "every thread has a window of its own";
  EXPECT_EQ(1U, loops.LiveTokens());
}

TEST(LoopControlTest, TheWindowMovesPastIterationsThatEndedEarly) {
  LoopControl loops(1, 4);
  loops.Produce(0, 0, 1);
  loops.Produce(0, 1, 1);
  loops.Produce(0, 2, 1);
  loops.Consume(0, 1, 1);
  loops.EndCycle();
  EXPECT_FALSE(loops.MayCarry(0, 3));
  loops.Consume(0, 0, 1);
  loops.EndCycle();
  EXPECT_TRUE(loops.MayCarry(0, 4));
  EXPECT_FALSE(loops.MayCarry(0, 5));
}

TEST(GraphTest, ConstantsAreFolded) {
  Graph graph;
  EXPECT_EQ(5, graph.Sum(Number(2), Number(3)).constant);
  EXPECT_EQ(-1, graph.Difference(Number(2), Number(3)).constant);
  EXPECT_EQ(6, graph.Product(Number(2), Number(3)).constant);
  EXPECT_TRUE(graph.Operations().empty());
}

TEST(GraphTest, OperationsThatShareAWrittenSegmentAreAGroup) {
  Graph graph;
  const uint32 read = graph.AddSegment(1, false);
  const uint32 written = graph.AddSegment(1, true);
  graph.AddMemory(Opcode::LOAD, read, {Later()});
  graph.AddMemory(Opcode::LOAD, written, {Later()});
  graph.AddMemory(Opcode::LOAD, read, {Later()});
  graph.AddMemory(Opcode::STORE, written, {Later(), Number(1)});
  EXPECT_THAT(graph.Groups(), ElementsAre(ElementsAre(0U), ElementsAre(1U, 3U), ElementsAre(2U)));
}

TEST(GraphTest, FaultsAreNamed) {
  {
    Graph graph;
    graph.Add(Opcode::ADD, {Number(1), Number(2)});
    EXPECT_EQ("operation 0 (add) has no operand that it could wait for", graph.Fault());
  }
  {
    Graph graph;
    graph.AddMemory(Opcode::STORE, graph.AddSegment(1, false), {Number(0), Later()});
    EXPECT_EQ("operation 0 (store) writes a segment that is only read", graph.Fault());
  }
  {
    Graph graph;
    graph.AddMemory(Opcode::LOAD, 3, {Later()});
    EXPECT_EQ("operation 0 (load) uses no segment", graph.Fault());
  }
  {
    Graph graph;
    const Value sum = graph.Add(Opcode::ADD, {Later(), Number(1)});
    graph.Connect(sum.Otherwise(), sum, 0);
    EXPECT_EQ("operation 0 (add) has no false side", graph.Fault());
  }
  {
    Graph graph;
    const Value sum = graph.Add(Opcode::ADD, {Later(), Number(1)});
    graph.Carry(sum, sum, 1);
    EXPECT_EQ("operation 0 (add) sends to a port that takes no token", graph.Fault());
  }
  {
    Graph graph;
    graph.Start(graph.Add(Opcode::ADD, {Later(), Number(1)}), 1, 0);
    EXPECT_EQ("a start token goes to a port that takes none", graph.Fault());
  }
  {
    Graph graph;
    const Value sum = graph.Add(Opcode::ADD, {Later(), Number(1)});
    graph.Connect(graph.Add(Opcode::ADD, {sum, Number(1)}), sum, 0);
    EXPECT_EQ("the graph has a cycle within an iteration", graph.Fault());
  }
  {
    Graph graph;
    const Value sum = graph.Add(Opcode::ADD, {Later(), Number(1)});
    graph.Carry(sum, sum, 0);
    EXPECT_EQ("", graph.Fault()) << "a carried arc is no cycle within an iteration";
  }
}

// A graph of operations without arcs.
Graph Loose(uint32 operations) {
  Graph graph;
  for (uint32 i = 0; i < operations; ++i) {
    graph.Add(Opcode::ADD, {Later(), Number(1)});
  }
  return graph;
}

class PlacementTest : public ::testing::TestWithParam<const char*> {
 protected:
  static Placement Place(const Graph& graph, const Shape& shape, uint32 share, uint32 capacity) {
    return PlaceOperations(*FindPlacementPolicy(GetParam()), graph, shape, share, capacity, 1);
  }
};

INSTANTIATE_TEST_SUITE_P(Every, PlacementTest,
                         ::testing::Values("row-major", "blocked", "random", "greedy"),
                         [](const auto& parameter) {
                           std::string name = parameter.param;
                           name.erase(std::remove(name.begin(), name.end(), '-'), name.end());
                           return name;
                         });

TEST_P(PlacementTest, FillsAnArrayToItsCapacityAndNoFurther) {
  const Shape shape = {2, 1, 2};
  EXPECT_EQ(48U, Place(Loose(48), shape, 0, 3).size());
  EXPECT_TRUE(Place(Loose(49), shape, 0, 3).empty());
  EXPECT_TRUE(Place(Loose(1), shape, 0, 0).empty());
}

TEST_P(PlacementTest, SpreadsOperationsEvenlyUnlessToldOtherwise) {
  const Shape shape = {2, 1, 2};
  const auto elements = [](const Placement& placement) {
    return std::set<uint32>(placement.begin(), placement.end()).size();
  };
  EXPECT_EQ(16U, elements(Place(Loose(16), shape, 0, 64)));
  EXPECT_EQ(16U, elements(Place(Loose(32), shape, 0, 64)));
  EXPECT_GE(8U, Place(Loose(4), shape, 0, 64).size());
  EXPECT_LE(4U, elements(Place(Loose(16), shape, 4, 64)));
}

TEST_P(PlacementTest, KeepsAGroupOnOneProcessingElement) {
  Graph graph = Loose(20);
  const uint32 segment = graph.AddSegment(1, true);
  graph.AddMemory(Opcode::STORE, segment, {Later(), Number(1)});
  graph.Add(Opcode::ADD, {Later(), Number(1)});
  graph.AddMemory(Opcode::LOAD, segment, {Later()});
  graph.AddMemory(Opcode::LOAD, segment, {Later()});
  const Placement placement = Place(graph, {2, 1, 2}, 1, 4);
  ASSERT_EQ(24U, placement.size());
  EXPECT_EQ(placement[20], placement[22]);
  EXPECT_EQ(placement[20], placement[23]);
}

TEST(PoliciesTest, RowMajorGoesAlongTheRowsAndBlockedAlongTheClusters) {
  const Shape shape = {2, 1, 2};
  const auto place = [&](const char* policy) {
    return PlaceOperations(*FindPlacementPolicy(policy), Loose(6), shape, 0, 64, 1);
  };
  EXPECT_THAT(place("row-major"), ElementsAre(0U, 1U, 2U, 3U, 4U, 5U));
  EXPECT_THAT(place("blocked"), ElementsAre(0U, 1U, 4U, 5U, 2U, 3U));
}

TEST(PoliciesTest, RandomPlacesFollowTheSeed) {
  const auto place = [&](unsigned long long seed) {
    return PlaceOperations(*FindPlacementPolicy("random"), Loose(50), {2, 2, 4}, 0, 64, seed);
  };
  EXPECT_EQ(place(1), place(1));
  EXPECT_NE(place(1), place(2));
}

// Two clusters side by side; one operation on each end of the link between them.
TEST(LatencyTest, AMessageTakesTheLatenciesOfItsLinks) {
  struct Line : public Program {
    Line() {
      const Value first = graph.Add(Opcode::ADD, {Later(), Number(1)});
      graph.Start(first, 0, 1);
      graph.AddMemory(Opcode::STORE, graph.AddSegment(1, true), {Number(0), first});
    }
    void ComputePlainly(SegmentData& data) const override { data[0][0] = 2; }
    void FillInput(SegmentData&, Random&) const override {}
  };
  RigOptions options;
  options.words = ArrayWords(2, 1, 1);
  options.words.insert(
      options.words.end(),
      {"-array/fireLatency", "3", "-array/peLinkLatency", "5", "-array/domainLinkLatency", "7",
       "-array/switchLinkLatency", "11", "-array/memoryLatency", "13"});
  options.placement = "row-major";
  options.withLog = true;
  Message::MessageIdToken = 1;
  const RigResult result = RunOnArray(Line(), options);
  EXPECT_EQ(0U, WrongWords(Line(), result));
  // It fires at cycle 1, its result is there 3 later and takes 5, 7, 11, 7 and 5.
  EXPECT_THAT(result.log, HasSubstr("\nfire 1 array/c0_0/d0_0/pe0_0 0 0 0 add start,constant\n"));
  EXPECT_THAT(result.log,
              HasSubstr("\nsend 4 1 array/c0_0/d0_0/pe0_0 array/c1_0/d0_0/pe0_0 0 0 1 1\n"));
  EXPECT_THAT(result.log, HasSubstr("\narrive 39 1 array/c1_0/d0_0/pe0_0 2\n"));
  EXPECT_THAT(result.log, HasSubstr("\nfire 39 array/c1_0/d0_0/pe0_0 0 0 1 store constant,1\n"));
  // The memory hears of it one cycle later and needs 13, and its answer counts from the next one.
  EXPECT_EQ(54U, result.cycles);
}

// A program that is built by hand, without results to compare.
struct HandMade : public Program {
  void ComputePlainly(SegmentData&) const override {}
  void FillInput(SegmentData&, Random&) const override {}
  using Program::graph;
};

TEST(MemoryTest, ServesAProcessingElementOnceACycle) {
  HandMade program;
  const uint32 segment = program.graph.AddSegment(1, false);
  // Operation n goes to element n modulo 4. Three elements ask at once, and the third asks again
  // in the next cycle: both its accesses are then the first ones that wait for two ports.
  for (uint32 n = 0; n < 7; ++n) {
    if (n == 3 || n == 4 || n == 5) {
      program.graph.Add(Opcode::ADD, {Later(), Number(0)});
    } else {
      program.graph.Start(program.graph.AddMemory(Opcode::LOAD, segment, {Later()}), 0, 0);
    }
  }
  RigOptions options;
  options.words = ArrayWords(1, 1, 2);
  options.words.insert(options.words.end(), {"-array/memoryPorts", "2"});
  options.placement = "row-major";
  options.withLog = true;
  const RigResult result = RunOnArray(program, options);
  EXPECT_EQ(4U, result.fires);
  EXPECT_THAT(result.log, HasSubstr(" array/c0_0/memory array/c0_0/d0_0/pe0_1\n"));
  EXPECT_THAT(BrokenLogLaws(result.log, program.graph, result.settings), IsEmpty());
}

TEST(OutputQueueTest, AnElementDoesNotFireWhileItIsFull) {
  HandMade program;
  const Value first = program.graph.Add(Opcode::ADD, {Later(), Number(1)});
  for (int n = 0; n < 3; ++n) {
    program.graph.Add(Opcode::ADD, {first, Number(n)});
  }
  const Value second = program.graph.Add(Opcode::ADD, {Later(), Number(1)});
  program.graph.Add(Opcode::ADD, {second, Number(1)});
  program.graph.Start(first, 0, 1);
  program.graph.Start(second, 0, 1);
  const auto logWith = [&](const char* places) {
    RigOptions options;
    options.words = ArrayWords(1, 1, 2);
    options.words.insert(options.words.end(), {"-array/outputQueue", places});
    options.placement = "row-major";
    options.withLog = true;
    return RunOnArray(program, options).log;
  };
  EXPECT_THAT(logWith("2"), HasSubstr("\nfire 2 array/c0_0/d0_0/pe0_0 0 0 4 add"));
  // The result of cycle 1 leaves in cycles 2, 3 and 4.
  EXPECT_THAT(logWith("1"), HasSubstr("\nfire 5 array/c0_0/d0_0/pe0_0 0 0 4 add"));
}

// Runs a program with one operation on each element, row by row, and logs it.
RigResult RunByHand(const HandMade& program, std::vector<std::string> words) {
  RigOptions options;
  options.words = std::move(words);
  options.placement = "row-major";
  options.withLog = true;
  return RunOnArray(program, options);
}

// The cycles in which a link carried messages, and which messages.
std::vector<std::string> Uses(const std::string& log, const std::string& from,
                              const std::string& to) {
  std::istringstream lines(log);
  std::vector<std::string> uses;
  for (std::string line; std::getline(lines, line);) {
    const std::string end = " " + from + " " + to;
    if (line.compare(0, 5, "link ") == 0 && line.size() > end.size() &&
        line.compare(line.size() - end.size(), end.size(), end) == 0) {
      uses.push_back(line.substr(5, line.size() - end.size() - 5));
    }
  }
  return uses;
}

// The cycles of these uses.
std::vector<Cycle> CyclesOf(const std::vector<std::string>& uses) {
  std::vector<Cycle> cycles;
  for (const std::string& use : uses) {
    cycles.push_back(std::stoull(use));
  }
  return cycles;
}

// The cycles in which the links of all three kinds are used by twelve messages that an element
// sends to another cluster one after the other.
std::vector<std::vector<Cycle>> UsesByAStream(Cycle latency, Cycle queue) {
  HandMade program;
  const Value first = program.graph.Add(Opcode::ADD, {Later(), Number(1)});
  program.graph.Start(first, 0, 1);
  // Operation n goes to element n modulo 4, each of which is a cluster of its own.
  for (int n = 1; n < 48; ++n) {
    program.graph.Add(Opcode::ADD, {n % 4 == 1 ? first : Later(), Number(n)});
  }
  std::vector<std::string> words = ArrayWords(2, 1, 1);
  words.insert(words.end(), {"-array/.*LinkLatency", std::to_string(latency), "-array/.*LinkQueue",
                             std::to_string(queue)});
  const std::string log = RunByHand(program, words).log;
  std::vector<std::vector<Cycle>> uses;
  for (const auto& [from, to] : std::vector<std::pair<std::string, std::string>>{
           {"array/c0_0/d0_0/pe0_0", "array/c0_0/d0_0"},
           {"array/c0_0/d0_0", "array/c0_0/switch"},
           {"array/c0_0/switch", "array/c1_0/switch"},
           {"array/c1_0/switch", "array/c1_0/d0_0"},
           {"array/c1_0/d0_0", "array/c1_0/d0_0/pe0_0"}}) {
    uses.push_back(CyclesOf(Uses(log, from, to)));
  }
  return uses;
}

TEST(LinkTest, CarriesAMessageACycleHoweverLongItIsAndHoweverShortItsQueue) {
  for (const Cycle latency : {1, 2, 3, 7, 40}) {
    for (const Cycle queue : {1, 2, 5}) {
      SCOPED_TRACE("latency " + std::to_string(latency) + ", queue " + std::to_string(queue));
      const std::vector<std::vector<Cycle>> uses = UsesByAStream(latency, queue);
      for (size_t link = 0; link < uses.size(); ++link) {
        ASSERT_EQ(12U, uses[link].size());
        for (size_t n = 0; n < 12; ++n) {
          EXPECT_EQ(2 + link * latency + n, uses[link][n]) << "link " << link;
        }
      }
    }
  }
}

// The cycles in which an element sends forty messages to another one of its domain that gets forty
// from a third one at the same time. The links take three cycles.
std::vector<Cycle> UsesWhereTwoCompete(const std::string& queue) {
  HandMade program;
  const Value a = program.graph.Add(Opcode::ADD, {Later(), Number(1)});
  const Value b = program.graph.Add(Opcode::ADD, {Later(), Number(1)});
  program.graph.Start(a, 0, 1);
  program.graph.Start(b, 0, 1);
  // Operation n goes to element n modulo 4.
  for (int n = 2; n < 160; ++n) {
    program.graph.Add(Opcode::ADD, n % 4 == 3 ? std::vector<Value>{a, b}
                                              : std::vector<Value>{Later(), Number(0)});
  }
  std::vector<std::string> words = ArrayWords(1, 1, 2);
  words.insert(words.end(), {"-array/peLinkLatency", "3", "-array/peLinkQueue", queue,
                             "-array/operandBuffer", "1000"});
  return CyclesOf(Uses(RunByHand(program, words).log, "array/c0_0/d0_0/pe0_0", "array/c0_0/d0_0"));
}

TEST(LinkTest, ACreditIsBackOneLatencyAfterItsMessageHasLeftTheQueue) {
  // A queue of one and the round trip make six credits, spent from cycle 2 on. Messages arrive at 5
  // and leave at 5, 7, 9 and so on, in turn with the other element's.
  const std::vector<Cycle> uses = UsesWhereTwoCompete("1");
  ASSERT_EQ(40U, uses.size());
  for (size_t n = 0; n < uses.size(); ++n) {
    EXPECT_EQ(n < 6 ? 2 + n : 8 + 2 * (n - 6), uses[n]) << "message " << n;
  }
}

TEST(LinkTest, ALongerQueueTakesAsManyMoreMessagesBeforeTheSenderWaits) {
  const std::vector<Cycle> shorter = UsesWhereTwoCompete("1");
  for (const size_t more : {1U, 2U, 9U}) {
    const std::vector<Cycle> longer = UsesWhereTwoCompete(std::to_string(1 + more));
    ASSERT_EQ(40U, longer.size());
    // The sender goes on every cycle until the credits have run out, and then in the same rhythm.
    for (size_t n = 0; n + more < longer.size(); ++n) {
      if (longer[n + more] > longer[0] + n + more) {
        EXPECT_EQ(shorter[n], longer[n + more]) << "message " << n << ", " << more << " more";
      }
    }
    EXPECT_LT(longer[20], shorter[20]);
  }
}

TEST(RouterTest, InputsThatCompeteTakeTurns) {
  HandMade program;
  const Value a = program.graph.Add(Opcode::ADD, {Later(), Number(1)});
  const Value b = program.graph.Add(Opcode::ADD, {Later(), Number(1)});
  program.graph.Start(a, 0, 1);
  program.graph.Start(b, 0, 1);
  // Operation n goes to element n modulo 4: the first two send three messages each to the last.
  for (int n = 2; n < 8; ++n) {
    const Value from = n == 3 ? a : b;
    program.graph.Add(Opcode::SELECT, n % 4 == 3
                                          ? std::vector<Value>{from, from, from}
                                          : std::vector<Value>{Later(), Number(0), Number(0)});
  }
  Message::MessageIdToken = 1;
  const RigResult result = RunByHand(program, ArrayWords(1, 1, 2));
  // Both send in the same cycles, the first one first: its messages have the odd numbers.
  EXPECT_THAT(Uses(result.log, "array/c0_0/d0_0", "array/c0_0/d0_0/pe1_1"),
              ElementsAre("3 1", "4 2", "5 3", "6 4", "7 5", "8 6"));
}

TEST(RouterTest, MessagesGoAlongTheRowOfClustersFirst) {
  HandMade program;
  const Value first = program.graph.Add(Opcode::ADD, {Later(), Number(1)});
  program.graph.Add(Opcode::ADD, {Later(), Number(1)});
  program.graph.Add(Opcode::ADD, {Later(), Number(1)});
  program.graph.Add(Opcode::ADD, {first, Number(1)});
  program.graph.Start(first, 0, 1);
  const RigResult result = RunByHand(program, ArrayWords(2, 1, 1));
  EXPECT_EQ(1U, Uses(result.log, "array/c0_0/switch", "array/c1_0/switch").size());
  EXPECT_EQ(1U, Uses(result.log, "array/c1_0/switch", "array/c1_1/switch").size());
}

TEST(StallTest, EveryCycleThatAnOperandWaitsForAnotherIsCounted) {
  HandMade program;
  const Value first = program.graph.Add(Opcode::ADD, {Later(), Number(1)});
  const Value second = program.graph.Add(Opcode::ADD, {first, Later()});
  program.graph.Start(first, 0, 1);
  program.graph.Start(second, 1, 1);
  const RigResult result = RunByHand(program, ArrayWords(1, 1, 2));
  // The message leaves at cycle 2, as soon as the result is there, and takes two links.
  EXPECT_THAT(result.log, HasSubstr("\nfire 4 array/c0_0/d0_0/pe1_0"));
  EXPECT_EQ(3U, result.stalls.stallOperand);
  EXPECT_EQ(0U, result.stalls.stallOutput);
  EXPECT_EQ(0U, result.stalls.stallWindow);
}

TEST(StallTest, AnOperandThatWaitsToTheEndIsCountedToTheEnd) {
  // One operation waits for an operand that never comes, while others go on elsewhere.
  const auto run = [](int others) {
    HandMade program;
    const Value waiting = program.graph.Add(Opcode::ADD, {Later(), Later()});
    program.graph.Start(waiting, 0, 1);
    Value last = program.graph.Add(Opcode::ADD, {Later(), Number(1)});
    program.graph.Start(last, 0, 1);
    for (int i = 0; i < others; ++i) {
      last = program.graph.Add(Opcode::ADD, {last, Number(1)});
    }
    return RunByHand(program, ArrayWords(1, 1, 2));
  };
  const RigResult shorter = run(0);
  const RigResult longer = run(2);
  EXPECT_GT(longer.cycles, shorter.cycles);
  EXPECT_GT(shorter.stalls.stallOperand, 0U);
  EXPECT_EQ(longer.stalls.stallOperand - shorter.stalls.stallOperand,
            longer.cycles - shorter.cycles);
}

TEST(GraphDeathTest, AnOperationTakesSoManyOperandsAndNoOthers) {
  const std::vector<std::tuple<Opcode, size_t, size_t>> counts = {
      {Opcode::ADD, 2, 2},  {Opcode::SUBTRACT, 2, 2}, {Opcode::MULTIPLY, 2, 2},
      {Opcode::LESS, 2, 2}, {Opcode::SELECT, 3, 3},   {Opcode::STEER, 2, 2},
      {Opcode::LOOP, 1, 1}};
  for (const auto& [opcode, least, most] : counts) {
    for (const size_t count : {least - 1, least, most, most + 1}) {
      const auto add = [opcode = opcode, count] {
        Graph graph;
        graph.Add(opcode, std::vector<Value>(count, Later()));
        _exit(0);
      };
      if (count < least || count > most) {
        EXPECT_DEATH(add(), "operands.size") << NameOf(opcode) << " of " << count;
      } else {
        EXPECT_EXIT(add(), ::testing::ExitedWithCode(0), "") << NameOf(opcode) << " of " << count;
      }
    }
  }
}

TEST(MessagesTest, AnAccessSaysWhatItIs) {
  MemoryMessage message;
  message.value = 2.5;
  message.address = 7;
  std::string text;
  message.isStore = false;
  EXPECT_THAT(message.ToString(text), ::testing::EndsWith(": load 2.5 at 7"));
  text.clear();
  message.isStore = true;
  EXPECT_THAT(message.ToString(text), ::testing::EndsWith(": store 2.5 at 7"));
}

TEST(ClampTest, WaitsThatAreLongerThanAReportShareItsLastBucket) {
  for (const Cycle cycles : {Cycle{0}, Cycle{1}, Cycle{1022}, Cycle{1023}}) {
    EXPECT_EQ(cycles, Clamp(cycles));
  }
  EXPECT_EQ(1023U, Clamp(1024));
  EXPECT_EQ(1023U, Clamp(~Cycle{0}));
}

TEST(RecorderTest, WritesTheBytesThatTheTraceToolWrites) {
  const TempDir directory;
  VisTool tool;
  tool.outFilename = directory.File("tool");
  tool.InitializeForWrite();
  TraceRecorder recorder;
  recorder.Attach(open(directory.File("recorder").c_str(), O_WRONLY | O_CREAT, 0600), "recorder");
  Random random(99);
  for (int n = 0; n < 20000; ++n) {
    const Cycle now = random.Next();
    const uint32 thread = random.Below(1U << 31);
    const Location from(random.Below(1U << 31), random.Below(100));
    const Location to(random.Below(100), random.Below(1U << 31));
    recorder.Fire(now, thread, from);
    tool.WriteEvent(new PEFire(now, thread, from));
    recorder.Transmission(now, thread, to);
    const Location networkSwitch(to.row + FIRST_SWITCH, to.column + FIRST_SWITCH);
    tool.WriteEvent(new NetworkSwitchTransmission(now, thread, networkSwitch));
    recorder.Send(now, thread, from, to);
    tool.WriteEvent(new MessageSend(now, thread, from, to));
  }
  EXPECT_TRUE(recorder.Close());
  EXPECT_EQ(60000U, recorder.Events());
  tool.outFile.Close();
  EXPECT_TRUE(ReadFile(directory.File("tool")) == ReadFile(directory.File("recorder")));
}

TEST(CapacityTest, OneEntryOfTheBufferIsNeededForEachOperationThreadAndLiveIteration) {
  Array array;
  std::string text;
  EXPECT_EQ(16U, array.PeCapacity(1)) << "64 entries and a window of 4";
  EXPECT_EQ(4U, array.PeCapacity(4));
  EXPECT_EQ(0U, array.PeCapacity(17));
}

}  // namespace marrowfin::sim::testing
