#ifndef MEASURE_TIMEDTRACE_H
#define MEASURE_TIMEDTRACE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "trace/ask/EventFilter.h"
#include "trace/base/Result.h"
#include "trace/index/Index.h"
#include "trace/read/Columns.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// A batch of records with their times.
//
// The time of a record is its cycle; in a trace whose cycles fall, the highest cycle up to there,
// so that no event comes before its cause.
struct TimedBatch {
  TimedBatch() = default;
  TimedBatch(const TimedBatch&) = delete;
  TimedBatch& operator=(const TimedBatch&) = delete;

  Columns columns;
  const uint64_t* time = nullptr;                 // of each record
  std::array<uint64_t, Columns::CAPACITY> risen;  // where cycles fall
};

// A trace in batches that are asked for by number, as far as its index knows it. Their places are
// noted the first time, so each must have been read once before the next one is.
//
// Trace and index must outlive it. Threads: one that reads batches the first time, then any number.
class TimedTrace {
 public:
  TimedTrace(const TraceSource& trace, const Index& index) : trace(&trace), index(&index) {}

  // How many batches there are, as far as they were read.
  size_t Batches() const { return spots.size(); }

  // Reads batch `number`, at most Batches(). False behind the last one. A fault where the trace
  // cannot be read, or is not what was indexed any more.
  [[nodiscard]] Result<bool> Load(size_t number, TimedBatch& batch);
  [[nodiscard]] Fault Reload(size_t number, TimedBatch& batch) const;

  // The batch that holds a record which was read.
  size_t BatchOf(uint64_t record) const;

  const TraceSource& Source() const { return *trace; }
  const Index& GetIndex() const { return *index; }

 private:
  struct Spot {
    uint64_t record;
    uint64_t offset;
    uint64_t time;  // of the record before
  };

  Fault Read(const Spot& spot, TimedBatch& batch) const;

  const TraceSource* trace;
  const Index* index;
  std::vector<Spot> spots;
  Spot behind = {0, 0, 0};
};

// Single records of such a trace, in any order; quick where they are near those asked for before.
class TimedRecords {
 public:
  explicit TimedRecords(const TimedTrace& trace);

  // Good until the next call; null with a fault.
  struct Timed {
    TraceEvent event;
    uint64_t time = 0;
  };
  [[nodiscard]] Result<Timed> Read(uint64_t record);

  // The batch that holds a record, and its row there; for callers that want few of its fields.
  [[nodiscard]] const TimedBatch* Hold(uint64_t record, size_t& row);
  const Fault& GetFault() const { return fault; }

 private:
  static constexpr size_t KEPT = 128;  // batches

  struct Slot {
    size_t number = ~size_t{0};
    std::unique_ptr<TimedBatch> batch;
  };

  const TimedTrace& trace;
  std::array<Slot, KEPT> slots;
  Fault fault;
};

}  // namespace marrowfin

#endif
