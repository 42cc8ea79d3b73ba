#ifndef SIM_COMPANION_H
#define SIM_COMPANION_H

#include "Marrowfin/Location.h"
#include "Util/Types.h"
#include "sim/Graph.h"
#include "trace/write/Recorder.h"

namespace marrowfin::sim {

// What the trace of a run cannot say, for its notes: what fires were, of which program operation,
// and exactly what caused what. docs/simulator.md describes it. Where none is kept, all of it is
// passed over.
//
// Each note is about the record that was written last.
class Companion {
 public:
  // `recorder` outlives the companion.
  explicit Companion(Recorder& recorder) : recorder(recorder) {}

  // Declares what is noted, once the recorder has been attached.
  void Begin();
  void End() { isKept = false; }
  bool IsKept() const { return isKept; }

  // The fire of operation `number` of the program's graph.
  void Fire(Opcode opcode, uint32 number, Cycle iteration);

  // The fire used what an earlier message brought.
  void Consumes(RecordNumber send) { recorder.Note(consumes, send); }

  // What the fire used, or the message carries, is the result of an earlier fire on its element.
  void ProducedBy(RecordNumber fire) { recorder.Note(producedBy, fire); }

  // The message, or its transmission by a switch. `born` is the cycle of the fire whose result it
  // carries.
  void Send(unsigned long long message, Cycle born);
  void Transmission(unsigned long long message, Cycle born);

  // So many messages wait in the switch, or accesses in the memory, of the cluster whose switch
  // records have at `place`.
  void SwitchQueue(Cycle now, const Location& place, uint32 waiting);
  void MemoryQueue(Cycle now, const Location& place, uint32 waiting);

 private:
  static constexpr uint64_t OPERAND_BYTES = sizeof(double);

  void NoteMessage(unsigned long long message, Cycle born);

  Recorder& recorder;
  bool isKept = false;
  NamedValue compute, control, memory, operand;
  NamedValue opcodes[static_cast<size_t>(Opcode::STORE) + 1];
  NumberNote operation, iterationOf, packet, size;
  CycleNote created;
  RecordsNote consumes, producedBy;
  CounterHandle switchQueue, memoryQueue;
};

// A number that is told only when it changes, and at first.
class ToldNumber {
 public:
  bool Changes(uint32 number) {
    const bool changes = number != told;
    told = number;
    return changes;
  }

 private:
  uint32 told = ~0U;
};

}  // namespace marrowfin::sim

#endif
