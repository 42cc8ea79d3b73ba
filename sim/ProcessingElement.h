#ifndef SIM_PROCESSINGELEMENT_H
#define SIM_PROCESSINGELEMENT_H

#include <array>
#include <memory>
#include <vector>

#include "Core/Message.h"
#include "sim/Context.h"
#include "sim/Fifo.h"
#include "sim/Graph.h"
#include "sim/LoopControl.h"
#include "sim/Messages.h"
#include "sim/Router.h"
#include "sim/Unit.h"

namespace marrowfin::sim {

class Memory;

// Where a result is wanted: an operand of an operation on some processing element.
struct Target {
  uint32 operation;  // in the graph
  uint32 pe;
  uint32 slot;  // of the operation in that processing element
  uint32 port;
  bool carried;
};

// An operation that was placed on a processing element.
struct Resident {
  const Operation* operation;
  uint32 number;        // in the graph
  unsigned tokenMask;   // of its ports
  bool carries;         // whether it may send to the next iteration
  uint32 firstEntry;    // of its entries in the operand buffer: one per thread and live iteration
  uint32 firstWord;     // of its segment, in the memory of the cluster
  uint32 segmentWords;  // for each thread
  std::vector<Target> targets[2];  // of the false and of the true side
};

// A processing element: it holds a few operations and their operands, and fires one operation a
// cycle at most.
//
// The operand buffer has an entry for every operation, thread and iteration that may be alive
// (LoopControl), so what arrives is always taken. Results wait in the output queue, one a cycle
// leaves; the element does not fire while the queue is full. An access to the memory takes a place
// there from its start.
class ProcessingElement : public Unit, public Waiter {
 public:
  // `number` is the processing element's within the array. It uses `memory`.
  ProcessingElement(const Context& context, uint32 number, Memory* memory);

  // Adds the link into the network, by the crossbar of the domain.
  void Join(Router* domain);

  // Adds an operation; returns its slot. The targets are filled in through At().
  uint32 Place(const Resident& resident, uint32 threads);
  Resident& At(uint32 slot) { return residents[slot]; }

  // Puts an operand of iteration 0 where it belongs.
  void Start(uint32 slot, uint32 port, uint32 thread, double value);

  // Makes a firing possible that had to wait for the loop control.
  void Resume(const Firing& firing) override;

  void Tick(Cycle now) override;
  void ReceiveMessage(Message* m) override;

  // Counts the cycles since the last tick. Called before the statistics are read.
  void Settle();

  struct Counts {
    unsigned long long fires = 0;
    unsigned long long stallOperand = 0;  // cycles in which operands waited for others
    unsigned long long stallOutput = 0;   // in which the output queue had no place for a result
    unsigned long long stallWindow = 0;   // in which firings waited for older iterations to end
  };
  const Counts& GetCounts() const { return counts; }

 private:
  // Which message brought an operand; the others are no messages.
  static constexpr unsigned long long STARTED = ~0ULL;
  static constexpr unsigned long long LOCAL = ~1ULL;
  static constexpr unsigned long long CONSTANT = ~2ULL;

  // The operands of one firing.
  struct Entry {
    double values[Operation::PORTS];
    unsigned long long sources[Operation::PORTS];
    Cycle iteration;
    unsigned present;  // a bit for each port whose token is there
  };

  // For a companion, the records of what brought these operands: of messages, or of fires on this
  // element. Apart from the entries, which are looked at in every run.
  typedef std::array<RecordNumber, Operation::PORTS> Origins;

  // A result on its way out.
  struct Result {
    uint32 id;
    uint32 slot;
    bool side;
    uint32 thread;
    Cycle iteration;
    double value;
    Cycle firedAt;
    RecordNumber fire;  // in the trace
    Cycle readyAt;      // when it is known; NEVER while the memory works on it
    bool localsServed;  // whether its targets on this element have it
    uint32 nextTarget;
  };

  enum State { IDLE, OPERAND_MISSING, OUTPUT_BLOCKED, WINDOW_BLOCKED };

  void AcceptArrivals(Cycle now);
  void ServeLocals(Cycle now);
  bool TryFire(Cycle now);
  void TrySend(Cycle now);
  void Accept(const Target& target, uint32 thread, Cycle iteration, double value,
              unsigned long long source, RecordNumber record);
  void MakeReady(const Firing& firing, Cycle iteration);
  void LoadConstants(const Resident& resident, Entry& entry) const;
  bool SideOf(const Operation& operation, const Entry& entry) const;
  void Fire(const Firing& firing, Cycle now);
  void Produce(const Resident& resident, bool side, uint32 thread, Cycle iteration);
  void AskMemory(const Resident& resident, const Entry& entry, uint32 thread);
  void FinishAccess(const MemoryMessage& access);
  const std::vector<Target>& TargetsOf(const Result& result) const;
  void SkipLocals(Result& result) const;
  void SendTo(const Target& target, const Result& result, Cycle now);
  State CurrentState() const;
  void CountCycles(Cycle cycles);
  void ArrangeWake(Cycle now);
  void NoteFire(const Resident& resident, const Firing& firing) const;
  void LogFire(Cycle now, const Resident& resident, const Firing& firing, const Entry& entry) const;

  const Context& context;
  uint32 number;
  Location location;
  Memory* memory;
  std::unique_ptr<Link> link;  // into the domain
  MessageBuffer arriving;
  std::vector<Resident> residents;
  std::vector<Entry> entries;    // the operand buffer
  std::vector<Origins> origins;  // of the entries, where a companion is kept
  Fifo<Firing> ready;
  std::vector<Result> results;
  uint32 resultCount;  // ever made; the identifier of the next one
  uint32 partial;      // entries that lack some operand
  uint32 held;         // firings that wait for the loop control
  Counts counts;
  State sleepState;  // since the last tick
  Cycle countedTo;   // the first cycle that is not counted yet
};

}  // namespace marrowfin::sim

#endif
