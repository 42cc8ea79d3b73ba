#include "measure/Strands.h"

#include <algorithm>
#include <utility>

namespace marrowfin {
namespace {

// The middle one of some record numbers, of which there is at least one.
uint64_t Median(std::vector<uint64_t>& records) {
  const auto middle = records.begin() + static_cast<std::ptrdiff_t>(records.size() / 2);
  std::nth_element(records.begin(), middle, records.end());
  return *middle;
}

}  // namespace

Strands::Strands(const Limits& limits) : limits(limits), cells(1024) {
  static_assert(sizeof(Strand) == 64);
}

Strands::Strand& Strands::Make(Place place, uint64_t key, uint64_t hash) {
  if (count >= limits.strands) {
    Forget();
  }
  if ((count + 1) * 2 > cells.size()) {
    Resize(cells.size() * 2);
  }
  Strand& strand = cells[CellOf(place, key, hash)];
  strand.next = NO_MESSAGE;
  strand.place = place;
  strand.key = key;
  ++count;
  return strand;
}

void Strands::Resize(size_t size) {
  const std::vector<Strand> old = std::exchange(cells, std::vector<Strand>(size));
  for (const Strand& strand : old) {
    if (strand.next != FREE) {
      cells[CellOf(strand.place, strand.key, Hash(strand.place, strand.key))] = strand;
    }
  }
}

void Strands::Append(Strand& strand, const Event& event) {
  uint32_t number = freeMessages;
  if (number == NO_MESSAGE) {
    number = static_cast<uint32_t>(messages.size());
    messages.emplace_back();
  } else {
    freeMessages = messages[number].next;
  }
  messages[number] = {event, NO_MESSAGE};
  (strand.next == NO_MESSAGE ? strand.next : messages[strand.last].next) = number;
  strand.last = number;
}

void Strands::MoveUp(Strand& strand) {
  const uint32_t number = strand.next;
  Message& message = messages[number];
  strand.message = message.event.record;
  strand.messageTime = message.event.time;
  strand.messageKind = message.event.kind;
  strand.next = message.next;
  message.next = freeMessages;
  freeMessages = number;
}

// The record that touched it last; 0 where that is not known any more.
uint64_t Strands::LastTouch(const Strand& strand) const {
  const uint64_t fire = strand.HasFired() ? strand.fire : 0;
  const uint64_t sent = strand.next != NO_MESSAGE ? messages[strand.last].event.record
                        : strand.HasMessages()    ? strand.message
                                                  : 0;
  return std::max(fire, sent);
}

void Strands::Forget() {
  if (waiting >= limits.messages) {
    ForgetMessages();
  }
  if (count >= limits.strands) {
    ForgetStrands();
  }
}

void Strands::ForgetMessages() {
  std::vector<uint64_t> sent;
  for (const Strand& strand : cells) {
    if (strand.HasMessages()) {
      sent.push_back(strand.message);
      for (uint32_t i = strand.next; i != NO_MESSAGE; i = messages[i].next) {
        sent.push_back(messages[i].event.record);
      }
    }
  }
  const uint64_t oldest = Median(sent);
  for (Strand& strand : cells) {
    while (strand.HasMessages() && strand.message <= oldest) {
      Use(strand);
      ++forgotten;
    }
  }
}

void Strands::ForgetStrands() {
  std::vector<uint64_t> touches;
  for (const Strand& strand : cells) {
    if (strand.next != FREE) {
      touches.push_back(LastTouch(strand));
    }
  }
  const uint64_t oldest = Median(touches);
  for (Strand& strand : cells) {
    if (strand.next == FREE || LastTouch(strand) > oldest) {
      continue;
    }
    for (; strand.HasMessages(); ++forgotten) {
      Use(strand);
    }
    strand = Strand();
    --count;
  }
  Resize(cells.size());
}

}  // namespace marrowfin
