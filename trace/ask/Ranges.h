#ifndef TRACE_ASK_RANGES_H
#define TRACE_ASK_RANGES_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "trace/ask/EventFilter.h"
#include "trace/ask/Region.h"
#include "trace/base/ArrayShape.h"
#include "trace/base/Place.h"

namespace marrowfin {

// Ranges, threads and regions in the words of a command line. Each function tells what is wrong
// with a text, nothing where it is understood. Threads: any number may call these at a time.

// Numbers from `first` to `last`, both included.
struct NumberRange {
  uint64_t first = 0;
  uint64_t last = ~uint64_t{0};
};

// "5", "5..9", "5.." (to the end), "..9" (from the start); a colon may stand for the points.
std::string ParseRange(const std::string& text, NumberRange& range);

// "0,2-5": numbers of threads and ranges of them, which come out in order and apart.
std::string ParseThreads(const std::string& text, std::vector<ThreadRange>& threads);

// A rectangle of positions, or a cluster or domain, which only an array makes one.
struct RegionWords {
  enum Kind { POSITIONS, CLUSTER, DOMAIN };

  Kind kind = POSITIONS;
  Place first;  // the column and the row of the cluster or domain, or of the first corner
  Place last;   // and of the last corner

  bool NeedsArray() const { return kind != POSITIONS; }

  // Nothing where the array does not have it.
  std::optional<Region> In(const ArrayShape& shape) const;

  // Of positions alone.
  Region Positions() const { return {first, last}; }
};

// "7,2" (column, row), "0,0:7,7" (corners included), "cluster:1,0", "domain:3,2".
std::string ParseRegion(const std::string& text, RegionWords& region);

// A column and a row, "7,2": of a position, a cluster or a domain.
std::string ParsePlace(const std::string& text, Place& place);

// The first and the last corner of a rectangle of positions, "0,0,7,7".
std::string ParseRectangle(const std::string& text, RegionWords& region);

}  // namespace marrowfin

#endif
