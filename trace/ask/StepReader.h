#ifndef TRACE_ASK_STEPREADER_H
#define TRACE_ASK_STEPREADER_H

#include <cstdint>
#include <functional>
#include <memory>

#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/index/Index.h"
#include "trace/read/Columns.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// Reads a trace step by step, each record once. Trace and index must outlive it.
class StepReader {
 public:
  StepReader(const TraceSource& trace, const Index& index);

  // Takes the records `from` up to `to` of a batch; its fault ends the step.
  using Take = std::function<Fault(const Columns& columns, size_t from, size_t to)>;

  // Where a step ended.
  struct End {
    uint64_t last = 0;     // the first record that it leaves
    uint64_t cycle = 0;    // of the last record that it took, or the one given where it took none
    bool changed = false;  // whether a change of cycle ended it, and not the end of the trace
  };

  // The records from `record` on up to and including the first whose cycle is not that of the
  // record before it; `cycle` is what the first one is compared with. Progress counts records of
  // the trace, and is told where a step takes more than a batch.
  Result<End> ViewerStep(uint64_t record, uint64_t cycle, const Take& take,
                         const ProgressCallback& progress);

  // The records from `record` on that have one cycle.
  Result<End> NaturalStep(uint64_t record, const Take& take, const ProgressCallback& progress);

  // How many records were decoded so far.
  uint64_t RecordsRead() const { return recordsRead; }

 private:
  Result<End> Step(uint64_t record, uint64_t cycle, bool natural, const Take& take,
                   const ProgressCallback& progress);
  Fault Load(uint64_t record);
  Fault Decode();

  const TraceSource& trace;
  const Index& index;
  std::unique_ptr<Columns> columns;
  uint64_t nextRecord = ~uint64_t{0};  // behind the batch
  uint64_t nextOffset = 0;
  uint64_t recordsRead = 0;
};

}  // namespace marrowfin

#endif
