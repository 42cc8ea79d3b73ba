#ifndef TRACE_INDEX_SEGMENTPACKER_H
#define TRACE_INDEX_SEGMENTPACKER_H

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <span>
#include <utility>
#include <vector>

#include "trace/index/Index.h"

namespace marrowfin {

// When a piece was touched last within a segment: TOUCHED, and how many changes of cycle of the
// segment came before, whether it was one itself, and its thread, modulo 6. 0 for never. A segment
// has far fewer than the 2^27 records that would overflow it.
typedef uint32_t Touch;
constexpr Touch TOUCHED = uint32_t{1} << 31;
constexpr unsigned TOUCH_CHANGES_SHIFT = 4;
constexpr Touch TOUCH_CHANGE = 8;

constexpr Touch MakeTouch(uint32_t changesBefore, bool change, uint32_t thread) {
  return TOUCHED | changesBefore << TOUCH_CHANGES_SHIFT | (change ? TOUCH_CHANGE : 0) | thread % 6;
}

// What a segment of a trace has brought to each position of the array, row by row, and to each
// switch.
struct Segment {
  // An operation that fires mostly sends as well, so it is one line of the processor's cache that
  // two records write to. The uppermost bytes of `fires` and `receives` are bits of a ThreadMask,
  // of who fired and sent and of who sent to here: beside the count they cost no access of their
  // own.
  struct Cell {
    uint32_t fires = 0;
    uint32_t sends = 0;
    uint32_t receives = 0;
    Touch touch = 0;

    static constexpr unsigned MASK_SHIFT = 24;
    static constexpr uint32_t COUNT = (uint32_t{1} << MASK_SHIFT) - 1;
    uint8_t Mask() const { return static_cast<uint8_t>((fires | receives) >> MASK_SHIFT); }
  };
  struct SwitchCell {
    uint32_t transmissions = 0;
    Touch touch = 0;
  };

  // Behind the cells of the positions come some that are nobody's, where counts go that belong to
  // no position, so that no branch tells those apart. Several, so that one count does not wait for
  // the other.
  static constexpr size_t NOBODYS = 16;
  static constexpr size_t CellsFor(uint32_t columns, uint32_t rows) {
    return static_cast<size_t>(columns) * rows + NOBODYS;
  }

  IndexBoundary boundary;  // all but the sections
  uint32_t changes = 0;    // of cycle, in the segment
  std::vector<Cell> cells = std::vector<Cell>(CellsFor(0, 0));
  std::vector<SwitchCell> switchCells;
  std::vector<uint32_t> threadCounts;  // as Summarizer::ThreadCounts
};

// Makes the sections of an index from one segment after another: keeps the state at the end of the
// last one and the nodes whose sum is the activity up to there.
class SegmentPacker {
 public:
  // Packs and keeps a section.
  typedef std::function<IndexSection(std::span<const uint8_t> raw)> Sink;

  // There is room for as many boundaries as the limits tell; more of them move.
  SegmentPacker(Sink sink, const IndexLimits& limits)
      : sink(std::move(sink)), maskRecords(limits.maskRecords) {
    boundaries.reserve(limits.boundaries);
  }

  // Takes up an index behind its last boundary. A fault where it is damaged.
  [[nodiscard]] Fault Resume(const Index& index);

  // Adds the next segment, whose array is no smaller than those before. Its cells are reset.
  void Add(Segment& segment);

  // Forgets every second boundary, the first among them; there is an even number of them. What
  // was kept of those goes unused.
  void Halve();

  const std::vector<IndexBoundary>& Boundaries() const { return boundaries; }

  // Ends the work: what it needs apart from the boundaries is given back.
  std::vector<IndexBoundary> TakeBoundaries() {
    nodes = {};
    return std::move(boundaries);
  }

 private:
  // The sums of a node, before they are packed. Nodes of fewer than 2^WIDE_LEVEL segments, of at
  // most IndexLimits::LARGEST_SEGMENT records and a batch each, cannot overflow 32 bits, and most
  // nodes are such: half as many bytes go through the processor's caches. Larger ones have 64.
  static constexpr int WIDE_LEVEL = 8;
  struct Node {
    uint32_t columns = 0;
    uint32_t rows = 0;
    std::array<std::vector<uint32_t>, ACTIVITIES> sums;
    std::array<std::vector<uint64_t>, ACTIVITIES> wideSums;  // instead, if wide
    bool wide = false;
    std::vector<uint8_t> mask;  // bits of a ThreadMask

    void Widen();
    void Add(const Node& part);
    std::vector<uint8_t> Narrowed(size_t activity) const;
  };

  Fault ResumeCodes(const Index& index);
  Fault ResumeNodes(const Index& index);
  static Fault ResumeMask(const Index& index, size_t b, Node& node);
  void UpdateCodes(const Segment& segment);
  static Node TakeNode(Segment& segment);
  void MergeNodes(Node& node, int levels, IndexBoundary& boundary);
  void AddMask(const Node& node, int level, IndexBoundary& boundary);

  Sink sink;
  uint64_t maskRecords;  // at least, of what has a mask
  std::vector<IndexBoundary> boundaries;
  uint32_t columns = 0;  // of the codes
  uint32_t rows = 0;
  std::vector<uint8_t> codes;        // at the last boundary, see TouchCode
  std::vector<uint8_t> switchCodes;  // likewise
  std::vector<Node> nodes;           // whose sum is the activity up to the last boundary
};

// Cells of an array that has grown.
template <class T>
std::vector<T> Relayout(const std::vector<T>& cells, uint32_t columns, uint32_t rows,
                        uint32_t newColumns, uint32_t newRows) {
  std::vector<T> moved(static_cast<size_t>(newColumns) * newRows);
  for (uint32_t row = 0; row < rows; ++row) {
    std::copy_n(cells.begin() + static_cast<ptrdiff_t>(row) * columns, columns,
                moved.begin() + static_cast<ptrdiff_t>(row) * newColumns);
  }
  return moved;
}

}  // namespace marrowfin

#endif
