#ifndef TRACE_EDIT_SAMPLEFEED_H
#define TRACE_EDIT_SAMPLEFEED_H

#include <cstddef>
#include <vector>

#include "trace/base/Fault.h"
#include "trace/base/NotesFormat.h"
#include "trace/read/NotesFile.h"

namespace marrowfin {

// The samples of counters that notes hold, one after another, as they stand there. A block that is
// damaged is left out. One thread at a time.
class SampleFeed {
 public:
  // The notes outlive it.
  explicit SampleFeed(const NotesFile& notes) : notes(notes) {}

  // Goes to the first or the next sample; false at the end.
  [[nodiscard]] bool Next();

  const CounterSample& Sample() const { return samples[at]; }

  // Why blocks were left out: the last of them.
  const Fault& LeftOut() const { return leftOut; }

 private:
  const NotesFile& notes;
  size_t block = 0;  // behind that of the samples
  std::vector<CounterSample> samples;
  size_t at = 0;
  Fault leftOut;
};

}  // namespace marrowfin

#endif
