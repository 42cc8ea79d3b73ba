#ifndef MEASURE_CAUSALCONE_H
#define MEASURE_CAUSALCONE_H

#include <cstdint>
#include <vector>

#include "measure/FindCauses.h"
#include "measure/RecordSet.h"
#include "measure/SpaceTime.h"
#include "trace/base/Progress.h"

namespace marrowfin {

// All that led to an event, or all that followed from it, the event included.
struct CausalCone {
  RecordSet records;
  uint64_t fires = 0;
  uint64_t messages = 0;
  uint64_t transmissions = 0;
  uint64_t inferred = 0;    // events in it whose causes are inferred
  uint64_t firstCycle = 0;  // of its events, and the last
  uint64_t lastCycle = 0;

  // Fires by place, the most first, ties by row and column.
  struct Fires {
    Place at;
    uint64_t fires = 0;
  };
  std::vector<Fires> places;

  uint64_t Events() const { return fires + messages + transmissions; }
};

enum class ConeDirection { BACK, FORWARD };

// The cone of a record, of which there must be one of that number. A fault where the trace cannot
// be read, or `progress`, which counts records, asked to stop.
[[nodiscard]] Result<CausalCone> FindCone(const Causes& causes, uint64_t record,
                                          ConeDirection direction,
                                          const ProgressCallback& progress = {});

// Its fires on a map of places and times that has none yet. Faults as of FindCone.
[[nodiscard]] Result<SpaceTime> ConeOverTime(const Causes& causes, const CausalCone& cone,
                                             SpaceTime map, const ProgressCallback& progress = {});

}  // namespace marrowfin

#endif
