#ifndef TRACE_INDEX_INDEXTABLES_H
#define TRACE_INDEX_INDEXTABLES_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "trace/base/Record.h"
#include "trace/read/Summary.h"

namespace marrowfin {

// Where a record stands.
struct IndexEntry {
  uint64_t record = 0;
  uint64_t offset = 0;  // its first byte
  uint64_t cycle = 0;
  uint64_t changes = 0;  // changes of cycle between records 0 and this one: its cycle is that of
                         // the changes-th change
};

// A packed section of the index file.
struct IndexSection {
  uint64_t offset = 0;
  uint64_t packedSize = 0;
  uint64_t rawSize = 0;
};

// The counters of a node: of each unit of the array, and THREAD_RECORDS, which knows no units: the
// records of each slot of Summary::ThreadSlot, RECORD_TYPES counts each.
enum Activity { FIRES = 0, SENDS = 1, RECEIVES = 2, TRANSMISSIONS = 3, THREAD_RECORDS = 4 };
constexpr size_t ACTIVITIES = 5;

// What is kept at the end of a segment.
struct IndexBoundary {
  uint64_t record = 0;     // the first record behind the segment
  uint64_t offset = 0;     // its first byte
  uint64_t lastCycle = 0;  // of the record before
  uint64_t changes = 0;    // of the record before
  uint32_t sample = 0;     // checksum of bytes of the segment, see IndexFormat
  uint32_t columns = 0;    // the processing elements of keyframe and node
  uint32_t rows = 0;
  uint32_t switches = 0;     // the switches of keyframe and node: the first so many
  uint32_t threadSlots = 0;  // of Summary::ThreadSlot, likewise
  uint64_t farEnds = 0;      // of the records before, see FarEnds; the nodes do not have them
  IndexSection keyframe;     // columns * rows codes, row by row, then one code per switch
  IndexSection node[ACTIVITIES];

  // Which threads touched which processing element in the last 2^L segments, see ThreadMask, for
  // the uppermost levels L that the number of the boundary is a multiple of 2^L for; the lowest
  // first.
  std::vector<IndexSection> masks;
};

// How many counters of a kind the node of a boundary has.
inline size_t CountersOf(const IndexBoundary& boundary, Activity activity) {
  return activity == TRANSMISSIONS    ? boundary.switches
         : activity == THREAD_RECORDS ? size_t{boundary.threadSlots} * RECORD_TYPES
                                      : size_t{boundary.columns} * boundary.rows;
}

// The states that keyframes tell apart, as bytes. A piece that no event has touched is 0; any other
// has a thread (modulo 6), an age in changes of cycle, counted from the record before the event to
// the boundary, and whether the event was a change of cycle itself. From `cap` on, ages are all the
// same.
class TouchCode {
 public:
  // A processing element's colour rests after 4 steps and a switch's after 8; one more, because the
  // step of a change of cycle is applied ahead of the rest of its cycle.
  static constexpr unsigned ELEMENT_CAP = 6;
  static constexpr unsigned SWITCH_CAP = 10;

  static uint8_t Encode(unsigned cap, unsigned thread, uint64_t age, bool change) {
    const unsigned step = age >= cap ? 2 * cap : static_cast<unsigned>(age) * 2 + (change ? 1 : 0);
    return static_cast<uint8_t>(1 + thread * (2 * cap + 1) + step);
  }

  TouchCode(unsigned cap, uint8_t code)
      : touched(code != 0),
        thread(touched ? (code - 1U) / (2 * cap + 1) : 0),
        age(touched ? (code - 1U) % (2 * cap + 1) / 2 : 0),
        change(touched && (code - 1U) % (2 * cap + 1) % 2 == 1) {}

  bool touched;
  unsigned thread;  // 0 to 5
  unsigned age;     // at most cap, which stands for that age and all above
  bool change;
};

// How fine an index is. Tables do not grow with the trace: where one is full, every second row is
// left out, and rows stand twice as far apart from then on.
struct IndexLimits {
  uint64_t segmentRecords = 32768;  // at least, of a segment, while the trace is short
  uint64_t entryRecords = 2048;     // between entries of the sparse table, likewise
  size_t boundaries = 2048;         // at most; a power of two
  size_t entries = 8192;            // at most
  uint64_t maskRecords = 262144;  // at least, of what has a mask: reading them takes a millisecond
  size_t timeCells = 16384;       // of the time table, at most; a power of two

  // Keyframes and nodes are kept of arrays of up to so many positions.
  static constexpr uint64_t MAX_ELEMENTS = 1 << 20;

  // Of a segment, however long the trace: three bytes count its events. The table of boundaries of
  // a trace of 17 billion records and more does grow.
  static constexpr uint64_t LARGEST_SEGMENT = uint64_t{1} << 23;
};

// What is kept of a trace to know it again.
struct TraceMark {
  uint64_t size = 0;
  uint64_t modified = 0;  // its times, see FileIdentity
  uint64_t changed = 0;
  uint64_t inode = 0;
  uint32_t edges = 0;  // checksum of its first and last bytes
};

// What an index knows, apart from its keyframes and nodes. Once made nothing of it changes, so any
// number of threads may share it.
struct IndexTables {
  TraceMark trace;
  Summary summary;
  Summary atLastBoundary;  // of what lies before the last boundary
  bool complete = true;    // whether keyframes and nodes exist for the whole trace
  uint64_t stride = 0;     // records between entries
  std::vector<IndexEntry> entries;
  std::vector<IndexBoundary> boundaries;
  IndexSection times;         // the time table of the records before the last boundary
  IndexSection furtherTimes;  // and of those behind it
};

}  // namespace marrowfin

#endif
