#include "trace/ask/OnArray.h"

#include "trace/read/OutsideArray.h"

namespace marrowfin {

Fault OutsideArray(const TraceSource& trace, const ArrayShape& shape, const Columns& columns,
                   size_t i) {
  Fault fault;
  fault.kind = Fault::OUTSIDE_ARRAY;
  fault.file = trace.Name();
  fault.record = columns.firstRecord + i;
  fault.offset = columns.firstOffset;
  for (size_t before = 0; before < i; ++before) {
    fault.offset += RecordSize(columns.tag[before].type);
  }
  fault.reason = OutsideArrayText(shape, columns.tag[i].type, columns.at[i]);
  fault.remedy = "give the counts of the array that wrote the trace";
  return fault;
}

}  // namespace marrowfin
