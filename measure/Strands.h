#ifndef MEASURE_STRANDS_H
#define MEASURE_STRANDS_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "trace/base/Place.h"

namespace marrowfin {

// A strand is what a thread, or a packet, does at one place: its last fire there, and the messages
// that were sent to it there and wait to be used.
//
// Memory is bounded: where there are too many strands or messages, the older half is forgotten.
// Threads: one at a time.
class Strands {
 public:
  // What is kept at most.
  struct Limits {
    size_t strands = 1 << 20;
    size_t messages = 1 << 20;
  };

  static constexpr uint64_t NONE = ~uint64_t{0};

  // A record, its time, and what it is to the caller.
  struct Event {
    uint64_t record = NONE;
    uint64_t time = 0;
    uint32_t kind = 0;
  };

  // As long as a line of a cache: a trace jumps from strand to strand, and each jump costs one
  // line. So the oldest message lies within it.
  class alignas(64) Strand {
   public:
    bool HasFired() const { return fire != NONE; }
    Event LastFire() const { return {fire, fireTime, fireKind}; }
    void Fire(const Event& event) {
      fire = event.record;
      fireTime = event.time;
      fireKind = event.kind;
    }

    // The oldest message that waits, where there is any.
    bool HasMessages() const { return message != NONE; }
    uint64_t OldestRecord() const { return message; }
    uint64_t OldestTime() const { return messageTime; }
    Event Oldest() const { return {message, messageTime, messageKind}; }

   private:
    friend class Strands;
    uint64_t fire = NONE;
    uint64_t fireTime = 0;
    uint64_t message = NONE;
    uint64_t messageTime = 0;
    uint64_t key = 0;
    Place place;
    uint32_t fireKind = 0;
    uint32_t messageKind = 0;
    uint32_t next = FREE;  // of the messages behind the oldest
    uint32_t last = 0;
  };

  Strands() : Strands(Limits()) {}
  explicit Strands(const Limits& limits);

  static uint64_t Hash(Place place, uint64_t key) {
    const uint64_t where = static_cast<uint64_t>(place.row) << 32 | place.column;
    const uint64_t mixed = (where * 0x9E3779B97F4A7C15) ^ (key * 0xC2B2AE3D27D4EB4F);
    return (mixed ^ mixed >> 32) * 0x9E3779B97F4A7C15 >> 24;
  }

  // The strand of a thread or packet at a place, which is made where there is none. Good until the
  // next call.
  Strand& At(Place place, uint64_t key) { return At(place, key, Hash(place, key)); }
  Strand& At(Place place, uint64_t key, uint64_t hash) {
    if (waiting >= limits.messages) {
      Forget();
    }
    Strand& strand = cells[CellOf(place, key, hash)];
    return strand.next != FREE ? strand : Make(place, key, hash);
  }

  // Tells the processor that the strand of a hash will be asked for.
  void Prefetch(uint64_t hash) const { __builtin_prefetch(&cells[hash & (cells.size() - 1)], 1); }

  // Puts a message behind those that wait, all of which were sent before.
  void Send(Strand& strand, const Event& event) {
    ++waiting;
    if (strand.message == NONE) {
      strand.message = event.record;
      strand.messageTime = event.time;
      strand.messageKind = event.kind;
    } else {
      Append(strand, event);
    }
  }

  // Takes the oldest message away; there must be one.
  void Use(Strand& strand) {
    --waiting;
    if (strand.next == NO_MESSAGE) {
      strand.message = NONE;
    } else {
      MoveUp(strand);
    }
  }

  // Messages that were forgotten before they were used, and those that wait.
  uint64_t Forgotten() const { return forgotten; }
  uint64_t Waiting() const { return waiting; }

 private:
  static constexpr uint32_t NO_MESSAGE = 0xFFFFFFFF;
  static constexpr uint32_t FREE = 0xFFFFFFFE;  // no strand is there

  struct Message {
    Event event;
    uint32_t next = NO_MESSAGE;
  };

  size_t CellOf(Place place, uint64_t key, uint64_t hash) const {
    size_t cell = hash & (cells.size() - 1);
    while (cells[cell].next != FREE && !(cells[cell].place == place && cells[cell].key == key)) {
      cell = (cell + 1) & (cells.size() - 1);
    }
    return cell;
  }

  Strand& Make(Place place, uint64_t key, uint64_t hash);
  void Append(Strand& strand, const Event& event);
  void MoveUp(Strand& strand);
  void Resize(size_t size);
  void Forget();
  void ForgetMessages();
  void ForgetStrands();
  uint64_t LastTouch(const Strand& strand) const;

  Limits limits;
  std::vector<Strand> cells;  // by hash, at most half of them in use; a power of two
  size_t count = 0;
  std::vector<Message> messages;  // but for the oldest of each strand
  uint32_t freeMessages = NO_MESSAGE;
  uint64_t waiting = 0;
  uint64_t forgotten = 0;
};

}  // namespace marrowfin

#endif
