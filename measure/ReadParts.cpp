#include "measure/ReadParts.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>

#include "trace/ask/BatchCursor.h"
#include "trace/ask/FilterRange.h"

namespace marrowfin {
namespace {

// Gathers how far the parts are.
class Meter {
 public:
  Meter(size_t parts, uint64_t all, const ProgressCallback& progress)
      : done(parts), all(all), progress(progress) {}

  // False where the work is to stop. Tells every some thousand records, so that threads do not wait
  // for each other.
  bool Update(size_t part, const Progress& now) {
    if (now.done < now.all && now.done - done[part].told < EVERY) {
      return true;
    }
    done[part].told = now.done;
    const std::lock_guard<std::mutex> lock(mutex);
    sum += now.done - done[part].counted;
    done[part].counted = now.done;
    goesOn = goesOn && progress({sum, all, Progress::RECORDS});
    return goesOn;
  }

 private:
  static constexpr uint64_t EVERY = 1 << 15;

  // By the thread of a part, and under the lock.
  struct Done {
    uint64_t told = 0;
    uint64_t counted = 0;
  };

  std::vector<Done> done;
  uint64_t all;
  const ProgressCallback& progress;
  std::mutex mutex;
  uint64_t sum = 0;
  bool goesOn = true;
};

// A part, read by a thread of its own.
struct Part {
  RecordRange range;
  PartTaker* taker = nullptr;
  std::unique_ptr<Index> index;
  Fault fault;
  std::exception_ptr thrown;

  void Read(const TraceSource& trace, const EventFilter& filter, const ProgressCallback& progress) {
    try {
      BatchCursor cursor(trace, *index, WithinRange(*index, filter, range), progress);
      Selection found;
      while (cursor.Next(found)) {
        taker->Take(found);
      }
      fault = cursor.GetFault();
      const uint64_t all = range.end - range.begin;
      if (!fault && progress && !progress({all, all, Progress::RECORDS})) {
        fault = CancelledFault(trace.Name());
      }
    } catch (...) {
      thrown = std::current_exception();
    }
  }
};

std::vector<Part> Cut(const RecordRange& range, const Index& index,
                      const std::vector<PartTaker*>& takers) {
  const uint64_t all = range.end - range.begin;
  std::vector<Part> parts(takers.size());
  for (size_t i = 0; i < parts.size(); ++i) {
    // all / n * i would leave the last part longer by almost n; all * i might not fit.
    const auto at = [&](size_t part) {
      return range.begin + all / parts.size() * part + all % parts.size() * part / parts.size();
    };
    parts[i].range = {at(i), at(i + 1)};
    parts[i].taker = takers[i];
    parts[i].index = index.Another();
  }
  return parts;
}

// Calls `read` for each part, in a thread of its own as far as threads can be had, the first here.
template <class Read>
void InThreads(size_t parts, Read read) {
  std::vector<std::thread> threads;
  threads.reserve(parts);
  size_t begun = 1;
  try {
    for (; begun < parts; ++begun) {
      threads.emplace_back(read, begun);
    }
  } catch (...) {  // neither room nor memory for a thread
  }
  read(0);
  for (; begun < parts; ++begun) {
    read(begun);
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

}  // namespace

size_t PartsAtATime() { return std::clamp<size_t>(std::thread::hardware_concurrency(), 1, 16); }

Fault ReadParts(const TraceSource& trace, const Index& index, const EventFilter& filter,
                const std::vector<PartTaker*>& takers, const ProgressCallback& progress) {
  const Result<RecordRange> range = RangeOf(trace, index, filter, progress);
  if (!range) {
    return range.Why();
  }
  std::vector<Part> parts = Cut(*range, index, takers);
  Meter meter(parts.size(), range->end - range->begin, progress);
  InThreads(parts.size(), [&](size_t i) {
    const auto told = [&meter, i](const Progress& now) { return meter.Update(i, now); };
    parts[i].Read(trace, filter, progress ? ProgressCallback(told) : nullptr);
  });
  for (const Part& part : parts) {
    if (part.thrown) {
      std::rethrow_exception(part.thrown);
    }
  }
  // Where one stopped the others did: what another one met says more.
  Fault first;
  for (const Part& part : parts) {
    if (part.fault &&
        (!first || (first.kind == Fault::CANCELLED && part.fault.kind != Fault::CANCELLED))) {
      first = part.fault;
    }
  }
  return first;
}

}  // namespace marrowfin
