#ifndef EXPLORER_CORE_STATECURSORS_H
#define EXPLORER_CORE_STATECURSORS_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <utility>

#include "trace/ask/StateCursor.h"
#include "trace/base/ArrayShape.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/index/Index.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// A moment of a trace, in one of the two readings of time: that of a viewer, whose steps are
// counted from the cycle to which it skips, or the natural one, whose steps are cycles with events.
struct Moment {
  bool natural = false;
  uint64_t step = 0;    // of a viewer
  uint64_t skipTo = 0;  // of a viewer
  uint64_t cycle = 0;   // of the natural reading

  friend bool operator==(const Moment&, const Moment&) = default;
};

// States at the moments where questions left them: who plays a trace asks for the steps behind
// those that he asked for before, and a cursor that stands there need not begin anew. What was used
// longest ago goes when there are more than MOST.
//
// Any number of threads may ask; each cursor is lent to one question at a time. The trace must
// outlive it.
class StateCursors {
 public:
  static constexpr size_t MOST = 6;
  static constexpr size_t KEPT_BYTES = 4 << 20;  // by each cursor, of steps back

  // `another` brings an index of the trace for one more cursor, in whatever thread.
  typedef std::function<std::unique_ptr<Index>()> AnotherIndex;

  StateCursors(const TraceSource& trace, AnotherIndex another)
      : trace(trace), another(std::move(another)) {}

  // A cursor with an index of its own.
  struct Placed {
    Placed(const TraceSource& trace, std::unique_ptr<Index> its, const ArrayShape& shape)
        : index(std::move(its)), cursor(trace, *index, shape, KEPT_BYTES), shape(shape) {}

    std::unique_ptr<Index> index;
    StateCursor cursor;
    ArrayShape shape;
    Moment at;  // where it stands
  };

  // A cursor that stands at a moment; a fault where there is no such moment. Put gives it back.
  [[nodiscard]] Result<std::unique_ptr<Placed>> Take(const Moment& moment, const ArrayShape& shape,
                                                     const ProgressCallback& progress);

  // Takes back a cursor that was moved on in the reading in which it was lent. One that met a fault
  // is better dropped.
  void Put(std::unique_ptr<Placed> placed);

 private:
  std::unique_ptr<Placed> FindAt(const Moment& moment, const ArrayShape& shape);

  const TraceSource& trace;
  const AnotherIndex another;
  std::mutex mutex;
  std::list<std::unique_ptr<Placed>> idle;  // the one used last in front
};

}  // namespace marrowfin

#endif
