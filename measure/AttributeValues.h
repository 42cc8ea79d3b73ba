#ifndef MEASURE_ATTRIBUTEVALUES_H
#define MEASURE_ATTRIBUTEVALUES_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "measure/Distribution.h"
#include "trace/ask/EventFilter.h"
#include "trace/ask/NotesOfTrace.h"
#include "trace/base/NotesFormat.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/index/Index.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// Reals in a distribution of whole numbers: each has a number, and those ascend as the reals do. Of
// reals that are numbers; both zeros have the same.
uint64_t RealKey(double value);
double RealOf(uint64_t key);

// The values that events have of an attribute of the notes.
struct AttributeValues {
  // Attributes that number things have as many values as there are things: no distribution.
  static constexpr size_t MOST_VALUES = 1 << 20;

  NoteType type = NoteType::NUMBER;
  std::string unit;
  std::map<uint64_t, std::string> names;  // of values, for NAME

  // Of NUMBER and NAME the values; of REAL their keys; of CYCLE how many cycles before its event
  // each lies, or 0 where it lies behind; of RECORDS how many of them an event has.
  ValueCounts counts;

  uint64_t events = 0;   // that were looked at
  uint64_t without = 0;  // of them without a value, or one that is no number
};

// Counts the values of the events that a filter lets through. OUT_OF_RANGE where the notes declare
// no such attribute, or it has more than MOST_VALUES; other faults where the trace cannot be read,
// or `progress`, which counts records, asked to stop. What was not believed of the notes they tell.
[[nodiscard]] Result<AttributeValues> CountAttribute(const TraceSource& trace, const Index& index,
                                                     NotesOfTrace& notes, std::string_view name,
                                                     const EventFilter& filter,
                                                     const ProgressCallback& progress = {});

}  // namespace marrowfin

#endif
