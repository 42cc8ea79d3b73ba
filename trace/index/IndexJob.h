#ifndef TRACE_INDEX_INDEXJOB_H
#define TRACE_INDEX_INDEXJOB_H

#include <cstdint>
#include <memory>

#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/index/Index.h"
#include "trace/index/IndexStore.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// Makes the index of a trace a piece at a time, so that whoever drives it can do other things in
// between, and ask questions of what is indexed so far. Each call comes from one thread at a time;
// packing goes on in another meanwhile, where there are any.
//
// Whoever lets go of a job that is not finished leaves no index behind.
class IndexJob {
 public:
  // Begins the index of `trace`, which is to be kept in `store`; both outlive the job. An index of
  // the trace as it was before it grew is gone on from, if `grown` is one.
  [[nodiscard]] static Result<std::unique_ptr<IndexJob>> Begin(const TraceSource& trace,
                                                               IndexStore& store,
                                                               const Index* grown = nullptr,
                                                               IndexLimits limits = {});

  IndexJob(const IndexJob&) = delete;
  IndexJob& operator=(const IndexJob&) = delete;
  ~IndexJob();

  // Takes the records of the next `bytes` bytes of the trace, a batch more or less. Whether there
  // are more; a fault where the trace cannot be read or the index cannot be written, after which
  // the job is of no use. Where the trace breaks off there is no more.
  [[nodiscard]] Result<bool> Step(uint64_t bytes);

  // In bytes of the trace.
  Progress GetProgress() const;

  // An index of the records up to the last boundary so far, as if the trace ended there, for
  // questions of every kind; of no records while there is no boundary. It stays valid while the job
  // goes on and when it is gone.
  [[nodiscard]] Result<std::unique_ptr<Index>> SoFar();

  // Ends the job when there are no more records: the index is kept and returned. A CHANGED fault
  // where the trace is not what it was any more. A DAMAGED_INDEX fault where the index that was
  // gone on from turns out to contradict itself; begun without it, the job succeeds.
  [[nodiscard]] Result<std::unique_ptr<Index>> Finish();

 private:
  struct Work;
  explicit IndexJob(std::unique_ptr<Work> work);

  std::unique_ptr<Work> work;
};

}  // namespace marrowfin

#endif
