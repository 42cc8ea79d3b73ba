#ifndef SIM_MEMORY_H
#define SIM_MEMORY_H

#include <map>
#include <unordered_map>
#include <vector>

#include "sim/Companion.h"
#include "sim/Context.h"
#include "sim/Messages.h"
#include "sim/Unit.h"

namespace marrowfin::sim {

// The memory of a cluster, for the processing elements of that cluster.
//
// Accesses start in the order of arrival, at most `memoryPorts` a cycle and one of each processing
// element, and end after the memory's latency. The queue needs no bound of its own: every access
// holds a place for its result in a processing element.
class Memory : public Unit {
 public:
  // `cluster` is the number of the memory's cluster within the array.
  Memory(const Context& context, uint32 cluster);

  void Tick(Cycle now) override;
  void ReceiveMessage(Message* m) override;

  // Notes how many accesses wait for a port at the end of a cycle, where that has changed.
  void TellQueue();

  // Finds a place for segment `segment` of `words` words for each of `threads` threads, one thread
  // behind the other, unless it has one. Returns its first word.
  uint32 Place(uint32 segment, uint32 words, uint32 threads);

  // Whether the segment has a place here.
  bool Holds(uint32 segment) const { return bases.count(segment) != 0; }

  // The words of a segment of a thread. It must have a place here.
  double* Words(uint32 segment, uint32 wordsPerThread, uint32 thread);

 private:
  void Start(MemoryMessage* access, Cycle now);
  void Finish(MemoryMessage* access);

  const Context& context;
  uint32 cluster;
  std::map<uint32, uint32> bases;  // first word of each segment
  std::vector<double> words;
  MessageBuffer requests;
  MessageBuffer running;
  std::unordered_map<const Component*, Cycle> lastStart;  // of each processing element
  unsigned long long loads;
  unsigned long long stores;
  Histogram queueing;  // cycles that accesses waited before they started
  Cycle lastArrival;   // of requests, a cycle after they came
  uint32 lastCount;    // of those that arrive then
  ToldNumber told;
};

}  // namespace marrowfin::sim

#endif
