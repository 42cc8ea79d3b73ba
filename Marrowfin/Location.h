#ifndef MARROWFIN_LOCATION_H
#define MARROWFIN_LOCATION_H

#include <string>

#include "Util/Printable.h"
#include "Util/Types.h"

// A position in the processor array, counted from 0. The order of the virtual operations and of the
// fields is fixed.
class Location : public Printable {
 public:
  static const uint32 MAX_ROW;
  static const uint32 MAX_COLUMN;

  Location(unsigned row, unsigned column);
  Location(const Location& other);
  Location& operator=(const Location& other);
  ~Location() override;

  bool operator==(const Location& other) const;

  // Higher rows come first and, within a row, higher columns: maps keyed by Location are walked
  // from the far corner of the array to its origin.
  bool operator<(const Location& other) const;

  // |rows apart| + |columns apart|, modulo 2^32.
  unsigned ManhattanDistance(const Location& other) const;

  // "(COLUMN, ROW)", the column first, each number right-aligned in five columns.
  using Printable::ToString;
  const char* ToString(std::string& s) const override;

  uint32 row;
  uint32 column;
};

#endif
