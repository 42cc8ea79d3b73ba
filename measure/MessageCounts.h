#ifndef MEASURE_MESSAGECOUNTS_H
#define MEASURE_MESSAGECOUNTS_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "measure/LinkCounts.h"
#include "trace/base/ArrayShape.h"

namespace marrowfin {

// How the messages of an array travel, in any order. Those with an end outside the array are left
// out.
//
// Links are counted twice: between elements, and between the switches of clusters. Which of them
// mean something only the whole of the trace tells; but once a message is far, links between
// elements mean nothing where there are several clusters, and are no longer counted.
class MessageCounts {
 public:
  // Clusters of which the traffic from each to each is kept.
  static constexpr size_t MOST_CLUSTERS_OF_MATRIX = 1024;

  // Nodes of `elements` are the elements of the shape, nodes of `clusters` its clusters. Links
  // between elements are counted to the end where they are wanted whatever they mean.
  MessageCounts(const ArrayShape& shape, const Mesh& elements, const Mesh& clusters,
                bool elementsWanted = false);

  void Add(Place from, Place to);
  void Add(const MessageCounts& other);

  // Shows all that was counted, see CountsBytes.
  template <class Visitor>
  void Visit(Visitor& visitor) {
    visitor.Records(distances);
    visitor.Records(farSends);
    elementLinks.Visit(visitor);
    clusterLinks.Visit(visitor);
    visitor.Records(turned);
    visitor.Records(traffic);
  }

  // See RunCounts.
  const std::vector<uint64_t>& Distances() const { return distances; }
  uint64_t FarSends() const { return farSends; }
  const LinkCounts& ElementLinks() const { return elementLinks; }
  const LinkCounts& ClusterLinks() const { return clusterLinks; }
  const std::vector<uint64_t>& TurnedAtSwitch() const { return turned; }
  const std::vector<uint64_t>& Traffic() const { return traffic; }

 private:
  // The domain and the cluster of each column or row: to divide takes longer than all the rest.
  struct Axis {
    Axis(uint32_t clusters, uint32_t domains, uint32_t pes);
    std::vector<uint32_t> domain;
    std::vector<uint32_t> cluster;
  };

  bool Has(Place place) const {
    return place.column < columns.domain.size() && place.row < rows.domain.size();
  }

  Axis columns;
  Axis rows;
  bool several;  // clusters, and links between elements are not wanted beside theirs
  bool wraps;    // whether any link joins two edges
  std::vector<uint64_t> distances;
  uint64_t farSends = 0;
  LinkCounts elementLinks;
  LinkCounts clusterLinks;
  std::vector<uint64_t> turned;
  std::vector<uint64_t> traffic;
};

}  // namespace marrowfin

#endif
