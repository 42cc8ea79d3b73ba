#ifndef TRACE_BASE_PLACETABLE_H
#define TRACE_BASE_PLACETABLE_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "trace/base/Place.h"

namespace marrowfin {

// Numbers places in the order in which they are first met. A table with open addressing: one lookup
// per switch transmission stands in the way of reading fast, where the standard maps take ten times
// as long. Threads: a value, which one thread writes or any number read.
class PlaceTable {
 public:
  static constexpr uint32_t NONE = 0xFFFFFFFF;

  PlaceTable() : cells(64, NONE) {}

  // The number of the place, or NONE.
  uint32_t Find(Place place) const { return cells[CellOf(place)]; }

  // The number of the place, which gets the next one where it has none. At most 2^31 places.
  uint32_t Add(Place place) {
    const size_t cell = CellOf(place);
    if (cells[cell] != NONE) {
      return cells[cell];
    }
    const uint32_t number = static_cast<uint32_t>(places.size());
    cells[cell] = number;
    places.push_back(place);
    if (places.size() * 2 > cells.size()) {
      Grow();
    }
    return number;
  }

  const std::vector<Place>& Places() const { return places; }

 private:
  size_t CellOf(Place place) const {
    const uint64_t key = static_cast<uint64_t>(place.row) << 32 | place.column;
    // Bits of the product on which both the column and the row tell.
    size_t cell = (key * 0x9E3779B97F4A7C15) >> 32 & (cells.size() - 1);
    while (cells[cell] != NONE && places[cells[cell]] != place) {
      cell = (cell + 1) & (cells.size() - 1);
    }
    return cell;
  }

  void Grow() {
    cells.assign(cells.size() * 2, NONE);
    for (uint32_t number = 0; number < places.size(); ++number) {
      cells[CellOf(places[number])] = number;
    }
  }

  std::vector<uint32_t> cells;  // numbers of places; a power of two, at most half full
  std::vector<Place> places;
};

}  // namespace marrowfin

#endif
