#include "measure/CountSpaceTime.h"

#include <algorithm>
#include <unordered_map>
#include <utility>
#include <vector>

#include "measure/CyclesAsked.h"
#include "measure/ReadParts.h"

namespace marrowfin {
namespace {

// Counts a part of the trace.
template <class Counts>
class Counter : public PartTaker {
 public:
  explicit Counter(Counts none) : counts(std::move(none)) {}
  void Take(const Selection& found) override { counts.Add(found); }
  Counts& Get() { return counts; }

 private:
  Counts counts;
};

// Counts with as many copies of `none` as there are processors.
template <class Counts>
Result<Counts> CountInParts(const TraceSource& trace, const Index& index, const EventFilter& filter,
                            const Counts& none, const ProgressCallback& progress) {
  std::vector<Counter<Counts>> counters(PartsAtATime(), Counter<Counts>(none));
  std::vector<PartTaker*> takers;
  for (Counter<Counts>& counter : counters) {
    takers.push_back(&counter);
  }
  if (Fault fault = ReadParts(trace, index, filter, takers, progress)) {
    return fault;
  }
  Counts all = std::move(counters[0].Get());
  for (size_t i = 1; i < counters.size(); ++i) {
    all.Add(counters[i].Get());
  }
  return all;
}

// Events by thread.
class ThreadCounts {
 public:
  explicit ThreadCounts(uint32_t type) : type(type) {}

  void Add(const Selection& found) {
    for (const uint16_t row : found.rows) {
      if (found.columns->tag[row].type == type) {
        ++counts[found.columns->tag[row].thread];
      }
    }
  }

  void Add(const ThreadCounts& other) {
    for (const auto& [thread, count] : other.counts) {
      counts[thread] += count;
    }
  }

  // Those that have most, in ascending order; of those that have as many the lowest.
  std::vector<uint32_t> Largest(size_t most) const {
    std::vector<std::pair<uint64_t, uint32_t>> order;
    for (const auto& [thread, count] : counts) {
      order.emplace_back(~count, thread);
    }
    std::sort(order.begin(), order.end());
    order.resize(std::min(order.size(), most));
    std::vector<uint32_t> threads;
    for (const auto& [count, thread] : order) {
      threads.push_back(thread);
    }
    std::sort(threads.begin(), threads.end());
    return threads;
  }

 private:
  uint32_t type;
  std::unordered_map<uint32_t, uint64_t> counts;
};

// The threads that are told apart: all where there are few enough in the whole trace.
Result<std::vector<uint32_t>> ThreadsToTell(const TraceSource& trace, const Index& index,
                                            const SpaceTimeQuestion& question,
                                            const ProgressCallback& progress) {
  const Summary& summary = index.GetSummary();
  if (summary.threads.size() <= question.mostThreads && summary.otherThreads == 0) {
    std::vector<uint32_t> threads;
    for (const auto& [thread, records] : summary.threads) {
      threads.push_back(thread);
    }
    return threads;
  }
  const uint32_t type = question.events == SpaceTimeEvents::FIRES ? FIRE_RECORD : SEND_RECORD;
  const Result<ThreadCounts> counts =
      CountInParts(trace, index, question.filter, ThreadCounts(type), progress);
  if (!counts) {
    return counts.Why();
  }
  const std::vector<uint32_t> all = counts->Largest(question.mostThreads + 1);
  return all.size() <= question.mostThreads ? all : counts->Largest(question.mostThreads - 1);
}

}  // namespace

Result<SpaceTime> CountSpaceTime(const TraceSource& trace, const Index& index,
                                 const SpaceTimeQuestion& question,
                                 const ProgressCallback& progress) {
  const Result<CycleRange> range = CyclesAsked(trace, index, question.filter, progress);
  if (!range) {
    return range.Why();
  }
  std::vector<uint32_t> threads;
  if (question.byThread) {
    Result<std::vector<uint32_t>> told = ThreadsToTell(trace, index, question, progress);
    if (!told) {
      return told.Why();
    }
    threads = std::move(told).Take();
  }
  const SpaceTime none(HierarchyRows(question.shape, question.mostRows),
                       TimeColumns::Round(range->first, range->last, question.mostColumns),
                       question.events, std::move(threads));
  return CountInParts(trace, index, question.filter, none, progress);
}

}  // namespace marrowfin
