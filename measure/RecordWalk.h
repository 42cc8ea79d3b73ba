#ifndef MEASURE_RECORDWALK_H
#define MEASURE_RECORDWALK_H

#include <cstdint>
#include <memory>

#include "trace/ask/EventFilter.h"
#include "trace/base/Result.h"
#include "trace/read/Columns.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// Goes through the records of a trace one by one from front to back, without an index, and knows
// where it stands. What is read believes nothing: a record that is none, or cut, is a fault. One
// thread at a time; the trace must outlive it.
class RecordWalk {
 public:
  explicit RecordWalk(const TraceSource& trace)
      : trace(&trace), columns(std::make_unique<Columns>()) {}

  const TraceSource& Trace() const { return *trace; }

  // Where it stands: before this record, which begins at this byte.
  uint64_t Record() const { return record; }
  uint64_t Offset() const { return offset; }
  bool AtEnd() const { return offset >= trace->Size(); }

  // The cycle of the record before; 0 before the first.
  uint64_t LastCycle() const { return lastCycle; }

  // Makes the next record one that can be looked at; false at the end, and where a fault was met.
  bool Load() { return row < columns->size || Decode(); }
  const Fault& GetFault() const { return fault; }

  // The next record, once it is loaded.
  uint64_t Cycle() const { return columns->cycle[row]; }
  uint32_t Type() const { return columns->tag[row].type; }
  TraceEvent Event() const {
    return {record, columns->cycle[row], columns->tag[row].thread,
            Type(), columns->at[row],    columns->to[row]};
  }

  // Whether it is the next one of another walk, but for the cycle.
  bool IsLike(const RecordWalk& other) const {
    const Columns& theirs = *other.columns;
    const Columns::Tag tag = columns->tag[row];
    return tag.type == theirs.tag[other.row].type && tag.thread == theirs.tag[other.row].thread &&
           columns->at[row] == theirs.at[other.row] && columns->to[row] == theirs.to[other.row];
  }

  void Take() {
    lastCycle = columns->cycle[row];
    offset += RecordSize(Type());
    ++record;
    ++row;
  }

  // Stands at another place, of which this is known.
  void MoveTo(uint64_t newOffset, uint64_t newRecord, uint64_t newLastCycle) {
    offset = newOffset;
    record = newRecord;
    lastCycle = newLastCycle;
    row = 0;
    columns->Clear();
  }

 private:
  bool Decode();

  const TraceSource* trace;
  std::unique_ptr<Columns> columns;
  size_t row = 0;
  uint64_t record = 0;
  uint64_t offset = 0;
  uint64_t lastCycle = 0;
  Fault fault;
};

}  // namespace marrowfin

#endif
