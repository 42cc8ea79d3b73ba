#ifndef MEASURE_CAUSALCHAIN_H
#define MEASURE_CAUSALCHAIN_H

#include <cstdint>
#include <optional>
#include <vector>

#include "measure/FindCauses.h"
#include "measure/Level.h"
#include "measure/RecordSet.h"
#include "trace/base/Progress.h"

namespace marrowfin {

// The time from a cause to its effect, in cycles: what it takes at least, see LeastTimes, at an
// element (work) or on the way (travel), and what it took longer (wait).
struct TimeSplit {
  uint64_t work = 0;
  uint64_t travel = 0;
  uint64_t wait = 0;

  uint64_t Sum() const { return work + travel + wait; }
  void Add(const TimeSplit& other) {
    work += other.work;
    travel += other.travel;
    wait += other.wait;
  }
  friend bool operator==(const TimeSplit&, const TimeSplit&) = default;
};

// An event of a chain, and how it came about.
struct ChainStep {
  TraceEvent event;
  uint64_t time = 0;                   // see TimedBatch
  TimeSplit since;                     // since the step before; nothing for the first
  Evidence evidence = Evidence::TOLD;  // that the one before caused it
};

// Where time of a chain went. Time counts where its step is: at an element or, of a transmission,
// at a switch.
struct ChainPlace {
  bool isSwitch = false;
  Place at;  // of a switch its cluster's
  TimeSplit time;
};

// The chain of causes that led to an event: of several causes each time the one that left the least
// time to spare. An event happened no earlier than the chain did.
struct CausalChain {
  RecordSet records;
  uint64_t first = 0;  // and last of them
  uint64_t last = 0;
  uint64_t firstTime = 0;
  uint64_t lastTime = 0;
  uint64_t fires = 0;
  uint64_t messages = 0;
  uint64_t transmissions = 0;
  uint64_t inferred = 0;  // steps
  TimeSplit time;
  uint64_t longestMessage = 0;        // cycles from a message, or a switch, to what it caused
  uint64_t longestMessageRecord = 0;  // and which one, where there is any
  std::vector<ChainPlace> places;     // in the order in which they were met from the end

  bool IsCertain() const { return inferred == 0; }
  uint64_t Steps() const { return fires + messages + transmissions; }
};

// The chain that led to a record, of which there must be one of that number. A fault where the
// trace cannot be read, or `progress`, which counts records, asked to stop.
[[nodiscard]] Result<CausalChain> FindChain(const Causes& causes, const ArrayShape& shape,
                                            uint64_t record, const ProgressCallback& progress = {});

// At most `most` steps of the chain up to `last`, one of its records: the last ones, in order of
// time. Faults as of FindChain.
[[nodiscard]] Result<std::vector<ChainStep>> StepsOf(const Causes& causes, const CausalChain& chain,
                                                     uint64_t last, uint64_t most,
                                                     const ProgressCallback& progress = {});

// The same places taken together by domains or clusters, where switches are in their clusters;
// sorted by time, the longest first, ties by row and column.
std::vector<ChainPlace> ByLevel(const std::vector<ChainPlace>& places, const ArrayShape& shape,
                                Level level);

// Elements alone, or switches alone, sorted likewise.
std::vector<ChainPlace> OfKind(const std::vector<ChainPlace>& places, bool switches);

// Which of the causes of an event left the least time to spare, and how long it is since then.
struct Binding {
  uint64_t cause = 0;
  bool isWork = false;  // whether it is a fire
  TimeSplit since;
};
class BindingFinder {
 public:
  explicit BindingFinder(const Causes& causes)
      : causes(causes), nodes(causes.graph), works(causes.graph), records(causes.trace) {}

  // Nothing where the event has no causes. A fault where the trace cannot be read.
  [[nodiscard]] Result<std::optional<Binding>> Of(const CausalGraph::Node& node, uint64_t time);

  // The time at which the effects of a record could have been.
  [[nodiscard]] Result<uint64_t> ReadyAt(uint64_t cause);

  CausalGraph::Node Node(uint64_t record) { return nodes.Read(record); }
  TimedRecords& Records() { return records; }

 private:
  struct Known {
    uint64_t time;
    uint64_t least;
    bool isWork;
  };
  Result<Known> Know(uint64_t cause);

  const Causes& causes;
  CausalGraph::Reader nodes;
  CausalGraph::Reader works;  // of causes
  TimedRecords records;
};

}  // namespace marrowfin

#endif
