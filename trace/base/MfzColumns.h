#ifndef TRACE_BASE_MFZCOLUMNS_H
#define TRACE_BASE_MFZCOLUMNS_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

#include "trace/base/Place.h"
#include "trace/base/Record.h"

namespace marrowfin {

// What a block of records in a packed trace is made of, for those who write it and those who read
// it: docs/packed-format.md lays it out. Threads: values, each of which one thread uses at a time.

// The most records of a block, and how many one has that is not the last.
constexpr size_t MFZ_MOST_RECORDS = 1 << 16;
constexpr size_t MFZ_BLOCK_RECORDS = 1 << 15;

// How a record's place is told.
enum class MfzWay : uint8_t {
  WRITTEN,   // in the columns of places
  LAST_END,  // it is where the last fire or message of its thread ended
  FOLLOWS,   // it is where the last record of this type was that came behind one at the same place
  AWAITED,   // of a fire: a message of its thread went there; which, is in the column of ranks
};

// How a record's cycle is told.
enum class MfzStep : uint8_t {
  SAME,     // that of the record before
  NEXT,     // one more
  WRITTEN,  // in the column of cycles
};

// All that the byte of a record in the column of heads stands for. As a number: the thread, counted
// on from that of the record before round the block's list of threads, 64 times; the step, 16
// times; the way, 4 times; and the type, counted from SWITCH_RECORD.
struct MfzHead {
  uint32_t ahead = 0;  // of the thread
  MfzStep step = MfzStep::SAME;
  MfzWay way = MfzWay::WRITTEN;
  uint8_t type = 0;

  static constexpr unsigned AHEAD_SHIFT = 6;
  static constexpr unsigned STEP_SHIFT = 4;
  static constexpr unsigned WAY_SHIFT = 2;

  static MfzHead Of(uint64_t number) {
    return {static_cast<uint32_t>(number >> AHEAD_SHIFT),
            static_cast<MfzStep>(number >> STEP_SHIFT & 3),
            static_cast<MfzWay>(number >> WAY_SHIFT & 3), static_cast<uint8_t>(number & 3)};
  }
  static uint64_t Number(uint64_t ahead, MfzStep step, MfzWay way, uint32_t type) {
    return ahead << AHEAD_SHIFT | static_cast<uint64_t>(step) << STEP_SHIFT |
           static_cast<uint64_t>(way) << WAY_SHIFT | type;
  }
  // Whether a number, `threads` being in the block, stands for anything.
  static bool IsSound(uint64_t number, size_t threads);
};

// The byte of a head that is in no table but in the column of rare heads, and of a switch that is
// not in the list.
constexpr uint8_t MFZ_RARE = 255;

// The columns of a block, in their order. Places are columns and rows of the array, apart.
enum MfzColumn : size_t {
  MFZ_HEADS,
  MFZ_RARE_HEADS,  // numbers of variable length
  MFZ_CYCLES,      // signed numbers of variable length: differences
  MFZ_RANKS,       // a byte each
  MFZ_SWITCHES,    // a byte each: which of the block's list
  MFZ_AT_COLUMN,   // of fires, of senders, and of switches that are not in the list
  MFZ_AT_ROW,
  MFZ_TO_COLUMN,  // of receivers
  MFZ_TO_ROW,
  MFZ_COLUMNS,
};
constexpr size_t MFZ_FIRST_PLACES = MFZ_AT_COLUMN;
constexpr size_t MFZ_PLACE_COLUMNS = MFZ_COLUMNS - MFZ_FIRST_PLACES;

// What stands before the columns.
struct MfzPreamble {
  uint64_t records = 0;
  uint64_t firstCycle = 0;  // what the cycle of the first record is counted from
  bool follows = false;     // whether any record has this way
  bool awaited = false;
  uint64_t extent[2] = {1, 1};  // all columns and all rows of places are below these
  std::array<bool, MFZ_PLACE_COLUMNS> relative = {};  // whether it holds differences
  std::vector<uint32_t> threads;                      // in order of their first records
  std::vector<uint64_t> heads;                        // the table, ascending
  std::vector<uint64_t> switches;                // the list of their places, as MfzPlaceOf has them
  std::array<uint64_t, MFZ_COLUMNS> bytes = {};  // of each column

  // The bytes that a number of an axis (0 for columns) takes in the columns of places.
  size_t Planes(size_t axis) const;
};

std::vector<uint8_t> EncodeMfzPreamble(const MfzPreamble& preamble);

// False where the bytes begin with none, or with one that contradicts itself; else `size` is how
// many it takes. What passes has sizes of columns that add up to the bytes that are left.
bool DecodeMfzPreamble(std::span<const uint8_t> bytes, MfzPreamble& preamble, size_t& size);

// A place as one number.
constexpr uint64_t MfzPlaceOf(Place place) {
  return static_cast<uint64_t>(place.column) << 32 | place.row;
}

// Where the records of each type were that came behind one at a place, as far as there is room to
// remember: what is asked for may be anything, as long as writer and reader get the same.
class MfzFollowers {
 public:
  MfzFollowers() : places(PLACES) {}

  void Forget() { std::fill(places.begin(), places.end(), 0); }

  // The place that followed, which the caller replaces.
  uint64_t& Behind(uint64_t place, uint32_t type) {
    const uint64_t mixed =
        (place ^ (place >> 32) * 0x9E3779B1 ^ uint64_t{type} << 29) * 0x9E3779B97F4A7C15;
    return places[mixed >> (64 - BITS)];
  }

 private:
  static constexpr unsigned BITS = 13;
  static constexpr size_t PLACES = size_t{1} << BITS;
  std::vector<uint64_t> places;
};

// The places that messages of one thread went to and where it has not fired since: the last so many
// of them, the oldest first.
class MfzAwaited {
 public:
  static constexpr size_t MOST = 32;
  static constexpr size_t THREADS = 64;  // of a block, the first so many, have such a list

  void Forget() { begin = end = 0; }

  size_t Size() const { return end - begin; }

  void Add(uint64_t place) {
    if (end == ROOM) {
      memmove(places, places + begin, (end - begin) * sizeof(places[0]));
      end -= begin;
      begin = 0;
    }
    places[end++] = place;
    begin += end - begin > MOST ? 1 : 0;
  }

  // The rank of a place, Size() where it is none of them.
  size_t Find(uint64_t place) const {
    size_t rank = 0;
    while (begin + rank < end && places[begin + rank] != place) {
      ++rank;
    }
    return rank;
  }

  // Takes the place of a rank, which must be below Size().
  uint64_t Take(size_t rank) {
    const uint64_t place = places[begin + rank];
    for (; rank > 0; --rank) {  // few: of most messages the first is awaited
      places[begin + rank] = places[begin + rank - 1];
    }
    ++begin;
    return place;
  }

 private:
  static constexpr size_t ROOM = 4 * MOST;
  uint64_t places[ROOM];
  size_t begin = 0;
  size_t end = 0;
};

}  // namespace marrowfin

#endif
