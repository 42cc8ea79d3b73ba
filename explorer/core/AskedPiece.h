#ifndef EXPLORER_CORE_ASKEDPIECE_H
#define EXPLORER_CORE_ASKEDPIECE_H

#include "measure/LinkCounts.h"
#include "trace/base/Place.h"

namespace marrowfin {

// A part of the array, or a link between two.
struct AskedPiece {
  enum Kind { PE, SWITCH, DOMAIN, CLUSTER, LINK };

  Kind kind = PE;
  Place at;  // of a switch its cluster
  Heading heading = Heading::RIGHT;
  bool ofClusters = false;  // of a link: whether it joins two clusters

  friend bool operator==(const AskedPiece&, const AskedPiece&) = default;
};

}  // namespace marrowfin

#endif
