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

constexpr uint64_t TOUCHED = uint64_t{1} << 63;

uint64_t MakeTouch(uint64_t changesBefore, bool change, uint32_t thread) {
  return TOUCHED | changesBefore << 4 | (change ? 8U : 0U) | thread % 6;
}

uint8_t CodeOf(uint64_t touch, unsigned cap, uint64_t changes) {
  if (touch == 0) {
    return 0;
  }
  const uint64_t age = changes - (touch & ~TOUCHED) / 16;
  return TouchCode::Encode(cap, touch & 7, age, (touch & 8) != 0);
}

uint64_t TouchOf(uint8_t code, unsigned cap, uint64_t changes) {
  const TouchCode touch(cap, code);
  return touch.touched ? MakeTouch(changes - std::min<uint64_t>(touch.age, changes), touch.change,
                                   touch.thread)
                       : 0;
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
  MakeTouches(columns);
  if (complete) {
    CountElements(columns);
    CountSwitches(columns);
  }
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
  elementTouches = Relayout(elementTouches, columnCount, rowCount, newColumns, newRows);
  for (const Activity activity : {FIRES, SENDS, RECEIVES}) {
    counts[activity] = Relayout(counts[activity], columnCount, rowCount, newColumns, newRows);
  }
  columnCount = newColumns;
  rowCount = newRows;
}

void IndexBuilder::MakeTouches(const Columns& columns) {
  uint64_t last = record == 0 ? columns.cycle[0] : lastCycle;
  for (size_t i = 0; i < columns.size; ++i) {
    const uint64_t cycle = columns.cycle[i];
    const bool change = cycle != last;
    batchTouches[i] = MakeTouch(changes, change, columns.tag[i].thread);
    changes += change;
    last = cycle;
  }
  lastCycle = last;
  for (uint64_t early = record; early < FIRST_IN_KEYFRAMES && early - record < columns.size;
       ++early) {
    batchTouches[early - record] = 0;
  }
}

// Types follow each other at random as far as a processor can tell, so every record does the same:
// what does not concern it goes nowhere.
void IndexBuilder::CountElements(const Columns& columns) {
  uint32_t* const at[3] = {uncounted.data(), counts[FIRES].data(), counts[SENDS].data()};
  uint32_t* const to[3] = {uncounted.data(), uncounted.data(), counts[RECEIVES].data()};
  Touch* const touched[3] = {untouched.data(), elementTouches.data(), untouched.data()};
  for (size_t i = 0; i < columns.size; ++i) {
    const uint32_t kind = columns.tag[i].type - SWITCH_RECORD;
    const size_t nowhere = i % NOWHERE;
    const size_t sender =
        static_cast<size_t>(columns.at[i].row) * columnCount + columns.at[i].column;
    const size_t receiver =
        static_cast<size_t>(columns.to[i].row) * columnCount + columns.to[i].column;
    ++at[kind][kind != 0 ? sender : nowhere];
    ++to[kind][kind == 2 ? receiver : nowhere];
    Touch& touch = touched[kind][kind == 1 ? sender : nowhere];
    touch = batchTouches[i] != 0 ? batchTouches[i] : touch;
  }
}

void IndexBuilder::CountSwitches(const Columns& columns) {
  if (columns.switches == 0) {
    return;
  }
  const size_t known = summarizer.SwitchCount();
  switchTouches.resize(known);
  counts[TRANSMISSIONS].resize(known);
  for (size_t i = 0; i < columns.size; ++i) {
    if (columns.tag[i].type != SWITCH_RECORD) {
      continue;
    }
    const uint32_t slot = summarizer.SwitchSlot(columns.at[i]);
    if (slot == PlaceTable::NONE) {
      complete = false;
      return;
    }
    ++counts[TRANSMISSIONS][slot];
    switchTouches[slot] = batchTouches[i] != 0 ? batchTouches[i] : switchTouches[slot];
  }
}

