#ifndef TRACE_ASK_ONARRAY_H
#define TRACE_ASK_ONARRAY_H

#include <cstddef>

#include "trace/base/ArrayShape.h"
#include "trace/base/Fault.h"
#include "trace/read/Columns.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// Whether a viewer of the array can show record i of a batch: it ends at a fire or a transmission
// where it has no piece, and draws messages from and to anywhere.
inline bool IsOnArray(const ArrayShape& shape, const Columns& columns, size_t i) {
  const uint32_t type = columns.tag[i].type;
  return type == SEND_RECORD ||
         (type == FIRE_RECORD ? shape.HasElement(columns.at[i]) : shape.HasSwitch(columns.at[i]));
}

// The fault of a record of which it cannot.
Fault OutsideArray(const TraceSource& trace, const ArrayShape& shape, const Columns& columns,
                   size_t i);

}  // namespace marrowfin

#endif
