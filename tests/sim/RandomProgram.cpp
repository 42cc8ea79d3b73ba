#include "tests/sim/RandomProgram.h"

#include <deque>
#include <map>
#include <utility>

namespace marrowfin::sim::testing {

namespace {

constexpr uint32 INPUT_WORDS = 8;

// A plain evaluator of graphs: it keeps every operand in a map and fires whatever is complete.
class Evaluator {
 public:
  Evaluator(const Graph& graph, SegmentData& data) : graph(graph), data(data) {}

  // Returns the number of fires.
  unsigned long long Run() {
    unsigned long long fires = 0;
    for (const StartToken& token : graph.StartTokens()) {
      Give(token.operation, token.port, 0, token.value);
    }
    while (!complete.empty()) {
      const Key key = complete.front();
      complete.pop_front();
      Fire(key);
      ++fires;
    }
    return fires;
  }

 private:
  typedef std::pair<uint32, unsigned long long> Key;  // operation and iteration

  struct Operands {
    double values[3] = {};
    unsigned present = 0;
  };

  void Give(uint32 operation, uint32 port, unsigned long long iteration, double value) {
    Operands& operands = waiting[{operation, iteration}];
    operands.values[port] = value;
    operands.present |= 1U << port;
    unsigned wanted = 0;
    for (uint32 p = 0; p < 3; ++p) {
      wanted |= graph.Operations()[operation].operands[p].kind == Operand::TOKEN ? 1U << p : 0U;
    }
    if (operands.present == wanted) {
      complete.push_back({operation, iteration});
    }
  }

  void Fire(const Key& key) {
    const Operation& operation = graph.Operations()[key.first];
    Operands operands = waiting[key];
    waiting.erase(key);
    for (uint32 p = 0; p < 3; ++p) {
      if (operation.operands[p].kind == Operand::CONSTANT) {
        operands.values[p] = operation.operands[p].constant;
      }
    }
    const bool side = SideOf(operation, operands, key.second);
    const double value = ResultOf(operation, operands);
    for (const Arc& arc : operation.outputs[side]) {
      Give(arc.operation, arc.port, key.second + (arc.carried ? 1 : 0), value);
    }
  }

  static bool SideOf(const Operation& operation, const Operands& operands,
                     unsigned long long iteration) {
    if (operation.opcode == Opcode::LOOP) {
      return iteration + 1 < operation.iterations;
    }
    return operation.opcode != Opcode::STEER || operands.values[0] != 0;
  }

  double ResultOf(const Operation& operation, const Operands& operands) {
    const double a = operands.values[0];
    const double b = operands.values[1];
    switch (operation.opcode) {
      case Opcode::ADD:
        return a + b;
      case Opcode::SUBTRACT:
        return a - b;
      case Opcode::MULTIPLY:
        return a * b;
      case Opcode::LESS:
        return a < b;
      case Opcode::SELECT:
        return a != 0 ? b : operands.values[2];
      case Opcode::STEER:
        return b;
      case Opcode::LOOP:
        return a;
      case Opcode::LOAD:
        return data.at(operation.segment).at(static_cast<size_t>(a));
      case Opcode::STORE:
        return data.at(operation.segment).at(static_cast<size_t>(a)) = b;
    }
    return 0;
  }

