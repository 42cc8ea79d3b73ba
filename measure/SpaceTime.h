#ifndef MEASURE_SPACETIME_H
#define MEASURE_SPACETIME_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "measure/HierarchyRows.h"
#include "measure/Timeline.h"
#include "trace/ask/Selection.h"
#include "trace/base/Place.h"
#include "trace/read/Columns.h"

namespace marrowfin {

// What is counted: where elements fired, or where an end of a message is.
enum class SpaceTimeEvents { FIRES, SENDS, RECEIVES };

// "fires", "sends", "receives".
const char* EventsName(SpaceTimeEvents events);

// How many events each row of elements has in each column of cycles.
//
// Counts are kept column by column, since that is the order in which they come, and only of columns
// that have any: a part of a trace costs what it has. By thread each of them is parted into slots.
class SpaceTime {
 public:
  // Threads that are told apart, in ascending order; events of others have a slot together, the
  // last one. Without any, threads are not looked at.
  SpaceTime(const HierarchyRows& rows, const TimeColumns& columns, SpaceTimeEvents events,
            std::vector<uint32_t> threads = {});

  // Events at places that the array does not have, or outside the columns, are not counted.
  void Add(const Selection& records);
  void Add(const SpaceTime& other);

  const HierarchyRows& Rows() const { return rows; }
  const TimeColumns& Times() const { return columns; }
  SpaceTimeEvents Events() const { return events; }
  const std::vector<uint32_t>& Threads() const { return threads; }

  // The events of a cell; those of Threads()[slot], or where `slot` is their number of all other
  // threads.
  uint64_t At(size_t row, size_t column) const;
  uint64_t At(size_t row, size_t column, size_t slot) const;

  // The events of a cell by element and cycle.
  double RateAt(size_t row, size_t column) const;

  // Those of all cells, of each row, and of a slot.
  uint64_t Total() const;
  std::vector<uint64_t> OfRows() const;
  uint64_t OfSlot(size_t slot) const;

  // Elements that have any event.
  uint64_t ActiveElements() const;

 private:
  typedef std::vector<uint64_t> Cells;  // of a column: of each row, of each slot

  size_t Slots() const { return threads.empty() ? 1 : threads.size() + 1; }
  size_t SlotOf(uint32_t thread) const;
  uint32_t Type() const { return events == SpaceTimeEvents::FIRES ? FIRE_RECORD : SEND_RECORD; }
  const Place* PlacesOf(const Columns& batch) const;
  bool IsWithinArray(const Columns& batch) const;
  bool Enter(uint64_t cycle);
  Cells& Entered();
  void AddAll(const Selection& records);
  void AddOneByOne(const Selection& records);

  HierarchyRows rows;
  TimeColumns columns;
  SpaceTimeEvents events;
  std::vector<uint32_t> threads;
  std::vector<Cells> counts;    // by column
  std::vector<uint8_t> active;  // by the number of the element: 1 where it has events

  // The column of the record before, and its cycles.
  size_t column = 0;
  uint64_t begin = 0;
  uint64_t end = 0;

  // The thread of the record before.
  uint32_t lastThread = 0;
  size_t lastSlot = 0;
};

}  // namespace marrowfin

#endif