std::vector<uint8_t> IndexBuilder::KeyframeCodes() const {
  std::vector<uint8_t> codes;
  codes.reserve(elementTouches.size() + switchTouches.size());
  for (const Touch touch : elementTouches) {
    codes.push_back(CodeOf(touch, TouchCode::ELEMENT_CAP, changes));
  }
  for (const Touch touch : switchTouches) {
    codes.push_back(CodeOf(touch, TouchCode::SWITCH_CAP, changes));
  }
  return codes;
}

// The activity of the segment that ends now; the counters start anew.
IndexBuilder::Node IndexBuilder::TakeSegment() {
  Node node;
  node.columns = columnCount;
  node.rows = rowCount;
  for (size_t activity = 0; activity < ACTIVITIES; ++activity) {
    node.sums[activity].assign(counts[activity].begin(), counts[activity].end());
    std::fill(counts[activity].begin(), counts[activity].end(), 0);
  }
  return node;
}

// Parts are never larger than the sum: arrays only grow.
void IndexBuilder::AddTo(Node& sum, const Node& part) {
  for (const Activity activity : {FIRES, SENDS, RECEIVES}) {
    for (uint32_t row = 0; row < part.rows; ++row) {
      const uint64_t* from = part.sums[activity].data() + static_cast<size_t>(row) * part.columns;
      uint64_t* to = sum.sums[activity].data() + static_cast<size_t>(row) * sum.columns;
      std::transform(from, from + part.columns, to, to, std::plus<>());
    }
  }
  for (size_t slot = 0; slot < part.sums[TRANSMISSIONS].size(); ++slot) {
    sum.sums[TRANSMISSIONS][slot] += part.sums[TRANSMISSIONS][slot];
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
  boundary.switches = static_cast<uint32_t>(switchTouches.size());
  boundary.keyframe = sink(KeyframeCodes());
  Node node = TakeSegment();
  const size_t number = boundaries.size() + 1;
  for (int level = std::countr_zero(number); level > 0; --level) {
    AddTo(node, nodes.back());
    nodes.pop_back();
  }
  for (size_t activity = 0; activity < ACTIVITIES; ++activity) {
    boundary.node[activity] = sink(Narrow(node.sums[activity]));
  }
  nodes.push_back(std::move(node));
  boundaries.push_back(boundary);
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
  columnCount = last.columns;
  rowCount = last.rows;
  segmentEnd = record + SegmentLength();
  return ResumeTouches(index, fault) && ResumeNodes(index, fault);
}

bool IndexBuilder::ResumeTouches(const Index& index, Fault& fault) {
  std::vector<uint8_t> codes;
  if (!index.Keyframe(boundaries.size(), codes, fault)) {
    return false;
  }
  const size_t elements = static_cast<size_t>(columnCount) * rowCount;
  for (size_t i = 0; i < codes.size(); ++i) {
    const bool element = i < elements;
    const unsigned cap = element ? TouchCode::ELEMENT_CAP : TouchCode::SWITCH_CAP;
    (element ? elementTouches : switchTouches).push_back(TouchOf(codes[i], cap, changes));
  }
  for (const Activity activity : {FIRES, SENDS, RECEIVES}) {
    counts[activity].resize(elements);
  }
  counts[TRANSMISSIONS].resize(switchTouches.size());
  return true;
}

bool IndexBuilder::ResumeNodes(const Index& index, Fault& fault) {
  for (size_t b = boundaries.size(); b > 0; b &= b - 1) {
    Node node;
    node.columns = boundaries[b - 1].columns;
    node.rows = boundaries[b - 1].rows;
    for (const Activity activity : {FIRES, SENDS, RECEIVES, TRANSMISSIONS}) {
      std::vector<uint64_t>& sums = node.sums[activity];
      sums.resize(activity == TRANSMISSIONS ? boundaries[b - 1].switches
                                            : static_cast<size_t>(node.columns) * node.rows);
      if (!index.AddNode(b, activity, 1, node.columns, node.rows, sums, fault)) {
        return false;
      }
    }
    nodes.insert(nodes.begin(), std::move(node));
  }
  return true;
}

}  // namespace marrowfin
