#include "trace/IndexBuilder.h"

#include <zlib.h>

#include <algorithm>
#include <bit>

#include "trace/Pack.h"

namespace marrowfin {

namespace {

// Records 0 and 1 are left out of keyframes: the viewer skips the first one, and the step of the
// one after a skip follows a rule of its own. Whoever asks for a state applies them to the
// keyframe.
constexpr uint64_t FIRST_IN_KEYFRAMES = 2;

// See IndexBuilder::Touch. A segment has far fewer than 2^27 records.
constexpr uint32_t TOUCHED = uint32_t{1} << 31;

uint32_t MakeTouch(uint32_t changesBefore, bool change, uint32_t thread) {
  return TOUCHED | changesBefore << 4 | (change ? 8U : 0U) | thread % 6;
}

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
  for (size_t i = 0; i < cells.size(); ++i) {
    const uint32_t touch = cells[i].touch;
    const uint32_t age = std::min(segmentChanges - (touch & ~TOUCHED) / 16, cap);
    const uint8_t code = touched[age * 16 + (touch & 15)];
    codes[i] = touch != 0 ? code : aged[codes[i]];
  }
}

uint64_t PowerFor(uint64_t extent) { return extent == 0 ? 0 : std::bit_ceil(extent); }

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

template <class Count>
void AddCells(const std::vector<Count>& part, uint32_t columns, uint32_t rows,
              std::vector<Count>& sum, uint32_t sumColumns) {
  for (uint32_t row = 0; row < rows; ++row) {
    const Count* from = part.data() + static_cast<size_t>(row) * columns;
    Count* to = sum.data() + static_cast<size_t>(row) * sumColumns;
    std::transform(from, from + columns, to, to, std::plus<>());
  }
}

}  // namespace

uint32_t SampleRecords(const Columns& columns, size_t from, size_t to, uint32_t before) {
  uLong sum = before;
  for (size_t i = from; i < to; ++i) {
    sum = crc32(sum, reinterpret_cast<const Bytef*>(&columns.cycle[i]), sizeof(columns.cycle[i]));
    sum = crc32(sum, reinterpret_cast<const Bytef*>(&columns.tag[i]), sizeof(columns.tag[i]));
    sum = crc32(sum, reinterpret_cast<const Bytef*>(&columns.at[i]), sizeof(columns.at[i]));
    sum = crc32(sum, reinterpret_cast<const Bytef*>(&columns.to[i]), sizeof(columns.to[i]));
  }
  return static_cast<uint32_t>(sum);
}

IndexBuilder::IndexBuilder(Sink sink) : sink(std::move(sink)), sampleLeft(SAMPLED_RECORDS) {
  segmentEnd = SegmentLength();
}

// Long enough that a segment's records outweigh the cells of its node, short enough that a state is
// decoded from a keyframe in a fraction of a millisecond.
uint64_t IndexBuilder::SegmentLength() const {
  const uint64_t elements = static_cast<uint64_t>(columnCount) * rowCount;
  return std::max<uint64_t>(32768, 2 * elements);
}

// Entries and boundaries stand between batches, so no batch needs to be split.
void IndexBuilder::Add(const Columns& columns) {
  if (record >= nextEntry) {
    AddEntry(columns);
  }
  Sample(columns);
  summarizer.Add(columns);
  MakeRoom();
  if (complete) {
    CountElements(columns);
    CountSwitches();
  } else {
    changes = summarizer.Get().changes;
  }
  lastCycle = columns.cycle[columns.size - 1];
  record += columns.size;
  offset += columns.Bytes();
  if (record >= segmentEnd) {
    EndSegment();
  }
}

void IndexBuilder::AddEntry(const Columns& columns) {
  const bool change = record > 0 && columns.cycle[0] != lastCycle;
  entries.push_back({record, offset, columns.cycle[0], changes + (change ? 1 : 0)});
  if (entries.size() >= MAX_ENTRIES) {
    for (size_t kept = 0; 2 * kept < entries.size(); ++kept) {
      entries[kept] = entries[2 * kept];
    }
    entries.resize((entries.size() + 1) / 2);
    stride *= 2;
  }
  nextEntry = record + stride;
}

void IndexBuilder::Sample(const Columns& columns) {
  const size_t sampled = static_cast<size_t>(std::min<uint64_t>(sampleLeft, columns.size));
  sample = SampleRecords(columns, 0, sampled, sample);
  sampleLeft -= sampled;
}

