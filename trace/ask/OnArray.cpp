#include "trace/ask/OnArray.h"

#include <string>

namespace marrowfin {

Fault OutsideArray(const TraceSource& trace, const Columns& columns, size_t i) {
  const Place at = columns.at[i];
  const bool fire = columns.tag[i].type == FIRE_RECORD;
  Fault fault;
  fault.kind = Fault::OUTSIDE_ARRAY;
  fault.file = trace.Name();
  fault.record = columns.firstRecord + i;
  fault.offset = columns.firstOffset;
  for (size_t before = 0; before < i; ++before) {
    fault.offset += RecordSize(columns.tag[before].type);
  }
  fault.reason = "column " + std::to_string(at.column) + ", row " + std::to_string(at.row) +
                 " is no " + (fire ? "processing element" : "switch") + " of the array";
  fault.remedy = "give the counts of the array that wrote the trace";
  return fault;
}

}  // namespace marrowfin
