#ifndef SQL_UNITACTIVITY_H
#define SQL_UNITACTIVITY_H

#include <cstdint>
#include <vector>

#include "sql/SqlTrace.h"
#include "trace/base/Place.h"
#include "trace/base/Result.h"

namespace marrowfin {

// How often a processing element or a switch was active.
struct UnitActivity {
  bool isSwitch = false;
  Place at;
  uint64_t fires = 0;
  uint64_t sends = 0;
  uint64_t receives = 0;
  uint64_t transmissions = 0;
  friend bool operator==(const UnitActivity&, const UnitActivity&) = default;
};

// The units that were active in the cycles `first` to `last` (included), row by row, elements
// before switches. The index tells them, in milliseconds, unless cycles fall, ends of messages are
// far off the array, or the array is too large for it: then the records are gone through, and
// memory follows the places. `work` is told of them. Threads: one at a time, each with an index of
// its own.
[[nodiscard]] Result<std::vector<UnitActivity>> ActivityOfUnits(const SqlTrace& trace,
                                                                uint64_t first, uint64_t last,
                                                                SqlWork& work);

// The same out of the records, whatever the index knows.
[[nodiscard]] Result<std::vector<UnitActivity>> ActivityOfRecords(const SqlTrace& trace,
                                                                  uint64_t first, uint64_t last,
                                                                  SqlWork& work);

}  // namespace marrowfin

#endif
