#ifndef TRACE_ASK_COUNTEROVERTIME_H
#define TRACE_ASK_COUNTEROVERTIME_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "trace/ask/NotesIndex.h"
#include "trace/base/Place.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/index/CounterSeries.h"
#include "trace/read/NotesFile.h"

namespace marrowfin {

// A counter over a range of cycles in equal bins, as far as whole cycles go.
struct CounterQuestion {
  uint32_t counter = 0;
  std::optional<Place> at;  // the sum over all places where there is none
  uint64_t first = 0;
  uint64_t last = ~uint64_t{0};  // included
  size_t bins = 1;               // 0 where `first` is above `last`

  // How many samples may be read. What the index knows of whole cells costs nothing; the samples of
  // a cell in which a bin ends are read, and all that lie in blocks with them. Where that would be
  // more, those edges of bins move to the nearest edge of a cell, the ends of the range outwards,
  // and nothing is read: the answer then tells where the bins begin, and is exact for those.
  uint64_t readAtMost = ~uint64_t{0};

  static constexpr uint64_t QUICK = 262144;  // what is read while a picture is drawn
};

// What a counter does in each bin. It has a value from a sample until the next one, behind the last
// one for all time, and none before the first; a value that is replaced in the cycle in which it
// came does not count. The mean is weighted by time: span.sum / span.cycles. A bin whose
// span.cycles are 0 has no value.
struct CounterBins {
  std::vector<uint64_t> firsts;  // the first cycle of each bin
  uint64_t last = 0;             // the last cycle of the last bin
  std::vector<CounterSpan> spans;
};

// Takes a fraction of a millisecond for some thousand bins and the time to read what is read. Exact
// as far as doubles are: sums of whole numbers up to 2^53 are.
//
// A place without samples yet counts as 0 in a sum. A fault where notes or index cannot be read,
// the samples of the counter go back in time, or those of a sum do from one place to another
// (DAMAGED_NOTES), the index does not keep all places (OUT_OF_RANGE), or `progress`, which counts
// bytes of the notes, asked to stop. Several threads may ask.
[[nodiscard]] Result<CounterBins> CounterOverTime(const NotesFile& notes, const NotesIndex& index,
                                                  const CounterQuestion& question,
                                                  const ProgressCallback& progress = {});

// The value that a counter has at a cycle; none before its first sample.
[[nodiscard]] Result<std::optional<double>> CounterAt(const NotesFile& notes,
                                                      const NotesIndex& index, uint32_t counter,
                                                      const std::optional<Place>& at,
                                                      uint64_t cycle);

}  // namespace marrowfin

#endif
