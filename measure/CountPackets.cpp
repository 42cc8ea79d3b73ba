#include "measure/CountPackets.h"

#include <vector>

#include "measure/PacketFollower.h"
#include "trace/ask/BatchCursor.h"
#include "trace/ask/NoteMarks.h"

namespace marrowfin {

bool TellPackets(const NotesOfTrace* notes) {
  return notes != nullptr && notes->Declarations().Attribute(PACKET_ATTRIBUTE).has_value();
}

Result<PacketCounts> CountPackets(const TraceSource& trace, const Index& index, NotesOfTrace* notes,
                                  const PacketQuestion& question,
                                  const ProgressCallback& progress) {
  BatchCursor cursor(trace, index, question.filter.events, progress);
  const bool told = !question.packetsAreThreads && TellPackets(notes);
  PacketFollower follower(told ? notes : nullptr, question.windows);
  NoteMarks chosen(notes, question.filter.notes);
  std::vector<PacketLife> arrived;
  Selection found;
  while (cursor.Next(found)) {
    if (Fault fault = follower.Read(found)) {
      return fault;
    }
    if (Fault fault = chosen.Read(found)) {
      return fault;
    }
    for (size_t i = 0; i < found.Size(); ++i) {
      follower.Add(found, i, {.counted = chosen.Meet(i)}, arrived);
    }
    arrived.clear();
  }
  if (Fault fault = cursor.GetFault()) {
    return fault;
  }
  return follower.Counts();
}

}  // namespace marrowfin
