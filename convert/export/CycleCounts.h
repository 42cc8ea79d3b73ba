#ifndef CONVERT_EXPORT_CYCLECOUNTS_H
#define CONVERT_EXPORT_CYCLECOUNTS_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "trace/ask/EventFilter.h"
#include "trace/base/Record.h"

namespace marrowfin {

// How many events of each type there are by cycle, as a curve: told where it changes, in a trace
// whose cycles do not fall. Threads: one at a time.
class CycleCounts {
 public:
  // Of switches, fires and sends, in the order of their codes.
  typedef std::array<uint64_t, RECORD_TYPES> Counts;

  // Counts an event. Before, `tell(cycle, counts)` is called for the cycle that ended, if one did,
  // and with zeros for the next cycle where nothing is in that.
  template <class Tell>
  void Add(const TraceEvent& event, Tell tell) {
    if (any && event.cycle != cycle) {
      tell(cycle, counts);
      counts = {};
      if (event.cycle - cycle > 1) {
        tell(cycle + 1, counts);
      }
    }
    any = true;
    cycle = event.cycle;
    ++counts[event.type - SWITCH_RECORD];
  }

  // Tells of the last cycle, and that nothing is behind it.
  template <class Tell>
  void End(Tell tell) {
    if (any) {
      tell(cycle, counts);
      tell(cycle + 1, Counts());
    }
  }

 private:
  bool any = false;
  uint64_t cycle = 0;
  Counts counts = {};
};

}  // namespace marrowfin

#endif