// Lets the cells cover all locations so far, if they can.
void IndexBuilder::MakeRoom() {
  const Summary& s = summarizer.Get();
  const uint64_t columns =
      std::max<uint64_t>(columnCount, PowerFor(std::max(s.fired.columns, s.sent.columns)));
  const uint64_t rows = std::max<uint64_t>(rowCount, PowerFor(std::max(s.fired.rows, s.sent.rows)));
  if (columns == columnCount && rows == rowCount) {
    return;
  }
  if (columns > Index::MAX_ELEMENTS || columns * rows > Index::MAX_ELEMENTS) {
    complete = false;
    return;
  }
  const uint32_t newColumns = static_cast<uint32_t>(columns);
  const uint32_t newRows = static_cast<uint32_t>(rows);
  cells = Relayout(cells, columnCount, rowCount, newColumns, newRows);
  codes = Relayout(codes, columnCount, rowCount, newColumns, newRows);
  columnCount = newColumns;
  rowCount = newRows;
}

// Types follow each other at random as far as a processor can tell, so every record does the same:
// what does not concern it goes nowhere. Tables and masks by type, since a compiler makes branches
// of conditions.
void IndexBuilder::CountElements(const Columns& columns) {
  constexpr uint32_t ALL = ~0U;
  Cell* const atCells[3] = {nowhere.data(), cells.data(), cells.data()};
  Cell* const toCells[3] = {nowhere.data(), nowhere.data(), cells.data()};
  constexpr uint32_t atPlace[3] = {0, ALL, ALL};
  constexpr uint32_t atNowhere[3] = {NOWHERE - 1, 0, 0};
  constexpr uint32_t toNowhere[3] = {NOWHERE - 1, NOWHERE - 1, 0};
  constexpr uint32_t touches[3] = {0, ALL, 0};
  const uint32_t stride = columnCount;
  const uint32_t early =
      static_cast<uint32_t>(FIRST_IN_KEYFRAMES - std::min(record, FIRST_IN_KEYFRAMES));
  uint64_t last = record == 0 ? columns.cycle[0] : lastCycle;
  uint32_t passed = static_cast<uint32_t>(changes - segmentChanges);
  for (uint32_t i = 0; i < columns.size; ++i) {
    const uint32_t kind = columns.tag[i].type - SWITCH_RECORD;
    const bool change = columns.cycle[i] != last;
    const Touch touch = MakeTouch(passed, change, columns.tag[i].thread);
    const uint32_t sender = columns.at[i].row * stride + columns.at[i].column;
    const uint32_t receiver = columns.to[i].row * stride + columns.to[i].column;
    Cell& at = atCells[kind][(sender & atPlace[kind]) | (i & atNowhere[kind])];
    at.fires += kind & 1;
    at.sends += kind >> 1;
    at.touch = (at.touch & ~touches[kind]) | (touch & touches[kind]);
    // Of records that are no sends the receiver is (0, 0).
    ++toCells[kind][receiver | (i & toNowhere[kind])].receives;
    batchTouches[i] = touch;
    passed += change;
    last = columns.cycle[i];
    if (i < early) [[unlikely]] {
      batchTouches[i] = 0;
      at.touch = 0;
    }
  }
  changes = segmentChanges + passed;
}

void IndexBuilder::CountSwitches() {
  switchCells.resize(summarizer.SwitchCount());
  switchCodes.resize(summarizer.SwitchCount());
  for (const Summarizer::Transmission& transmission : summarizer.Transmissions()) {
    if (transmission.slot == PlaceTable::NONE) {
      complete = false;
      return;
    }
    SwitchCell& cell = switchCells[transmission.slot];
    ++cell.transmissions;
    cell.touch = batchTouches[transmission.record];
  }
}

void IndexBuilder::UpdateCodes() {
  const uint32_t passed = static_cast<uint32_t>(changes - segmentChanges);
  Update(codes, cells, TouchCode::ELEMENT_CAP, passed);
  Update(switchCodes, switchCells, TouchCode::SWITCH_CAP, passed);
}

// The activity of the segment that ends now; the cells start anew.
IndexBuilder::Node IndexBuilder::TakeSegment() {
  Node node;
  node.columns = columnCount;
  node.rows = rowCount;
  for (const Activity activity : {FIRES, SENDS, RECEIVES}) {
    node.sums[activity].resize(cells.size());
  }
  for (size_t i = 0; i < cells.size(); ++i) {
    node.sums[FIRES][i] = cells[i].fires;
    node.sums[SENDS][i] = cells[i].sends;
    node.sums[RECEIVES][i] = cells[i].receives;
    cells[i] = {};
  }
  for (SwitchCell& cell : switchCells) {
    node.sums[TRANSMISSIONS].push_back(cell.transmissions);
    cell = {};
  }
  return node;
}

void IndexBuilder::Node::Widen() {
  for (size_t activity = 0; activity < ACTIVITIES; ++activity) {
    wideSums[activity].assign(sums[activity].begin(), sums[activity].end());
    sums[activity] = {};
  }
}