  const Graph& graph;
  SegmentData& data;
  std::map<Key, Operands> waiting;
  std::deque<Key> complete;
};

}  // namespace

RandomProgram::RandomProgram(unsigned long long seed) : random(seed) {
  iterations = 1 + random.Below(6);
  graph.SetTimes(0);
  graph.AddSegment(INPUT_WORDS, false);
  AddLoopValues();
  AddBody();
  CloseLoops();
}

void RandomProgram::ComputePlainly(SegmentData& data) const { Evaluator(graph, data).Run(); }

unsigned long long RandomProgram::FiresOf(SegmentData data) const {
  return Evaluator(graph, data).Run();
}

void RandomProgram::FillInput(SegmentData& data, Random& source) const {
  for (double& word : data[0]) {
    word = source.Below(9) - 4.0;
  }
}

Value RandomProgram::PickToken() {
  return values[random.Below(static_cast<unsigned>(values.size()))];
}

Value RandomProgram::Pick() {
  return random.Below(4) == 0 ? Number(random.Below(5) - 2.0) : PickToken();
}

// The first iteration gets its values from start tokens or from the memory, later ones from the
// loops that CloseLoops adds.
void RandomProgram::AddLoopValues() {
  const unsigned count = 1 + random.Below(4);
  for (unsigned i = 0; i < count; ++i) {
    const Value head = graph.Add(Opcode::ADD, {Later(), Number(i == 0 ? 0 : random.Below(3))});
    if (i == 0 || random.Below(2) == 0) {
      graph.Start(head, 0, i == 0 ? 0 : random.Below(10) - 5.0);
    } else {
      const Value load = graph.AddMemory(Opcode::LOAD, 0, {Later()});
      graph.Start(load, 0, random.Below(INPUT_WORDS));
      graph.Connect(load, head, 0);
    }
    heads.push_back(head);
    values.push_back(head);
  }
}

void RandomProgram::AddBody() {
  const unsigned count = random.Below(25);
  for (unsigned i = 0; i < count; ++i) {
    switch (random.Below(6)) {
      case 0:
        AddBranch();
        break;
      case 1:
        AddScratchMemory();
        break;
      default:
        AddOne();
    }
  }
}

void RandomProgram::AddOne() {
  switch (random.Below(5)) {
    case 0:
      values.push_back(graph.Add(Opcode::ADD, {PickToken(), Pick()}));
      break;
    case 1:
      values.push_back(graph.Add(Opcode::SUBTRACT, {Pick(), PickToken()}));
      break;
    case 2:
      values.push_back(graph.Add(Opcode::MULTIPLY, {PickToken(), Pick()}));
      break;
    case 3:
      values.push_back(graph.Add(Opcode::LESS, {Pick(), PickToken()}));
      break;
    default:
      values.push_back(graph.Add(Opcode::SELECT, {PickToken(), Pick(), Pick()}));
  }
}

// Either way computes something else, and both lead to the same port.
void RandomProgram::AddBranch() {
  const Value condition = graph.Add(Opcode::LESS, {PickToken(), Pick()});
  const Value either = graph.Add(Opcode::STEER, {condition, Pick()});
  const Value more = graph.Add(Opcode::ADD, {either, Number(1)});
  const Value half = graph.Add(Opcode::MULTIPLY, {either.Otherwise(), Number(0.5)});
  const Value merged = graph.Add(Opcode::ADD, {Later(), Number(0)});
  graph.Connect(random.Below(2) == 0 ? more : either, merged, 0);
  graph.Connect(half, merged, 0);
  values.push_back(merged);
}

// Stores a word in every iteration and loads it again once it is there.
void RandomProgram::AddScratchMemory() {
  const uint32 segment = graph.AddSegment(iterations, true);
  const Value stored = graph.AddMemory(Opcode::STORE, segment, {heads[0], Pick()});
  values.push_back(graph.AddMemory(Opcode::LOAD, segment, {heads[0], stored}));
}

void RandomProgram::CloseLoops() {
  const Value next = graph.Add(Opcode::ADD, {heads[0], Number(1)});
  const Value isLeft = graph.Add(Opcode::LESS, {next, Number(iterations)});
  for (size_t i = 0; i < heads.size(); ++i) {
    const Value value = i == 0 ? next : PickToken();
    const Value again = random.Below(2) == 0 ? graph.AddLoop(value, iterations)
                                             : graph.Add(Opcode::STEER, {isLeft, value});
    graph.Carry(again, heads[i], 0);
    graph.AddMemory(Opcode::STORE, graph.AddSegment(1, true), {Number(0), again.Otherwise()});
  }
}

}  // namespace marrowfin::sim::testing
