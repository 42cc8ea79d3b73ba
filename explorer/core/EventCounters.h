#ifndef EXPLORER_CORE_EVENTCOUNTERS_H
#define EXPLORER_CORE_EVENTCOUNTERS_H

#include <cstddef>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <utility>

#include "trace/ask/EventCounter.h"
#include "trace/ask/EventFilter.h"
#include "trace/index/Index.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// Counters of the filters that were asked about last: whoever scrolls a list asks the same filter
// again and again, and what was counted once need not be counted again.
//
// Any number of threads may ask; each counter is lent to one question at a time. The trace must
// outlive it.
class EventCounters {
 public:
  static constexpr size_t MOST = 4;

  typedef std::function<std::unique_ptr<Index>()> AnotherIndex;

  EventCounters(const TraceSource& trace, AnotherIndex another)
      : trace(trace), another(std::move(another)) {}

  // A counter with an index of its own.
  struct Kept {
    Kept(const TraceSource& trace, std::unique_ptr<Index> its, const EventFilter& filter)
        : index(std::move(its)), filter(filter), counter(trace, *index, filter) {}

    std::unique_ptr<Index> index;
    EventFilter filter;
    EventCounter counter;
  };

  std::unique_ptr<Kept> Take(const EventFilter& filter);
  void Put(std::unique_ptr<Kept> kept);

 private:
  const TraceSource& trace;
  const AnotherIndex another;
  std::mutex mutex;
  std::list<std::unique_ptr<Kept>> idle;  // the one used last in front
};

}  // namespace marrowfin

#endif
