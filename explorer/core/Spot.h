#ifndef EXPLORER_CORE_SPOT_H
#define EXPLORER_CORE_SPOT_H

#include <cstdint>
#include <optional>

#include "explorer/core/Asking.h"
#include "trace/base/Result.h"

namespace marrowfin {

// Where a moment lies in both readings of time.
struct Spot {
  uint64_t end = 0;          // the records before it are those that are applied
  uint64_t cycle = 0;        // of the last of them
  uint64_t naturalStep = 0;  // in which that is
  uint64_t step = 0;         // of a viewer
  uint64_t lastStep = 0;     // that a viewer draws
};

// A record, in which case the moment is that behind it, or a moment.
struct SpotQuestion {
  std::optional<uint64_t> record;
  Moment moment;  // of a record the cycle to which the viewer skips
};

// OUT_OF_RANGE where there is no such record or step.
[[nodiscard]] Result<Spot> FindSpot(const Asking& asking, const SpotQuestion& question);

// The step of a viewer that takes a record up; 0 for one that its start consumes.
[[nodiscard]] Result<uint64_t> StepOfRecord(const Asking& asking, uint64_t skipTo, uint64_t record);

}  // namespace marrowfin

#endif
