#ifndef MEASURE_CLUSTERTRAFFIC_H
#define MEASURE_CLUSTERTRAFFIC_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "measure/RunCounts.h"
#include "trace/base/Place.h"

namespace marrowfin {

// What the elements of a cluster sent to those of a cluster, which may be the same.
struct ClusterPair {
  Place from;
  Place to;
  uint64_t messages = 0;
};

// The pairs between which there was any message, row by row of the one and then of the other;
// nothing of arrays of too many clusters (MessageCounts::MOST_CLUSTERS_OF_MATRIX).
std::vector<ClusterPair> TrafficOf(const RunCounts& counts);

// At most so many of those of two different clusters, the busiest first; ties in their order.
std::vector<ClusterPair> BusiestBetween(const std::vector<ClusterPair>& pairs, size_t most);

// The messages that left their cluster.
uint64_t MessagesBetween(const std::vector<ClusterPair>& pairs);

}  // namespace marrowfin

#endif
