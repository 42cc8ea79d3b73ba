#include "trace/ask/StepReader.h"

#include <algorithm>

#include "trace/ask/Walk.h"

namespace marrowfin {

StepReader::StepReader(const TraceSource& trace, const Index& index)
    : trace(trace), index(index), columns(std::make_unique<Columns>()) {}

Result<StepReader::End> StepReader::ViewerStep(uint64_t record, uint64_t cycle, const Take& take,
                                               const ProgressCallback& progress) {
  return Step(record, cycle, false, take, progress);
}

Result<StepReader::End> StepReader::NaturalStep(uint64_t record, const Take& take,
                                                const ProgressCallback& progress) {
  return Step(record, 0, true, take, progress);
}

Result<StepReader::End> StepReader::Step(uint64_t record, uint64_t cycle, bool natural,
                                         const Take& take, const ProgressCallback& progress) {
  const uint64_t all = index.GetSummary().records;
  End end = {record, cycle, false};
  while (end.last < all && !end.changed) {
    if (Fault fault = Load(end.last)) {
      return fault;
    }
    if (natural && end.last == record) {
      end.cycle = columns->cycle[record - columns->firstRecord];
    }
    const size_t from = static_cast<size_t>(end.last - columns->firstRecord);
    const size_t size =
        static_cast<size_t>(std::min<uint64_t>(columns->size, all - columns->firstRecord));
    const uint64_t* const cycles = columns->cycle;
    const uint64_t* const change =
        std::find_if(cycles + from, cycles + size, [&](uint64_t c) { return c != end.cycle; });
    end.changed = change != cycles + size;
    const size_t to = static_cast<size_t>(change - cycles) + (end.changed && !natural ? 1 : 0);
    if (to > from) {
      if (Fault fault = take(*columns, from, to)) {
        return fault;
      }
      end.cycle = cycles[to - 1];
      end.last = columns->firstRecord + to;
    }
    if (!end.changed && progress && !progress({end.last, all, Progress::RECORDS})) {
      return CancelledFault(trace.Name());
    }
  }
  return end;
}

// Makes the batch hold a record, from where it ends if that is there.
Fault StepReader::Load(uint64_t record) {
  if (columns->size > 0 && record >= columns->firstRecord && record < nextRecord) {
    return Fault();
  }
  if (record != nextRecord) {
    const Result<IndexEntry> entry = Locate(trace, index, record);
    if (!entry) {
      return entry.Why();
    }
    nextRecord = record;
    nextOffset = entry->offset;
  }
  return Decode();
}

Fault StepReader::Decode() {
  columns->firstRecord = nextRecord;
  const Result<uint64_t> behind = trace.Decode(nextOffset, index.GetSummary().bytes, *columns);
  if (!behind) {
    const Fault found = behind.Why();
    const bool itself = found.kind == Fault::CHANGED || found.kind == Fault::SYSTEM;
    Fault fault = itself ? found : Contradiction(trace, index);
    fault.record = nextRecord;
    nextRecord = ~uint64_t{0};
    columns->Clear();
    return fault;
  }
  nextOffset = *behind;
  nextRecord += columns->size;
  recordsRead += columns->size;
  return Fault();
}

}  // namespace marrowfin
