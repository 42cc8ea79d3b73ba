#include "trace/index/SegmentPacker.h"

#include <bit>
#include <functional>

#include "trace/index/Pack.h"
#include "trace/index/ThreadMask.h"

namespace marrowfin {

namespace {

// The codes at the end of a segment, with so many changes of cycle, from those at its start and
// from what touched the cells since.
template <class Cell>
void Update(std::vector<uint8_t>& codes, const std::vector<Cell>& cells, unsigned cap,
            uint32_t segmentChanges) {
  std::array<uint8_t, 256> aged = {};  // of pieces that nothing touched, by their code
  for (unsigned code = 1; code <= 6 * (2 * cap + 1); ++code) {
    const TouchCode old(cap, static_cast<uint8_t>(code));
    aged[code] = TouchCode::Encode(cap, old.thread, uint64_t{old.age} + segmentChanges, old.change);
  }
  std::array<uint8_t, 256> touched = {};  // of the others, by age and the low bits of the touch
  for (uint32_t age = 0; age <= cap; ++age) {
    for (uint32_t low = 0; low < 16; ++low) {
      touched[age * 16 + low] = TouchCode::Encode(cap, low & 7, age, (low & 8) != 0);
    }
  }
  for (size_t i = 0; i < codes.size(); ++i) {
    const uint32_t touch = cells[i].touch;
    const uint32_t age = std::min(segmentChanges - (touch & ~TOUCHED) / 16, cap);
    const uint8_t code = touched[age * 16 + (touch & 15)];
    codes[i] = touch != 0 ? code : aged[codes[i]];
  }
}

template <class PartCount, class Count, class Operation = std::plus<>>
void AddCells(const std::vector<PartCount>& part, uint32_t columns, uint32_t rows,
              std::vector<Count>& sum, uint32_t sumColumns, Operation operation = {}) {
  for (uint32_t row = 0; row < rows; ++row) {
    const PartCount* from = part.data() + static_cast<size_t>(row) * columns;
    Count* to = sum.data() + static_cast<size_t>(row) * sumColumns;
    std::transform(from, from + columns, to, to, operation);
  }
}

}  // namespace

void SegmentPacker::Add(Segment& segment) {
  IndexBoundary boundary = segment.boundary;
  UpdateCodes(segment);
  std::vector<uint8_t> keyframe = codes;
  keyframe.insert(keyframe.end(), switchCodes.begin(), switchCodes.end());
  boundary.keyframe = sink(keyframe);
  Node node = TakeNode(segment);
  MergeNodes(node, std::countr_zero(boundaries.size() + 1), boundary);
  for (size_t activity = 0; activity < ACTIVITIES; ++activity) {
    boundary.node[activity] = sink(node.Narrowed(activity));
  }
  nodes.push_back(std::move(node));
  boundaries.push_back(boundary);
}

// A boundary with an even number keeps its place in the tree: its node is the sum of half as many
// segments, each twice as long. The segment that ends there now begins where the one before began.
// A mask of half of it goes.
void SegmentPacker::Halve() {
  for (size_t kept = 0; kept < boundaries.size() / 2; ++kept) {
    const uint32_t sample = boundaries[2 * kept].sample;
    IndexBoundary& boundary = boundaries[kept];
    boundary = std::move(boundaries[2 * kept + 1]);
    boundary.sample = sample;
    const size_t levels = static_cast<size_t>(std::countr_zero(kept + 1)) + 1;
    if (boundary.masks.size() > levels) {
      boundary.masks.erase(boundary.masks.begin());
    }
  }
  boundaries.resize(boundaries.size() / 2);
}

void SegmentPacker::UpdateCodes(const Segment& segment) {
  const IndexBoundary& now = segment.boundary;
  if (columns != now.columns || rows != now.rows) {
    codes = Relayout(codes, columns, rows, now.columns, now.rows);
    columns = now.columns;
    rows = now.rows;
  }
  switchCodes.resize(now.switches);
  Update(codes, segment.cells, TouchCode::ELEMENT_CAP, segment.changes);
  Update(switchCodes, segment.switchCells, TouchCode::SWITCH_CAP, segment.changes);
}

// The activity of the segment; its cells start anew.
SegmentPacker::Node SegmentPacker::TakeNode(Segment& segment) {
  Node node;
  node.columns = segment.boundary.columns;
  node.rows = segment.boundary.rows;
  const size_t elements = CountersOf(segment.boundary, FIRES);
  for (const Activity activity : {FIRES, SENDS, RECEIVES}) {
    node.sums[activity].resize(elements);
  }
  node.mask.resize(elements);
  for (size_t i = 0; i < elements; ++i) {
    Segment::Cell& cell = segment.cells[i];
    node.sums[FIRES][i] = cell.fires & Segment::Cell::COUNT;
    node.sums[SENDS][i] = cell.sends;
    node.sums[RECEIVES][i] = cell.receives & Segment::Cell::COUNT;
    node.mask[i] = cell.Mask();
    cell = {};
  }
  std::fill(segment.cells.begin() + static_cast<ptrdiff_t>(elements), segment.cells.end(),
            Segment::Cell());
  node.sums[THREAD_RECORDS] = std::move(segment.threadCounts);
  for (Segment::SwitchCell& cell : segment.switchCells) {
    node.sums[TRANSMISSIONS].push_back(cell.transmissions);
    cell = {};
  }
  return node;
}

// Adds to the node of a segment those before it, of 1, 2, 4, ... segments. What is known by then is
// the whole of a node that is kept, but of masks every stage is, since they cannot be taken apart.
void SegmentPacker::MergeNodes(Node& node, int levels, IndexBoundary& boundary) {
  AddMask(node, 0, boundary);
  for (int level = 1; level <= levels; ++level) {
    // Boundaries that were halved leave wide nodes one level lower.
    if (nodes.back().wide) {
      node.Widen();
    }
    node.Add(nodes.back());
    nodes.pop_back();
    if (level == WIDE_LEVEL) {
      node.Widen();
    }
    AddMask(node, level, boundary);
  }
}

// The mask of the last 2^level segments up to a boundary that is about to be added.
void SegmentPacker::AddMask(const Node& node, int level, IndexBoundary& boundary) {
  const size_t before = boundaries.size() + 1 - (size_t{1} << level);
  const uint64_t records = boundary.record - (before == 0 ? 0 : boundaries[before - 1].record);
  if (records >= maskRecords && !node.mask.empty()) {
    boundary.masks.push_back(sink(ThreadMask::Encode(node.mask, node.columns, node.rows, records)));
  }
}

void SegmentPacker::Node::Widen() {
  if (wide) {
    return;
  }
  wide = true;
  for (size_t activity = 0; activity < ACTIVITIES; ++activity) {
    wideSums[activity].assign(sums[activity].begin(), sums[activity].end());
    sums[activity] = {};
  }
}

// The part is never of a larger array, since arrays only grow, and never wide where this is not.
void SegmentPacker::Node::Add(const Node& part) {
  AddCells(part.mask, part.columns, part.rows, mask, columns, std::bit_or<>());
  for (size_t activity = 0; activity < ACTIVITIES; ++activity) {
    const bool elements = activity < TRANSMISSIONS;
    const size_t cells = std::max(part.sums[activity].size(), part.wideSums[activity].size());
    const uint32_t width = elements ? part.columns : static_cast<uint32_t>(cells);
    const uint32_t height = elements ? part.rows : 1;
    if (!wide) {
      AddCells(part.sums[activity], width, height, sums[activity], columns);
    } else {
      part.wide ? AddCells(part.wideSums[activity], width, height, wideSums[activity], columns)
                : AddCells(part.sums[activity], width, height, wideSums[activity], columns);
    }
  }
}

std::vector<uint8_t> SegmentPacker::Node::Narrowed(size_t activity) const {
  return wide ? Narrow(std::span<const uint64_t>(wideSums[activity]))
              : Narrow(std::span<const uint32_t>(sums[activity]));
}

Fault SegmentPacker::Resume(const Index& index) {
  boundaries.assign(index.Boundaries().begin(), index.Boundaries().end());
  columns = boundaries.back().columns;
  rows = boundaries.back().rows;
  if (Fault fault = ResumeCodes(index)) {
    return fault;
  }
  return ResumeNodes(index);
}

Fault SegmentPacker::ResumeCodes(const Index& index) {
  const Result<std::span<const uint8_t>> keyframe = index.Keyframe(boundaries.size());
  if (!keyframe) {
    return keyframe.Why();
  }
  const auto switches = keyframe->end() - static_cast<ptrdiff_t>(boundaries.back().switches);
  codes.assign(keyframe->begin(), switches);
  switchCodes.assign(switches, keyframe->end());
  return {};
}

Fault SegmentPacker::ResumeNodes(const Index& index) {
  for (size_t b = boundaries.size(); b > 0; b &= b - 1) {
    Node node;
    node.columns = boundaries[b - 1].columns;
    node.rows = boundaries[b - 1].rows;
    node.wide = std::countr_zero(b) >= WIDE_LEVEL;
    for (const Activity activity : {FIRES, SENDS, RECEIVES, TRANSMISSIONS, THREAD_RECORDS}) {
      std::vector<uint64_t> sums(CountersOf(boundaries[b - 1], activity));
      if (Fault fault = index.AddNode(b, activity, 1, node.columns, node.rows, sums)) {
        return fault;
      }
      if (node.wide) {
        node.wideSums[activity] = std::move(sums);
      } else {
        node.sums[activity].assign(sums.begin(), sums.end());
      }
    }
    if (Fault fault = ResumeMask(index, b, node)) {
      return fault;
    }
    nodes.insert(nodes.begin(), std::move(node));
  }
  return {};
}

// What the bits of a node may have been: where something happened, and the mask that is kept of it,
// if any, does not rule it out.
Fault SegmentPacker::ResumeMask(const Index& index, size_t b, Node& node) {
  const IndexBoundary& boundary = index.Boundaries()[b - 1];
  node.mask.assign(CountersOf(boundary, FIRES), 0);
  for (const Activity activity : {FIRES, SENDS, RECEIVES}) {
    for (size_t i = 0; i < node.mask.size(); ++i) {
      const uint64_t count = node.wide ? node.wideSums[activity][i] : node.sums[activity][i];
      node.mask[i] = count != 0 ? 0xFF : node.mask[i];
    }
  }
  if (boundary.masks.empty()) {
    return {};
  }
  const auto kept = index.Mask(b, static_cast<size_t>(std::countr_zero(b)));
  if (!kept) {
    return kept.Why();
  }
  ThreadMask::Restrict(*kept, node.columns, node.rows, node.mask);
  return {};
}

}  // namespace marrowfin
