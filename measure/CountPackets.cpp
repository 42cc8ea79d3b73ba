#include "measure/CountPackets.h"

#include <vector>

#include "measure/PacketFollower.h"
#include "trace/ask/BatchCursor.h"

namespace marrowfin {

bool TellPackets(const NotesOfTrace* notes) {
  return notes != nullptr && notes->Declarations().Attribute(PACKET_ATTRIBUTE).has_value();
}

Result<PacketCounts> CountPackets(const TraceSource& trace, const Index& index, NotesOfTrace* notes,
                                  const EventFilter& filter, const TimeColumns& windows,
                                  const ProgressCallback& progress) {
  BatchCursor cursor(trace, index, filter, progress);
  PacketFollower follower(TellPackets(notes) ? notes : nullptr, windows);
  std::vector<PacketLife> arrived;
  Selection found;
  while (cursor.Next(found)) {
    if (Fault fault = follower.Read(found)) {
      return fault;
    }
    for (size_t i = 0; i < found.Size(); ++i) {
      follower.Add(found, i, 0, arrived);
    }
    arrived.clear();
  }
  if (Fault fault = cursor.GetFault()) {
    return fault;
  }
  return follower.Counts();
}

}  // namespace marrowfin
