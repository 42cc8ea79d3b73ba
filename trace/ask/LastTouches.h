#ifndef TRACE_ASK_LASTTOUCHES_H
#define TRACE_ASK_LASTTOUCHES_H

#include <cstddef>
#include <cstdint>
#include <functional>

#include "trace/ask/ArrayState.h"
#include "trace/ask/Region.h"
#include "trace/ask/Selection.h"
#include "trace/base/Fault.h"
#include "trace/base/Progress.h"
#include "trace/index/Index.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// An element or a switch of an array.
struct Piece {
  bool isSwitch = false;
  uint32_t number = 0;  // of the element or the switch
};

// Takes the event that touched a piece last: record `i` of a selection. A fault ends the search.
using TouchFunction = std::function<Fault(const Piece& piece, const Selection& found, size_t i)>;

// Finds the last event of each piece in a region that a state shows touched: of which thread it is,
// which its colour tells up to five others, and in which record it stands. Pieces are told in no
// particular order, each once. `lastCycle` is the one up to which events were applied, where the
// state is that of a cycle.
//
// Goes back from the end of the state as long as that finds pieces; what was touched long ago is
// looked up piece by piece where that is less to read. `progress` is told records. A fault where
// trace or index cannot be read, or the state is not of this trace. For one thread at a time.
[[nodiscard]] Fault FindLastTouches(const TraceSource& trace, const Index& index,
                                    const ArrayState& state, const Region& region,
                                    uint64_t lastCycle, const TouchFunction& take,
                                    const ProgressCallback& progress = {});

}  // namespace marrowfin

#endif
