#ifndef EXPLORER_CORE_FOUNDCAUSES_H
#define EXPLORER_CORE_FOUNDCAUSES_H

#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "measure/FindCauses.h"
#include "trace/base/ArrayShape.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/index/Index.h"

namespace marrowfin {

// What caused what, with the index that it refers to.
struct KeptCauses {
  std::unique_ptr<Index> index;
  Causes causes;
};

// The causes of all events of a trace, which take going through all of it and three bytes a record:
// found once for each array, and kept for the last. Whoever asks while they are found waits for
// them, until `progress` tells that nobody wants his answer any more. Any number of threads may
// ask.
class FoundCauses {
 public:
  typedef std::function<Result<std::shared_ptr<const KeptCauses>>()> FindFunction;

  [[nodiscard]] Result<std::shared_ptr<const KeptCauses>> Get(const ArrayShape& shape,
                                                              const ProgressCallback& progress,
                                                              const FindFunction& find);

 private:
  std::timed_mutex mutex;
  std::optional<ArrayShape> keptShape;
  std::shared_ptr<const KeptCauses> kept;
};

}  // namespace marrowfin

#endif
