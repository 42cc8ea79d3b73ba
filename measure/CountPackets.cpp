#include "measure/CountPackets.h"

#include <utility>

#include "trace/ask/BatchCursor.h"

namespace marrowfin {
namespace {

// What notes tell of packets.
class PacketNotes {
 public:
  explicit PacketNotes(NotesOfTrace& notes) : notes(notes) {
    const NoteDeclarations& declarations = notes.Declarations();
    packet = declarations.Attribute(PACKET_ATTRIBUTE);
    kind = declarations.Attribute(KIND_ATTRIBUTE);
    created = declarations.Attribute(CREATED_ATTRIBUTE);
    if (!kind) {
      return;
    }
    for (const auto& [value, name] : declarations.attributes[*kind].names) {
      if (name == "inject") {
        inject = value;
      } else if (name == "eject") {
        eject = value;
      } else if (name == "head") {
        head = value;
      }
    }
  }

  Fault Read(const Selection& found) {
    for (auto& [attribute, values] :
         {std::pair(packet, &packets), std::pair(kind, &kinds), std::pair(created, &times)}) {
      *values = nullptr;
      if (attribute) {
        Result<const NoteValues*> read = notes.Of(found, *attribute);
        if (!read) {
          return read.Why();
        }
        *values = *read;
      }
    }
    return {};
  }

  static std::optional<uint64_t> ValueOf(const NoteValues* values, size_t i) {
    return values != nullptr && values->Has(i) ? std::optional(values->Value(i)) : std::nullopt;
  }

  std::optional<uint64_t> Packet(size_t i) const { return ValueOf(packets, i); }
  std::optional<uint64_t> Created(size_t i) const { return ValueOf(times, i); }

  PacketRole RoleOf(uint32_t type, size_t i) const {
    const std::optional<uint64_t> is = ValueOf(kinds, i);
    if (type == SEND_RECORD) {
      return !head || is == head ? PacketRole::HOP : PacketRole::OTHER;
    }
    if (type != FIRE_RECORD) {
      return PacketRole::OTHER;
    }
    if (!inject && !eject) {
      return PacketRole::FIRE;
    }
    return !is            ? PacketRole::OTHER
           : is == inject ? PacketRole::ENTRY
           : is == eject  ? PacketRole::EXIT
                          : PacketRole::OTHER;
  }

 private:
  NotesOfTrace& notes;
  std::optional<uint32_t> packet;
  std::optional<uint32_t> kind;
  std::optional<uint32_t> created;
  std::optional<uint64_t> inject;
  std::optional<uint64_t> eject;
  std::optional<uint64_t> head;
  const NoteValues* packets = nullptr;
  const NoteValues* kinds = nullptr;
  const NoteValues* times = nullptr;
};

void AddByNotes(const Selection& found, const PacketNotes& notes, PacketCounts& counts) {
  for (size_t i = 0; i < found.Size(); ++i) {
    if (const std::optional<uint64_t> packet = notes.Packet(i)) {
      const size_t row = found.rows[i];
      counts.Add(*packet, found.columns->cycle[row], notes.RoleOf(found.columns->tag[row].type, i),
                 notes.Created(i));
    }
  }
}

void AddByThread(const Selection& found, PacketCounts& counts) {
  for (const uint16_t row : found.rows) {
    const Columns::Tag tag = found.columns->tag[row];
    const PacketRole role = tag.type == FIRE_RECORD   ? PacketRole::FIRE
                            : tag.type == SEND_RECORD ? PacketRole::HOP
                                                      : PacketRole::OTHER;
    counts.Add(tag.thread, found.columns->cycle[row], role, std::nullopt);
  }
}

}  // namespace

bool TellPackets(const NotesOfTrace* notes) {
  return notes != nullptr && notes->Declarations().Attribute(PACKET_ATTRIBUTE).has_value();
}

Result<PacketCounts> CountPackets(const TraceSource& trace, const Index& index, NotesOfTrace* notes,
                                  const EventFilter& filter, const TimeColumns& windows,
                                  const ProgressCallback& progress) {
  std::optional<PacketNotes> told;
  if (TellPackets(notes)) {
    told.emplace(*notes);
  }
  BatchCursor cursor(trace, index, filter, progress);
  PacketCounts counts(windows);
  Selection found;
  while (cursor.Next(found)) {
    if (!told) {
      AddByThread(found, counts);
      continue;
    }
    if (Fault fault = told->Read(found)) {
      return fault;
    }
    AddByNotes(found, *told, counts);
  }
  if (Fault fault = cursor.GetFault()) {
    return fault;
  }
  return counts;
}

}  // namespace marrowfin
