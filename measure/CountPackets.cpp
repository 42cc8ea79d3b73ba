#include "measure/CountPackets.h"

#include <span>
#include <unordered_map>
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
    consumes = declarations.Attribute(CONSUMES_ATTRIBUTE);
    if (kind) {
      TakeKinds(declarations);
    }
    if (inject || eject) {
      consumes.reset();
    }
  }

  Fault Read(const Selection& found) {
    for (auto& [attribute, values] : {std::pair(packet, &packets), std::pair(kind, &kinds),
                                      std::pair(created, &times), std::pair(consumes, &consumed)}) {
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

  // The messages that the i-th event consumed, where messages are followed.
  std::span<const uint64_t> Consumed(size_t i) const {
    return consumed != nullptr ? consumed->All(i) : std::span<const uint64_t>();
  }

  PacketRole RoleOf(uint32_t type, size_t i) const {
    if (consumes) {
      return type == SEND_RECORD     ? PacketRole::SEND
             : type == SWITCH_RECORD ? PacketRole::HOP
                                     : PacketRole::OTHER;
    }
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
  void TakeKinds(const NoteDeclarations& declarations) {
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

  NotesOfTrace& notes;
  std::optional<uint32_t> packet;
  std::optional<uint32_t> kind;
  std::optional<uint32_t> created;
  std::optional<uint32_t> consumes;  // where messages are followed
  std::optional<uint64_t> inject;
  std::optional<uint64_t> eject;
  std::optional<uint64_t> head;
  const NoteValues* packets = nullptr;
  const NoteValues* kinds = nullptr;
  const NoteValues* times = nullptr;
  const NoteValues* consumed = nullptr;
};

// The last message of every packet that nobody has consumed yet.
class OpenMessages {
 public:
  void Send(uint64_t record, uint64_t packet) {
    const auto [last, isFirst] = lastOf.try_emplace(packet, record);
    if (!isFirst) {
      packetOf.erase(std::exchange(last->second, record));
    }
    packetOf[record] = packet;
  }

  // The packet whose last message this record is.
  std::optional<uint64_t> Consume(uint64_t record) {
    const auto found = packetOf.extract(record);
    if (found.empty()) {
      return std::nullopt;
    }
    lastOf.erase(found.mapped());
    return found.mapped();
  }

 private:
  std::unordered_map<uint64_t, uint64_t> packetOf;  // by record
  std::unordered_map<uint64_t, uint64_t> lastOf;    // record, by packet
};

void AddByNotes(const Selection& found, const PacketNotes& notes, OpenMessages& open,
                PacketCounts& counts) {
  for (size_t i = 0; i < found.Size(); ++i) {
    const size_t row = found.rows[i];
    const uint64_t cycle = found.columns->cycle[row];
    for (const uint64_t message : notes.Consumed(i)) {
      if (const std::optional<uint64_t> packet = open.Consume(message)) {
        counts.Add(*packet, cycle, PacketRole::EXIT, std::nullopt, found.columns->at[row]);
      }
    }
    if (const std::optional<uint64_t> packet = notes.Packet(i)) {
      const PacketRole role = notes.RoleOf(found.columns->tag[row].type, i);
      counts.Add(*packet, cycle, role, notes.Created(i), found.columns->at[row]);
      if (role == PacketRole::SEND) {
        open.Send(found.Record(i), *packet);
      }
    }
  }
}

void AddByThread(const Selection& found, PacketCounts& counts) {
  for (const uint16_t row : found.rows) {
    const Columns::Tag tag = found.columns->tag[row];
    const PacketRole role = tag.type == FIRE_RECORD   ? PacketRole::FIRE
                            : tag.type == SEND_RECORD ? PacketRole::HOP
                                                      : PacketRole::OTHER;
    counts.Add(tag.thread, found.columns->cycle[row], role, std::nullopt, found.columns->at[row]);
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
  OpenMessages open;
  Selection found;
  while (cursor.Next(found)) {
    if (!told) {
      AddByThread(found, counts);
      continue;
    }
    if (Fault fault = told->Read(found)) {
      return fault;
    }
    AddByNotes(found, *told, open, counts);
  }
  if (Fault fault = cursor.GetFault()) {
    return fault;
  }
  return counts;
}

}  // namespace marrowfin
