#ifndef MEASURE_PACKETHISTORY_H
#define MEASURE_PACKETHISTORY_H

#include <cstdint>
#include <optional>
#include <vector>

#include "measure/FindCauses.h"
#include "trace/ask/NotesOfTrace.h"
#include "trace/base/Progress.h"

namespace marrowfin {

// Another packet that used a link, switch or element while one waited for it.
struct PacketHolder {
  uint64_t packet = 0;
  uint64_t events = 0;  // that it had there
  uint64_t firstCycle = 0;
  uint64_t lastCycle = 0;
};

// A step of a packet's way.
struct PacketStep {
  TraceEvent event;
  uint64_t time = 0;   // see TimedBatch
  uint64_t since = 0;  // cycles since the step before
  uint64_t wait = 0;   // of them, what it took longer than such a step ever did

  // Who used what it waited for, meanwhile: of a message the same link, of a transmission the same
  // switch, of a fire the same element. The first one first.
  std::vector<PacketHolder> holders;
  uint64_t untold = 0;  // events there that tell no packet
};

// The way of a packet: the chain of causes within it that led to its end. Of one in flits that is
// the way of the flit that came last.
struct PacketHistory {
  uint64_t packet = 0;
  std::optional<uint64_t> created;  // the cycle
  std::vector<PacketStep> steps;    // none where no event tells of the packet
  uint64_t waited = 0;              // cycles
  bool certain = true;              // whether no step is inferred

  uint64_t Cycles() const { return steps.empty() ? 0 : steps.back().time - steps.front().time; }
};

// Follows a packet. `causes` are those of the trace with these notes. A fault where trace or notes
// cannot be read, or `progress`, which counts records, asked to stop.
[[nodiscard]] Result<PacketHistory> FollowPacket(const Causes& causes, NotesOfTrace& notes,
                                                 uint64_t packet,
                                                 const ProgressCallback& progress = {});

}  // namespace marrowfin

#endif
