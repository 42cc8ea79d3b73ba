#include "sim/Graph.h"

#include <algorithm>
#include <map>

#include "Util/AppendFormat.h"
#include "Util/Assert.h"

namespace marrowfin::sim {

namespace {

struct OpcodeInfo {
  const char* name;
  uint32 leastOperands;
  uint32 mostOperands;
};

// In the order of the enumeration.
constexpr OpcodeInfo OPCODES[] = {{"add", 2, 2},  {"subtract", 2, 2}, {"multiply", 2, 2},
                                  {"less", 2, 2}, {"select", 3, 3},   {"steer", 2, 2},
                                  {"loop", 1, 1}, {"load", 1, 2},     {"store", 2, 2}};

const OpcodeInfo& InfoOf(Opcode opcode) { return OPCODES[static_cast<size_t>(opcode)]; }

bool HasFalseSide(Opcode opcode) { return opcode == Opcode::STEER || opcode == Opcode::LOOP; }

}  // namespace

const char* NameOf(Opcode opcode) { return InfoOf(opcode).name; }

unsigned Operation::TokenMask() const {
  unsigned mask = 0;
  for (uint32 port = 0; port < PORTS; ++port) {
    mask |= operands[port].kind == Operand::TOKEN ? 1U << port : 0U;
  }
  return mask;
}

bool Operation::Carries() const {
  for (const std::vector<Arc>& side : outputs) {
    for (const Arc& arc : side) {
      if (arc.carried) {
        return true;
      }
    }
  }
  return false;
}

uint32 Graph::AddSegment(uint32 words, bool written) {
  segments.push_back({words, written});
  return static_cast<uint32>(segments.size() - 1);
}

Value Graph::Add(Opcode opcode, const std::vector<Value>& operands) {
  SIM_ASSERT(operands.size() >= InfoOf(opcode).leastOperands &&
             operands.size() <= InfoOf(opcode).mostOperands);
  const Value result = {Operand::TOKEN, 0, static_cast<uint32>(operations.size()), true};
  Operation operation;
  operation.opcode = opcode;
  operation.times = currentTimes;
  for (size_t port = 0; port < operands.size(); ++port) {
    operation.operands[port].kind =
        operands[port].kind == Operand::CONSTANT ? Operand::CONSTANT : Operand::TOKEN;
    operation.operands[port].constant = operands[port].constant;
  }
  operations.push_back(operation);
  for (size_t port = 0; port < operands.size(); ++port) {
    if (operands[port].kind == Operand::TOKEN) {
      AddArc(operands[port], result, static_cast<uint32>(port), false);
    }
  }
  return result;
}

Value Graph::AddLoop(const Value& operand, uint32 iterations) {
  const Value result = Add(Opcode::LOOP, {operand});
  operations[result.operation].iterations = iterations;
  return result;
}

Value Graph::AddMemory(Opcode opcode, uint32 segment, const std::vector<Value>& operands) {
  const Value result = Add(opcode, operands);
  operations[result.operation].segment = segment;
  return result;
}

Value Graph::Sum(const Value& a, const Value& b) {
  if (a.kind == Operand::CONSTANT && b.kind == Operand::CONSTANT) {
    return Number(a.constant + b.constant);
  }
  return Add(Opcode::ADD, {a, b});
}

Value Graph::Difference(const Value& a, const Value& b) {
  if (a.kind == Operand::CONSTANT && b.kind == Operand::CONSTANT) {
    return Number(a.constant - b.constant);
  }
  return Add(Opcode::SUBTRACT, {a, b});
}

Value Graph::Product(const Value& a, const Value& b) {
  if (a.kind == Operand::CONSTANT && b.kind == Operand::CONSTANT) {
    return Number(a.constant * b.constant);
  }
  return Add(Opcode::MULTIPLY, {a, b});
}

void Graph::AddArc(const Value& from, const Value& to, uint32 port, bool carried) {
  operations[from.operation].outputs[from.side].push_back({to.operation, port, carried});
}

void Graph::Connect(const Value& from, const Value& to, uint32 port) {
  AddArc(from, to, port, false);
}

void Graph::Carry(const Value& from, const Value& to, uint32 port) { AddArc(from, to, port, true); }

void Graph::Start(const Value& to, uint32 port, double value) {
  startTokens.push_back({to.operation, port, value});
}

unsigned long long Graph::KnownFires() const {
  unsigned long long fires = 0;
  for (const Operation& operation : operations) {
    if (operation.times == 0) {
      return 0;
    }
    fires += operation.times;
  }
  return fires;
}

std::string Graph::Fault() const {
  for (uint32 i = 0; i < operations.size(); ++i) {
    const std::string fault = FaultOf(i);
    if (!fault.empty()) {
      std::string text;
      AppendFormat(text, "operation %u (%s) %s", i, NameOf(operations[i].opcode), fault.c_str());
      return text;
    }
  }
  for (const StartToken& token : startTokens) {
    if (operations[token.operation].operands[token.port].kind != Operand::TOKEN) {
      return "a start token goes to a port that takes none";
    }
  }
  return HasCycle() ? "the graph has a cycle within an iteration" : "";
}

std::string Graph::FaultOf(uint32 index) const {
  const Operation& operation = operations[index];
  if (operation.TokenMask() == 0) {
    return "has no operand that it could wait for";
  }
  if (!operation.outputs[0].empty() && !HasFalseSide(operation.opcode)) {
    return "has no false side";
  }
  if (operation.UsesMemory() && operation.segment >= segments.size()) {
    return "uses no segment";
  }
  if (operation.opcode == Opcode::STORE && !segments[operation.segment].written) {
    return "writes a segment that is only read";
  }
  for (const std::vector<Arc>& side : operation.outputs) {
    for (const Arc& arc : side) {
      if (operations[arc.operation].operands[arc.port].kind != Operand::TOKEN) {
        return "sends to a port that takes no token";
      }
    }
  }
  return "";
}

// Takes operations away whose predecessors are all gone; what is left over lies on a cycle.
bool Graph::HasCycle() const {
  std::vector<uint32> predecessors(operations.size());
  const auto forEachSuccessor = [this](uint32 index, auto visit) {
    for (const std::vector<Arc>& side : operations[index].outputs) {
      for (const Arc& arc : side) {
        if (!arc.carried) {
          visit(arc.operation);
        }
      }
    }
  };
  for (uint32 i = 0; i < operations.size(); ++i) {
    forEachSuccessor(i, [&](uint32 successor) { ++predecessors[successor]; });
  }
  std::vector<uint32> free;
  for (uint32 i = 0; i < operations.size(); ++i) {
    if (predecessors[i] == 0) {
      free.push_back(i);
    }
  }
  for (size_t next = 0; next < free.size(); ++next) {
    forEachSuccessor(free[next], [&](uint32 successor) {
      if (--predecessors[successor] == 0) {
        free.push_back(successor);
      }
    });
  }
  return free.size() < operations.size();
}

std::vector<std::vector<uint32>> Graph::Groups() const {
  std::vector<std::vector<uint32>> groups;
  std::map<uint32, size_t> groupOfSegment;
  for (uint32 i = 0; i < operations.size(); ++i) {
    const Operation& operation = operations[i];
    if (!operation.UsesMemory() || !segments[operation.segment].written) {
      groups.push_back({i});
      continue;
    }
    const auto [found, isNew] = groupOfSegment.emplace(operation.segment, groups.size());
    if (isNew) {
      groups.push_back({});
    }
    groups[found->second].push_back(i);
  }
  return groups;
}

double Evaluate(Opcode opcode, const double* operands) {
  switch (opcode) {
    case Opcode::ADD:
      return operands[0] + operands[1];
    case Opcode::SUBTRACT:
      return operands[0] - operands[1];
    case Opcode::MULTIPLY:
      return operands[0] * operands[1];
    case Opcode::LESS:
      return operands[0] < operands[1] ? 1 : 0;
    case Opcode::SELECT:
      return operands[0] != 0 ? operands[1] : operands[2];
    case Opcode::STEER:
    case Opcode::STORE:
      return operands[1];
    case Opcode::LOOP:
    case Opcode::LOAD:
      break;
  }
  return operands[0];
}

}  // namespace marrowfin::sim
