#ifndef MEASURE_COUNTPACKETS_H
#define MEASURE_COUNTPACKETS_H

#include <cstdint>
#include <optional>

#include "measure/PacketCounts.h"
#include "trace/ask/NotedCursor.h"
#include "trace/ask/NotesOfTrace.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/index/Index.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// Whether notes tell packets: whether there are notes, with an attribute "packet".
bool TellPackets(const NotesOfTrace* notes);

// Which packets are followed, through which records.
struct PacketQuestion {
  // Events are those that meet the filter's conditions for events. Of conditions on notes it is
  // enough where the event meets them with which a packet entered: all that follows is followed.
  NotedFilter filter;

  TimeColumns windows;             // of latencies over time
  bool packetsAreThreads = false;  // whatever the notes tell of packets
};

// Follows the packets of a trace.
//
// With notes that tell packets, an event belongs to the one that its note names. Where kinds are
// told, fires of the kinds "inject" and "eject" are entry and exit; where no such kinds are, the
// first and the second fire. Messages are hops; of packets in flits, where there is a kind "head",
// those of heads alone. Events without a packet are passed over.
//
// Where no such kinds are told, but what fires consumed is, messages themselves are followed: from
// the first that tells a packet to the fire that consumed one of it. Further messages and switch
// transmissions of the packet are hops then.
//
// Without such notes (null, or none of that name) the thread of an event is taken for its packet.
// Conditions on notes need notes.
//
// A fault where the trace cannot be read, or `progress`, which counts records, asked to stop.
[[nodiscard]] Result<PacketCounts> CountPackets(const TraceSource& trace, const Index& index,
                                                NotesOfTrace* notes, const PacketQuestion& question,
                                                const ProgressCallback& progress = {});

}  // namespace marrowfin

#endif
