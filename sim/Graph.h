#ifndef SIM_GRAPH_H
#define SIM_GRAPH_H

#include <string>
#include <vector>

#include "Util/Types.h"

namespace marrowfin::sim {

// What an operation does with its operands, named by their ports 0, 1 and 2. All values are
// doubles; a condition holds where it is not zero.
enum class Opcode {
  ADD,       // 0 + 1
  SUBTRACT,  // 0 - 1
  MULTIPLY,  // 0 * 1
  LESS,      // 1 where 0 < 1, else 0
  SELECT,    // port 1 where port 0 holds, else port 2
  STEER,     // port 1, to the true side where port 0 holds, else to the false side
  LOOP,      // port 0, to the true side while a further iteration follows, else to the false side
  LOAD,      // the word of the segment at address 0; port 1, if any, is only waited for
  STORE      // writes port 1 to the word at address 0 and passes it on
};

// The name by which logs and messages call it, such as "add".
const char* NameOf(Opcode opcode);

// Where an operation's result goes.
struct Arc {
  uint32 operation;
  uint32 port;
  bool carried;  // to the next iteration, not to the same one
};

// Where an operand comes from.
struct Operand {
  enum Kind { ABSENT, CONSTANT, TOKEN };

  Kind kind = ABSENT;
  double constant = 0;
};

struct Operation {
  static constexpr uint32 PORTS = 3;

  Opcode opcode;
  Operand operands[PORTS];
  std::vector<Arc> outputs[2];   // of the false and of the true side; most only have a true side
  uint32 segment = 0;            // of loads and stores
  uint32 iterations = 0;         // of loops: how many there are
  unsigned long long times = 1;  // how often it fires in one run of a thread

  // Bit p is set where port p takes a token.
  unsigned TokenMask() const;

  bool UsesMemory() const { return opcode == Opcode::LOAD || opcode == Opcode::STORE; }
  bool Carries() const;
};

// A part of the memory. Where it is only read, every cluster that reads it has a copy; where it is
// written, it lies in one cluster and all operations that use it share a processing element.
struct Segment {
  uint32 words;
  bool written;
};

// The value of a constant or the result of an operation, to be used as an operand.
struct Value {
  Operand::Kind kind;
  double constant;
  uint32 operation;
  bool side;  // of the operation that it leaves by

  // The same result where it leaves by the false side of a steer or a loop.
  Value Otherwise() const { return {kind, constant, operation, false}; }
};

// A constant.
inline Value Number(double constant) { return {Operand::CONSTANT, constant, 0, true}; }

// An operand that is connected later, or started.
inline Value Later() { return {Operand::ABSENT, 0, 0, true}; }

// A token that is there when a thread starts: an operand of iteration 0.
struct StartToken {
  uint32 operation;
  uint32 port;
  double value;
};

// A program as a graph of operations. It is the same for all threads; their data differ.
//
// An operation fires when all its operands of one thread and iteration have arrived. Within an
// iteration the graph has no cycles, and a carried arc leads to the next iteration, so every token
// belongs to exactly one iteration and each port takes at most one token of it.
class Graph {
 public:
  // Returns the number of the new segment.
  uint32 AddSegment(uint32 words, bool written);

  // Adds an operation. Two constants are not folded: at least one operand must be a token.
  Value Add(Opcode opcode, const std::vector<Value>& operands);
  Value AddLoop(const Value& operand, uint32 iterations);
  Value AddMemory(Opcode opcode, uint32 segment, const std::vector<Value>& operands);

  // The three of a kind that programs use most. They fold constants.
  Value Sum(const Value& a, const Value& b);
  Value Difference(const Value& a, const Value& b);
  Value Product(const Value& a, const Value& b);

  // Leads a result to a port: in the same iteration, or carried to the next one. A port may be fed
  // from several places, as long as only one of them sends a token in one iteration.
  void Connect(const Value& from, const Value& to, uint32 port);
  void Carry(const Value& from, const Value& to, uint32 port);

  // Puts a token at a port before the program starts.
  void Start(const Value& to, uint32 port, double value);

  // How often the operations added from now on fire in one run of a thread. 0 means that it is not
  // known.
  void SetTimes(unsigned long long times) { currentTimes = times; }

  // The fires of one run of a thread; 0 where they are not known of all operations.
  unsigned long long KnownFires() const;

  // What is wrong with the graph; empty if nothing is.
  std::string Fault() const;

  const std::vector<Operation>& Operations() const { return operations; }
  const std::vector<Segment>& Segments() const { return segments; }
  const std::vector<StartToken>& StartTokens() const { return startTokens; }

  // The operations that must share a processing element, in order of their first members.
  std::vector<std::vector<uint32>> Groups() const;

 private:
  void AddArc(const Value& from, const Value& to, uint32 port, bool carried);
  std::string FaultOf(uint32 operation) const;
  bool HasCycle() const;

  std::vector<Operation> operations;
  std::vector<Segment> segments;
  std::vector<StartToken> startTokens;
  unsigned long long currentTimes = 1;
};

// The result of an operation that only computes. `operands` holds a value for each of its ports.
double Evaluate(Opcode opcode, const double* operands);

}  // namespace marrowfin::sim

#endif
