#ifndef TRACE_READ_SUMMARY_H
#define TRACE_READ_SUMMARY_H

#include <array>
#include <cstdint>
#include <map>
#include <span>
#include <unordered_map>
#include <vector>

#include "trace/base/Fault.h"
#include "trace/base/Place.h"
#include "trace/base/PlaceTable.h"
#include "trace/read/Columns.h"

namespace marrowfin {

// How far locations reach along the two axes: the largest column and row, plus one; 0 for none.
struct Extent {
  uint64_t columns = 0;
  uint64_t rows = 0;

  void Include(Place place) {
    columns = columns > place.column ? columns : uint64_t{place.column} + 1;
    rows = rows > place.row ? rows : uint64_t{place.row} + 1;
  }
  bool Has(Place place) const { return place.column < columns && place.row < rows; }
  friend bool operator==(const Extent&, const Extent&) = default;
};

// Ends of messages that are far off the array, as a trace may have them anywhere.
struct FarEnds {
  static constexpr uint64_t NOWHERE = uint64_t{1} << 32;  // above any column and row

  uint64_t count = 0;

  // The least column of those that lie beyond the columns that the array had when they were met,
  // and the least row of all others.
  uint64_t column = NOWHERE;
  uint64_t row = NOWHERE;

  // Whether any may be in a rectangle that reaches up to `last`.
  bool MayBeIn(Place last) const { return last.column >= column || last.row >= row; }

  friend bool operator==(const FarEnds&, const FarEnds&) = default;
};

// What a whole trace amounts to.
struct Summary {
  uint64_t records = 0;
  uint64_t bytes = 0;     // of whole well-formed records
  uint64_t switches = 0;  // records by type
  uint64_t fires = 0;
  uint64_t sends = 0;
  uint64_t firstCycle = 0;  // of the first and the last record
  uint64_t lastCycle = 0;
  uint64_t maxCycle = 0;
  uint64_t changes = 0;    // records whose cycle is not that of the record before
  uint64_t falls = 0;      // records whose cycle is below that of the record before
  uint64_t firstFall = 0;  // number of the first such record
  Extent fired;            // of fires
  Extent sent;             // of both ends of sends

  // The array, as far as the trace tells: where elements fired, and the ends of messages that are
  // not far off. An end is not where it is in the square that the fires up to then need, its side
  // rounded up to a power of two and at least SMALLEST_SIDE, and the array does not get more than
  // LARGEST_BY_ENDS positions for it, both sides rounded up likewise. Elements that only receive
  // belong to the array so, and one end that is somewhere else does not make it a thousand times as
  // large.
  static constexpr uint64_t SMALLEST_SIDE = 64;
  static constexpr uint64_t LARGEST_BY_ENDS = 1 << 18;
  Extent array;
  FarEnds far;

  // Records by thread. Threads below SMALL_THREADS are all told apart; of more than MAX_THREADS
  // others those met later are counted together.
  static constexpr uint32_t SMALL_THREADS = 64;
  static constexpr size_t MAX_THREADS = 4096;
  std::map<uint32_t, uint64_t> threads;
  uint64_t otherThreads = 0;

  // Those of `threads` from SMALL_THREADS on, in the order in which they were first met.
  std::vector<uint32_t> largeThreads;

  // What is kept by thread has a slot for each thread that is told apart, and one for all others
  // together. Slots do not change while a trace grows.
  static constexpr size_t OTHER_THREADS = 0;
  size_t ThreadSlots() const { return 1 + SMALL_THREADS + largeThreads.size(); }
  size_t ThreadSlot(uint32_t thread) const;

  // Whether any record is, or may be, of the thread.
  bool MayHaveThread(uint32_t thread) const {
    return otherThreads > 0 || threads.find(thread) != threads.end();
  }

  // Where switches transmitted, in the order in which they first did. Of more than MAX_SWITCHES
  // places those met later are left out and `switchesComplete` is false.
  static constexpr size_t MAX_SWITCHES = 65536;
  std::vector<Place> switchPlaces;
  bool switchesComplete = true;

  // Why the trace was not read further, if it was not read to its end.
  Fault end;

  bool Ordered() const { return falls == 0; }
};

// Gathers a summary, batch by batch. Threads: a value, which one thread writes or any number read.
class Summarizer {
 public:
  Summarizer() = default;

  // Goes on from a summary that is complete.
  explicit Summarizer(const Summary& summary);

  void Add(const Columns& columns);

  // The same in parts, for whoever counts by thread and type anyway. Threads are numbered as they
  // are met, so each is to be told when its first record is, if only with a count of 0.
  void AddAllButThreads(const Columns& columns);
  void AddThread(uint32_t thread, uint32_t recordType, uint64_t records);

  const Summary& Get() const { return summary; }

  // A switch transmission of the batch that was added last: which of its records, and the number of
  // its place among Summary::switchPlaces, or PlaceTable::NONE where that is not kept.
  struct Transmission {
    uint32_t record;
    uint32_t slot;
  };

  std::span<const Transmission> Transmissions() const {
    return {transmissions.data(), transmissionCount};
  }

  size_t SwitchCount() const { return switchPlaces.Places().size(); }

  // The records so far by thread and type: RECORD_TYPES counts for each of the slots that
  // Summary::ThreadSlot tells, SWITCH_RECORD first. After a start from a summary, what that held
  // counts as of one type, so only differences tell types apart.
  std::span<const uint64_t> ThreadCounts() const { return threadCounts; }

  // Puts what was gathered so far in order; Get is complete after it.
  void Finish();

 private:
  void AddCycles(const Columns& columns);
  void AddFalls(const Columns& columns);
  size_t LargeSlot(uint32_t thread);
  void AddPlaces(const Columns& columns);
  void AddEnd(Place end);
  bool IsNear(Place end) const;
  void AddSwitches(const Columns& columns);

  Summary summary;
  std::vector<uint64_t> threadCounts =
      std::vector<uint64_t>(RECORD_TYPES * (1 + Summary::SMALL_THREADS));
  std::unordered_map<uint32_t, size_t> largeSlots;
  PlaceTable switchPlaces;
  std::array<Transmission, Columns::CAPACITY> transmissions;
  size_t transmissionCount = 0;
};

}  // namespace marrowfin

#endif
