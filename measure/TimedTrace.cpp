#include "measure/TimedTrace.h"

#include <algorithm>

#include "trace/ask/Walk.h"

namespace marrowfin {

Fault TimedTrace::Read(const Spot& spot, TimedBatch& batch) const {
  Columns& columns = batch.columns;
  columns.firstRecord = spot.record;
  const Result<uint64_t> next = trace->Decode(spot.offset, index->GetSummary().bytes, columns);
  if (!next) {
    return Settle(*trace, *index, next.Why());
  }
  columns.firstOffset = spot.offset;
  batch.time = columns.cycle;
  if (columns.fell || columns.cycle[0] < spot.time) {
    uint64_t time = spot.time;
    for (size_t i = 0; i < columns.size; ++i) {
      time = std::max(time, columns.cycle[i]);
      batch.risen[i] = time;
    }
    batch.time = batch.risen.data();
  }
  return {};
}

Result<bool> TimedTrace::Load(size_t number, TimedBatch& batch) {
  if (number < spots.size()) {
    if (Fault fault = Reload(number, batch)) {
      return fault;
    }
    return true;
  }
  const Summary& summary = index->GetSummary();
  if (behind.offset >= summary.bytes) {
    if (Fault fault = Settle(*trace, *index)) {
      return fault;
    }
    return behind.record == summary.records ? Result<bool>(false) : Contradiction(*trace, *index);
  }
  if (Fault fault = Read(behind, batch)) {
    return fault;
  }
  spots.push_back(behind);
  const Columns& columns = batch.columns;
  behind = {behind.record + columns.size, behind.offset + columns.Bytes(),
            batch.time[columns.size - 1]};
  return true;
}

Fault TimedTrace::Reload(size_t number, TimedBatch& batch) const {
  if (Fault fault = Read(spots[number], batch)) {
    return fault;
  }
  const Spot& end = number + 1 < spots.size() ? spots[number + 1] : behind;
  const bool isSame = spots[number].record + batch.columns.size == end.record &&
                      spots[number].offset + batch.columns.Bytes() == end.offset;
  return isSame ? Fault() : Contradiction(*trace, *index);
}

// Nearly all batches are full.
size_t TimedTrace::BatchOf(uint64_t record) const {
  size_t number = std::min<size_t>(record / Columns::CAPACITY, spots.size() - 1);
  while (number + 1 < spots.size() && spots[number + 1].record <= record) {
    ++number;
  }
  return number;
}

TimedRecords::TimedRecords(const TimedTrace& trace) : trace(trace) {}

const TimedBatch* TimedRecords::Hold(uint64_t record, size_t& row) {
  const size_t number = trace.BatchOf(record);
  Slot& slot = slots[number % KEPT];
  if (slot.number != number) {
    if (!slot.batch) {
      slot.batch = std::make_unique<TimedBatch>();
    }
    fault = trace.Reload(number, *slot.batch);
    slot.number = fault ? ~size_t{0} : number;
    if (fault) {
      return nullptr;
    }
  }
  row = static_cast<size_t>(record - slot.batch->columns.firstRecord);
  return slot.batch.get();
}

Result<TimedRecords::Timed> TimedRecords::Read(uint64_t record) {
  size_t row;
  const TimedBatch* const batch = Hold(record, row);
  if (batch == nullptr) {
    return fault;
  }
  const Columns& columns = batch->columns;
  return Timed{{record, columns.cycle[row], columns.tag[row].thread, columns.tag[row].type,
                columns.at[row], columns.to[row]},
               batch->time[row]};
}

}  // namespace marrowfin
