#ifndef MEASURE_CAUSENOTES_H
#define MEASURE_CAUSENOTES_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>

#include "trace/ask/NotesOfTrace.h"
#include "trace/ask/Selection.h"
#include "trace/base/Fault.h"

namespace marrowfin {

// What the notes of a run tell of causes, batch by batch. The notes must outlive it. Threads: one
// at a time.
class CauseNotes {
 public:
  explicit CauseNotes(NotesOfTrace& notes);

  // Whether they have anything to tell of any event.
  bool TellAnything() const { return consumes || produced || packet || kind; }
  bool TellsConsumedAtAll() const { return consumes.has_value(); }
  bool TellsProducersAtAll() const { return produced.has_value(); }

  // Reads what is noted of records that follow each other; the questions below are of the i-th of
  // them. Good as long as the records are.
  [[nodiscard]] Fault Read(const Selection& records);

  // Whether it is known which messages the event used, and which fires; it may be none.
  bool TellsConsumed(size_t i) const { return Knows(consumed, i); }
  bool TellsProducers(size_t i) const { return Knows(producers, i); }

  std::span<const uint64_t> Consumed(size_t i) const { return All(consumed, i); }
  std::span<const uint64_t> Producers(size_t i) const { return All(producers, i); }
  std::optional<uint64_t> Packet(size_t i) const { return One(packets, i); }

  // The kind of a fire as a number from 0 on, below CausalGraph::WORK_KINDS; 0 where nothing tells.
  uint32_t WorkOf(size_t i);

 private:
  // Of records behind the place where notes break off nobody knows anything.
  bool Knows(const NoteValues* values, size_t i) const {
    return values != nullptr && values->IsKnown(i) && first + i < end;
  }
  static std::span<const uint64_t> All(const NoteValues* values, size_t i) {
    return values != nullptr ? values->All(i) : std::span<const uint64_t>();
  }
  static std::optional<uint64_t> One(const NoteValues* values, size_t i) {
    return values != nullptr && values->Has(i) ? std::optional(values->Value(i)) : std::nullopt;
  }

  NotesOfTrace& notes;
  uint64_t end;                      // the record at which they break off, if they do
  uint64_t first = 0;                // that was read
  std::optional<uint32_t> consumes;  // attributes
  std::optional<uint32_t> produced;
  std::optional<uint32_t> packet;
  std::optional<uint32_t> kind;
  const NoteValues* consumed = nullptr;
  const NoteValues* producers = nullptr;
  const NoteValues* packets = nullptr;
  const NoteValues* kinds = nullptr;
  std::map<uint64_t, uint32_t> works;  // of kinds, in the order in which they were met
};

}  // namespace marrowfin

#endif
