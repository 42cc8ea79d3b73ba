#ifndef SIM_ARRAY_H
#define SIM_ARRAY_H

#include <memory>
#include <string>
#include <vector>

#include "Core/Component.h"
#include "sim/Cluster.h"
#include "sim/Context.h"
#include "sim/Graph.h"
#include "sim/Program.h"

namespace marrowfin::sim {

// The simulated array, the root of the tree of its units.
//
// Calling order: construct; parse the options; Fault(); Build(); Load(); for every run Start() with
// the data of all threads, then RunCycle() while IsRunning(), then ReadSegment().
class Array : public Component {
 public:
  // The largest values of -operandBuffer and of -memoryWords.
  static constexpr uint32 MOST_ENTRIES = 1 << 20;
  static constexpr uint32 MOST_WORDS = 1 << 30;

  Array();
  ~Array() override;

  // What is wrong with the options; empty if nothing is.
  std::string Fault() const;

  const Shape& GetShape() const { return shape; }
  const Settings& GetSettings() const { return settings; }

  // The most operations that a processing element can hold.
  uint32 PeCapacity(uint32 threads) const {
    return static_cast<uint32>(settings.operandBuffer / EntriesOfOperation(threads));
  }

  // The entries of the operand buffer that an operation needs: one for every thread and live
  // iteration.
  unsigned long long EntriesOfOperation(uint32 threads) const { return 1ULL * threads * window; }

  // Makes all units. `trace` and `log` must outlive the array.
  void Build(uint32 threads, TraceRecorder& trace, RunLog& log);

  // The words of the memory of the cluster that needs most for the program's segments. `placement`
  // holds the processing element of each operation.
  unsigned long long MemoryNeed(const Graph& graph, const std::vector<uint32>& placement,
                                uint32 threads) const;

  // Why the memories cannot hold the program's segments; empty if they can.
  std::string MemoryFault(const Graph& graph, const std::vector<uint32>& placement,
                          uint32 threads) const;

  // Puts a program on the array. The graph must outlive it.
  void Load(const Graph& graph, const std::vector<uint32>& placement);

  // Fills the memories of a thread, and starts the program for all threads at the next cycle.
  void WriteSegments(uint32 thread, const SegmentData& data);
  void Start();

  bool IsRunning() const { return scheduler->HasWork(); }
  void RunCycle();

  // The words of a written segment; zeros where no operation uses it.
  std::vector<double> ReadSegment(uint32 segment, uint32 thread);

  Cycle Cycles() const { return scheduler->Now(); }
  unsigned long long Ticks() const { return scheduler->Ticks(); }

  // Fires and stalls of all processing elements, up to the current cycle.
  const ProcessingElement::Counts& Counts();

  // Operands that wait. Those that are left when nothing runs any more can never be used.
  unsigned long long LiveTokens() const { return loops->LiveTokens(); }

  // The switch transmissions that one message on each arc of the program would take.
  unsigned long long PlacementHops() const { return placementHops; }

  void Compute() override;

 private:
  void AddOptions();
  void AddStats();
  ProcessingElement& Pe(uint32 pe);
  void PlaceOperation(uint32 index, uint32 pe);
  void ConnectOperation(uint32 index);
  uint32 Hops(uint32 fromPe, uint32 toPe) const;
  Cluster& ClusterOf(uint32 pe) { return *clusters[shape.ClusterOf(pe)]; }

  Shape shape;
  Settings settings;
  uint32 window;
  uint32 threadCount;
  Traffic traffic;
  std::unique_ptr<Scheduler> scheduler;
  std::unique_ptr<LoopControl> loops;
  std::unique_ptr<Context> context;
  std::vector<std::unique_ptr<Cluster>> clusters;

  const Graph* program;
  std::vector<uint32> peOf;    // of each operation
  std::vector<uint32> slotOf;  // of each operation, in its processing element

  unsigned long long cycles;
  unsigned long long ticks;
  unsigned long long placementHops;
  ProcessingElement::Counts counts;
  float firesPerCycle;
  float utilisation;
};

}  // namespace marrowfin::sim

#endif
