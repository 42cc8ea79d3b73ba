#ifndef TRACE_BASE_PLACE_H
#define TRACE_BASE_PLACE_H

#include <cstdint>

#include "trace/base/Record.h"

namespace marrowfin {

// A position in the array, in the order in which records store it.
struct Place {
  uint32_t column = 0;
  uint32_t row = 0;

  friend bool operator==(const Place&, const Place&) = default;
};

// The array that a viewer shows: `clusters` clusters of `domains` domains of `pes` processing
// elements along each axis. All counts are at least 1 and their product is below 2^31.
struct ArrayShape {
  uint32_t clusters = 4;
  uint32_t domains = 2;
  uint32_t pes = 4;

  // Positions along an axis, in all and in a cluster.
  uint32_t Side() const { return clusters * domains * pes; }
  uint32_t ClusterSide() const { return domains * pes; }

  bool HasElement(Place place) const { return place.column < Side() && place.row < Side(); }

  // Whether `place` is where the switch of a cluster is filed.
  bool HasSwitch(Place place) const {
    return IsSwitchIndex(place.column) && IsSwitchIndex(place.row);
  }

  friend bool operator==(const ArrayShape&, const ArrayShape&) = default;

 private:
  bool IsSwitchIndex(uint32_t index) const {
    return index >= FIRST_SWITCH && (index - FIRST_SWITCH) % ClusterSide() == 0 &&
           (index - FIRST_SWITCH) / ClusterSide() < clusters;
  }
};

}  // namespace marrowfin

#endif
