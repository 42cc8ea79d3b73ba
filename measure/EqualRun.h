#ifndef MEASURE_EQUALRUN_H
#define MEASURE_EQUALRUN_H

#include <cstdint>
#include <functional>
#include <memory>

#include "measure/RecordWalk.h"
#include "trace/base/Fault.h"
#include "trace/read/Columns.h"

namespace marrowfin {

// Passes over records that two traces have in common, wherever they stand in each: bytes are
// compared block by block, and only one of the traces is decoded, while the block is at hand.
//
// Comparing checksums that an index has was rejected: an index may be older than its trace, and
// making one costs several times as much as comparing.
class EqualRun {
 public:
  // Both outlive it.
  EqualRun(RecordWalk& a, RecordWalk& b) : a(a), b(b), columns(std::make_unique<Columns>()) {}

  // Sees the records that are passed over, in batches whose firstRecord is of `a`.
  using Take = std::function<void(const Columns& columns)>;

  // Is asked between blocks whether to go on.
  using GoOn = std::function<bool()>;

  // Moves both walks behind as many whole records as have the same bytes in both, where these are
  // so many that it is worth it; elsewhere, and up to where bytes differ next, it does nothing. A
  // fault where a trace went away. What is malformed ends it and is left to the walks.
  [[nodiscard]] Fault Pass(const Take& take, const GoOn& goOn);

 private:
  // At once: stays in a second-level cache until it is decoded.
  static constexpr uint64_t BLOCK = 1 << 18;

  // Fewer bytes are looked at record by record: both walks would have to be decoded anew behind
  // them.
  static constexpr uint64_t LEAST = 1 << 14;

  uint64_t Decode(uint64_t length, const Take& take);

  RecordWalk& a;
  RecordWalk& b;
  std::unique_ptr<Columns> columns;
  uint64_t differsAt = 0;  // byte of `a`: nothing is worth it before
};

}  // namespace marrowfin

#endif
