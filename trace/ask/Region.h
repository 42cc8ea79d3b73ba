#ifndef TRACE_ASK_REGION_H
#define TRACE_ASK_REGION_H

#include <cstdint>

#include "trace/base/ArrayShape.h"
#include "trace/base/Place.h"

namespace marrowfin {

// A rectangle of positions, corners included. One whose last column or row lies before the first
// has none. Threads: a value, which one thread writes or any number read.
struct Region {
  Place first;
  Place last{~0U, ~0U};

  bool Has(Place place) const {
    return place.column >= first.column && place.column <= last.column && place.row >= first.row &&
           place.row <= last.row;
  }

  // One position; a domain or a cluster of an array, counted from 0 along each axis over the whole
  // array.
  static Region Element(Place place) { return {place, place}; }
  static Region Domain(const ArrayShape& shape, uint32_t column, uint32_t row);
  static Region Cluster(const ArrayShape& shape, uint32_t column, uint32_t row);

  friend bool operator==(const Region&, const Region&) = default;
};

}  // namespace marrowfin

#endif