// Of the same width; the part is never of a larger array: arrays only grow.
void IndexBuilder::Node::Add(const Node& part) {
  for (size_t activity = 0; activity < ACTIVITIES; ++activity) {
    const bool elements = activity != TRANSMISSIONS;
    const size_t cells = std::max(part.sums[activity].size(), part.wideSums[activity].size());
    const uint32_t width = elements ? part.columns : static_cast<uint32_t>(cells);
    const uint32_t height = elements ? part.rows : 1;
    if (part.sums[activity].empty()) {
      AddCells(part.wideSums[activity], width, height, wideSums[activity], columns);
    } else {
      AddCells(part.sums[activity], width, height, sums[activity], columns);
    }
  }
}

void IndexBuilder::EndSegment() {
  if (!complete) {
    segmentEnd = ~uint64_t{0};
    return;
  }
  IndexBoundary boundary;
  boundary.record = record;
  boundary.offset = offset;
  boundary.lastCycle = lastCycle;
  boundary.changes = changes;
  boundary.sample = sample;
  boundary.columns = columnCount;
  boundary.rows = rowCount;
  boundary.switches = static_cast<uint32_t>(switchCells.size());
  UpdateCodes();
  std::vector<uint8_t> keyframe = codes;
  keyframe.insert(keyframe.end(), switchCodes.begin(), switchCodes.end());
  boundary.keyframe = sink(keyframe);
  Node node = TakeSegment();
  const int levels = std::countr_zero(boundaries.size() + 1);
  for (int level = 1; level <= levels; ++level) {
    node.Add(nodes.back());
    nodes.pop_back();
    if (level == WIDE_LEVEL) {
      node.Widen();
    }
  }
  for (size_t activity = 0; activity < ACTIVITIES; ++activity) {
    boundary.node[activity] =
        sink(levels < WIDE_LEVEL ? Narrow(std::span<const uint32_t>(node.sums[activity]))
                                 : Narrow(std::span<const uint64_t>(node.wideSums[activity])));
  }
  nodes.push_back(std::move(node));
  boundaries.push_back(boundary);
  segmentChanges = changes;
  sample = 0;
  sampleLeft = SAMPLED_RECORDS;
  segmentEnd = record + SegmentLength();
  summarizer.Finish();
  atLastBoundary = summarizer.Get();
}

void IndexBuilder::Finish() { summarizer.Finish(); }

bool IndexBuilder::Resume(const Index& index, const Summary& summary, Fault& fault) {
  if (index.Boundaries().empty()) {
    return true;
  }
  boundaries.assign(index.Boundaries().begin(), index.Boundaries().end());
  const IndexBoundary& last = boundaries.back();
  for (const IndexEntry& entry : index.Entries()) {
    if (entry.record < last.record) {
      entries.push_back(entry);
    }
  }
  stride = index.Stride();
  nextEntry = entries.back().record + stride;
  summarizer = Summarizer(summary);
  atLastBoundary = summary;
  record = last.record;
  offset = last.offset;
  lastCycle = last.lastCycle;
  changes = last.changes;
  segmentChanges = changes;
  columnCount = last.columns;
  rowCount = last.rows;
  segmentEnd = record + SegmentLength();
  return ResumeCodes(index, fault) && ResumeNodes(index, fault);
}

bool IndexBuilder::ResumeCodes(const Index& index, Fault& fault) {
  std::vector<uint8_t> keyframe;
  if (!index.Keyframe(boundaries.size(), keyframe, fault)) {
    return false;
  }
  cells.resize(static_cast<size_t>(columnCount) * rowCount);
  switchCells.resize(keyframe.size() - cells.size());
  const auto switches = keyframe.begin() + static_cast<ptrdiff_t>(cells.size());
  codes.assign(keyframe.begin(), switches);
  switchCodes.assign(switches, keyframe.end());
  return true;
}

bool IndexBuilder::ResumeNodes(const Index& index, Fault& fault) {
  for (size_t b = boundaries.size(); b > 0; b &= b - 1) {
    Node node;
    node.columns = boundaries[b - 1].columns;
    node.rows = boundaries[b - 1].rows;
    for (const Activity activity : {FIRES, SENDS, RECEIVES, TRANSMISSIONS}) {
      std::vector<uint64_t> sums(activity == TRANSMISSIONS
                                     ? boundaries[b - 1].switches
                                     : static_cast<size_t>(node.columns) * node.rows);
      if (!index.AddNode(b, activity, 1, node.columns, node.rows, sums, fault)) {
        return false;
      }
      if (std::countr_zero(b) < WIDE_LEVEL) {
        node.sums[activity].assign(sums.begin(), sums.end());
      } else {
        node.wideSums[activity] = std::move(sums);
      }
    }
    nodes.insert(nodes.begin(), std::move(node));
  }
  return true;
}

}  // namespace marrowfin
