#ifndef MEASURE_LEASTTIMES_H
#define MEASURE_LEASTTIMES_H

#include <cstdint>
#include <vector>

#include "measure/CausalGraph.h"
#include "measure/Ways.h"
#include "trace/base/Record.h"

namespace marrowfin {

// The least time that has ever passed from an event to anything that it caused, by what the event
// was: a fire, by the kind that it was noted to be; a message, by its way; a transmission of a
// switch. What takes longer has waited. Threads: a value, which one thread writes or any number
// read.
class LeastTimes {
 public:
  static constexpr uint64_t UNKNOWN = ~uint64_t{0};

  explicit LeastTimes(const Ways& ways) : ways(ways), times(FIRST_WAY + Ways::MOST, UNKNOWN) {}

  // The class of an event; `work` is below CausalGraph::WORK_KINDS.
  uint32_t ClassOf(uint32_t type, uint32_t work, Place at, Place to) const {
    return type == FIRE_RECORD   ? work
           : type == SEND_RECORD ? FIRST_WAY + ways.Between(at, to)
                                 : SWITCH;
  }
  static bool IsWork(uint32_t eventClass) { return eventClass < CausalGraph::WORK_KINDS; }

  void Take(uint32_t eventClass, uint64_t time) {
    if (time < times[eventClass]) {
      times[eventClass] = time;
    }
  }

  // Takes what longer ways were seen to take for shorter ones that have been slower. Called once,
  // when all are taken.
  void Settle();

  // The least time of a class of which any was taken; else 0.
  uint64_t Of(uint32_t eventClass) const {
    return times[eventClass] == UNKNOWN ? 0 : times[eventClass];
  }
  uint64_t OfWay(uint32_t way) const { return Of(FIRST_WAY + way); }

  const Ways& GetWays() const { return ways; }

 private:
  static constexpr uint32_t SWITCH = CausalGraph::WORK_KINDS;
  static constexpr uint32_t FIRST_WAY = SWITCH + 1;

  Ways ways;
  std::vector<uint64_t> times;
};

}  // namespace marrowfin

#endif
