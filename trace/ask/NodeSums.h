#ifndef TRACE_ASK_NODESUMS_H
#define TRACE_ASK_NODESUMS_H

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <utility>
#include <vector>

#include "trace/ask/Region.h"
#include "trace/index/Index.h"

namespace marrowfin {

// Sums of some counters of an index between two of its boundaries: of the elements of a region, of
// switches and of counts by thread. What a node has of them is read once.
//
// Boundaries are counted from 1, 0 is the start of the trace. For one thread at a time; the index
// must outlive it.
class NodeSums {
 public:
  // `transmitters` are numbers of switches in the summary, `counters` are among those of
  // THREAD_RECORDS, see Summary::ThreadSlot.
  NodeSums(const Index& index, const Region& region, std::vector<size_t> transmitters,
           std::vector<size_t> counters)
      : index(index),
        region(region),
        transmitters(std::move(transmitters)),
        counters(std::move(counters)) {}

  // How many there are between two boundaries, modulo 2^64; a fault where the index is damaged.
  [[nodiscard]] Result<uint64_t> Between(size_t from, size_t to, Activity activity);

  bool HasTransmitters() const { return !transmitters.empty(); }

 private:
  Result<uint64_t> OfNode(size_t b, Activity activity);

  const Index& index;
  const Region region;
  const std::vector<size_t> transmitters;
  const std::vector<size_t> counters;
  std::unordered_map<uint64_t, uint64_t> known;  // by node and activity
};

// The switches of a region, by their numbers in the summary.
std::vector<size_t> SwitchesIn(const Summary& summary, const Region& region);

// The counts of a type of record, of all threads, among those by thread.
std::vector<size_t> CountersOfType(const Summary& summary, uint32_t recordType);

}  // namespace marrowfin

#endif
