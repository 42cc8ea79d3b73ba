#ifndef EXPLORER_CORE_FOUNDCAUSES_H
#define EXPLORER_CORE_FOUNDCAUSES_H

#include <memory>

#include "explorer/core/FoundOnce.h"
#include "measure/FindCauses.h"
#include "trace/base/ArrayShape.h"
#include "trace/index/Index.h"

namespace marrowfin {

// What caused what, with the index that it refers to.
struct KeptCauses {
  std::unique_ptr<Index> index;
  Causes causes;
};

// The causes of all events of a trace by array, which take going through all of it and three bytes
// a record: those of one array are kept, and found at a time.
class FoundCauses : public FoundOnce<ArrayShape, KeptCauses> {
 public:
  FoundCauses() : FoundOnce(1, 1) {}
};

}  // namespace marrowfin

#endif
