#include "measure/PacketFollower.h"

namespace marrowfin {
namespace {

PacketRole RoleByThread(uint32_t type) {
  return type == FIRE_RECORD   ? PacketRole::FIRE
         : type == SEND_RECORD ? PacketRole::HOP
                               : PacketRole::OTHER;
}

}  // namespace

void PacketFollower::Add(const Selection& found, size_t i, PacketEntry entry,
                         std::vector<PacketLife>& arrived) {
  const size_t row = found.rows[i];
  const uint64_t cycle = found.columns->cycle[row];
  const Columns::Tag tag = found.columns->tag[row];
  const Place at = found.columns->at[row];
  const auto add = [&](uint64_t packet, PacketRole role, std::optional<uint64_t> created) {
    if (const std::optional<PacketLife> life =
            counts.Add(packet, cycle, role, created, at, entry)) {
      arrived.push_back(*life);
    }
  };
  if (!told) {
    add(tag.thread, RoleByThread(tag.type), std::nullopt);
    return;
  }
  for (const uint64_t message : told->Consumed(i)) {
    if (const std::optional<uint64_t> packet = open.Consume(message)) {
      add(*packet, PacketRole::EXIT, std::nullopt);
    }
  }
  if (const std::optional<uint64_t> packet = told->Packet(i)) {
    const PacketRole role = told->RoleOf(tag.type, i);
    add(*packet, role, told->Created(i));
    if (role == PacketRole::SEND) {
      open.Send(found.Record(i), *packet);
    }
  }
}

}  // namespace marrowfin
