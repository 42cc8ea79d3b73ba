#ifndef MEASURE_PACKETFOLLOWER_H
#define MEASURE_PACKETFOLLOWER_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <unordered_map>
#include <utility>
#include <vector>

#include "measure/PacketCounts.h"
#include "trace/ask/NotesOfTrace.h"
#include "trace/ask/Selection.h"
#include "trace/base/Fault.h"

namespace marrowfin {

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

  // What an event with a packet is to it.
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

// Follows the packets of a run, event by event, by what CountPackets says of them. Threads: one at
// a time.
class PacketFollower {
 public:
  // By notes that tell packets, which must outlive it; null where the thread of an event is its
  // packet.
  PacketFollower(NotesOfTrace* notes, const TimeColumns& windows) : counts(windows) {
    if (notes != nullptr) {
      told.emplace(*notes);
    }
  }

  // Reads what is noted of records that follow each other; Add is about the i-th of them.
  [[nodiscard]] Fault Read(const Selection& found) { return told ? told->Read(found) : Fault(); }

  // Takes up a record, with what it says of a packet if that enters with it; packets that arrive
  // with it, and are counted, are put behind `arrived`.
  void Add(const Selection& found, size_t i, PacketEntry entry, std::vector<PacketLife>& arrived);

  const PacketCounts& Counts() const { return counts; }

 private:
  std::optional<PacketNotes> told;
  OpenMessages open;
  PacketCounts counts;
};

}  // namespace marrowfin

#endif
