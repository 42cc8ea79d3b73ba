#ifndef MEASURE_NETWORKMODEL_H
#define MEASURE_NETWORKMODEL_H

#include <cstdint>
#include <optional>

#include "measure/LinkCounts.h"
#include "trace/base/About.h"
#include "trace/base/Place.h"

namespace marrowfin {

// What links take and switches pass on in a cycle: loads are shares of it.
struct NetworkModel {
  double linkMessages = 1;               // that a link takes a cycle
  std::optional<uint32_t> switchPorts;   // ways out of a switch beside its links
  std::optional<double> switchMessages;  // that a switch passes on a cycle at most

  // Messages that the switch at a node of the mesh of clusters passes on a cycle at most: what its
  // ports and its links take together, and no more than is told. One at the edge has fewer links.
  // Nothing where neither is told, or that is none at all.
  std::optional<double> OfSwitch(const Mesh& clusters, Place node) const;

  friend bool operator==(const NetworkModel&, const NetworkModel&) = default;
};

// As a companion tells it, or without one: links take a message a cycle, and of switches nothing is
// known.
NetworkModel NetworkOf(const About* about);

}  // namespace marrowfin

#endif
