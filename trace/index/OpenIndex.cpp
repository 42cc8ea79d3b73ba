// How an index comes to be open: what makes one stands above what reads one.

#include <utility>

#include "trace/index/Index.h"
#include "trace/index/IndexJob.h"
#include "trace/index/IndexStore.h"
#include "trace/index/SameTrace.h"

namespace marrowfin {

namespace {

constexpr uint64_t STEP = 1;  // a batch

Result<std::unique_ptr<Index>> Make(const TraceSource& trace, IndexStore& store, const Index* grown,
                                    const ProgressCallback& progress, IndexLimits limits) {
  Result<std::unique_ptr<IndexJob>> begun = IndexJob::Begin(trace, store, grown, limits);
  if (!begun) {
    return begun.Why();
  }
  IndexJob& job = **begun;
  for (bool more = true; more;) {
    const Result<bool> step = job.Step(STEP);
    if (!step) {
      return step.Why();
    }
    more = *step;
    if (progress && !progress(job.GetProgress())) {
      return CancelledFault(trace.Name());
    }
  }
  Result<std::unique_ptr<Index>> index = job.Finish();
  // What grew out of an index that somebody made up may contradict itself.
  if (!index && grown != nullptr && index.Why().kind == Fault::DAMAGED_INDEX) {
    return Make(trace, store, nullptr, progress, limits);
  }
  return index;
}

}  // namespace

Result<std::unique_ptr<Index>> Index::Open(const TraceSource& trace,
                                           const ProgressCallback& progress) {
  return Open(trace, *IndexFilesOf(trace.File()), progress);
}

Result<std::unique_ptr<Index>> Index::Open(const TraceSource& trace, IndexStore& store,
                                           const ProgressCallback& progress, IndexLimits limits) {
  LetTickPass(trace);
  std::unique_ptr<Index> grown;
  for (std::unique_ptr<PositionedFile>& file : store.Find()) {
    Result<std::unique_ptr<Index>> index = Load(trace, std::move(file));
    if (index && (*index)->Tables().trace.size == trace.Size()) {
      return index;
    }
    if (index && !grown) {
      grown = std::move(index).Take();
    }
  }
  return Make(trace, store, grown.get(), progress, limits);
}

Result<std::unique_ptr<Index>> Index::Rebuild(const TraceSource& trace,
                                              const ProgressCallback& progress) {
  return Make(trace, *IndexFilesOf(trace.File()), nullptr, progress, {});
}

Fault Index::Build(const TraceSource& trace, const std::string& file,
                   const ProgressCallback& progress, IndexLimits limits) {
  const std::unique_ptr<IndexStore> store = IndexFileAt(file, trace.File().Permissions());
  return Make(trace, *store, nullptr, progress, limits).Why();
}

}  // namespace marrowfin
