#include "trace/index/IndexBuilder.h"

#include <algorithm>
#include <bit>
#include <iterator>

#include "trace/index/SameTrace.h"

#include "trace/index/ThreadMask.h"

namespace marrowfin {

namespace {

// Records 0 and 1 are left out of keyframes: the viewer skips the first one, and the step of the
// one after a skip follows a rule of its own. Whoever asks for a state applies them to the
// keyframe.
constexpr uint64_t FIRST_IN_KEYFRAMES = 2;

uint64_t PowerFor(uint64_t extent) { return extent == 0 ? 0 : std::bit_ceil(extent); }

}  // namespace

IndexBuilder::IndexBuilder(SegmentPacker::Sink sink, IndexLimits limits)
    : limits(limits),
      packer(std::move(sink), limits),
      times(limits.timeCells),
      furtherTimes(times),
      stride(limits.entryRecords),
      sampleLeft(SAMPLED_RECORDS) {
  segmentEnd = SegmentLength();
  // Room that nobody touched yet takes no memory, and a table that grows would be there twice.
  entries.reserve(limits.entries);
}

// Long enough that a segment's records outweigh the cells of its node, short enough that a state is
// decoded from a keyframe in a fraction of a millisecond.
uint64_t IndexBuilder::SegmentLength() const {
  const uint64_t elements = static_cast<uint64_t>(columnCount) * rowCount;
  return std::min(segmentScale * std::max(limits.segmentRecords, 2 * elements),
                  IndexLimits::LARGEST_SEGMENT);
}

// Entries and boundaries stand between batches, so no batch needs to be split.
void IndexBuilder::Add(const Columns& columns) {
  if (record >= nextEntry) {
    AddEntry(columns);
  }
  Sample(columns);
  summarizer.Add(columns);
  furtherTimes.Add(columns, summarizer);
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
  if (entries.size() >= limits.entries) {
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

// Lets the cells cover the array so far, if they can.
void IndexBuilder::MakeRoom() {
  const Extent& array = summarizer.Get().array;
  const uint64_t columns = std::max<uint64_t>(columnCount, PowerFor(array.columns));
  const uint64_t rows = std::max<uint64_t>(rowCount, PowerFor(array.rows));
  if (columns == columnCount && rows == rowCount) {
    return;
  }
  if (columns > IndexLimits::MAX_ELEMENTS || columns * rows > IndexLimits::MAX_ELEMENTS) {
    complete = false;
    return;
  }
  const uint32_t newColumns = static_cast<uint32_t>(columns);
  const uint32_t newRows = static_cast<uint32_t>(rows);
  counted.cells = Relayout(counted.cells, columnCount, rowCount, newColumns, newRows);
  counted.cells.resize(CellsFor(newColumns, newRows));
  columnCount = newColumns;
  rowCount = newRows;
}

bool IndexBuilder::HasFarEnds(const Columns& columns) const {
  return columns.sends > 0 &&
         (columns.maxSent.column >= columnCount || columns.maxSent.row >= rowCount);
}

// Those places of the batch that have no cell are replaced by that of the cell that is nobody's.
const Place* IndexBuilder::Near(const Columns& columns, const Place* places,
                                NearPlaces& near) const {
  const Place nobody = {columnCount * rowCount, 0};
  for (size_t i = 0; i < columns.size; ++i) {
    const bool has = columns.tag[i].type != SEND_RECORD ||
                     (places[i].column < columnCount && places[i].row < rowCount);
    near[i] = has ? places[i] : nobody;
  }
  return near.data();
}

void IndexBuilder::CountElements(const Columns& columns) {
  if (HasFarEnds(columns)) {
    NearPlaces at;
    NearPlaces to;
    CountElements(columns, Near(columns, columns.at, at), Near(columns, columns.to, to));
  } else {
    CountElements(columns, columns.at, columns.to);
  }
}

// Types follow each other at random as far as a processor can tell, so every record does the same:
// what does not concern it goes nowhere. Tables and masks by type, since a compiler makes branches
// of conditions.
void IndexBuilder::CountElements(const Columns& columns, const Place* places,
                                 const Place* receivers) {
  constexpr uint32_t ALL = ~0U;
  Segment::Cell* const atCells[3] = {nowhere.data(), counted.cells.data(), counted.cells.data()};
  Segment::Cell* const toCells[3] = {nowhere.data(), nowhere.data(), counted.cells.data()};
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
    const uint32_t thread = columns.tag[i].thread;
    const Touch touch = MakeTouch(passed, change, thread);
    const uint32_t mark = uint32_t{1} << Segment::Cell::MASK_SHIFT << ThreadMask::ClassOf(thread);
    const uint32_t sender = places[i].row * stride + places[i].column;
    const uint32_t receiver = receivers[i].row * stride + receivers[i].column;
    Segment::Cell& at = atCells[kind][(sender & atPlace[kind]) | (i & atNowhere[kind])];
    at.fires = (at.fires + (kind & 1)) | mark;
    at.sends += kind >> 1;
    at.touch = (at.touch & ~touches[kind]) | (touch & touches[kind]);
    // Of records that are no sends the receiver is (0, 0).
    uint32_t& receives = toCells[kind][receiver | (i & toNowhere[kind])].receives;
    receives = (receives + 1) | mark;
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
  counted.switchCells.resize(summarizer.SwitchCount());
  for (const Summarizer::Transmission& transmission : summarizer.Transmissions()) {
    if (transmission.slot == PlaceTable::NONE) {
      complete = false;
      return;
    }
    Segment::SwitchCell& cell = counted.switchCells[transmission.slot];
    ++cell.transmissions;
    cell.touch = batchTouches[transmission.record];
  }
}

// What the segment has brought to each thread is what has been counted since its start.
void IndexBuilder::CountThreads() {
  const std::span<const uint64_t> counts = summarizer.ThreadCounts();
  segmentThreads.resize(counts.size());
  counted.threadCounts.resize(counts.size());
  for (size_t i = 0; i < counts.size(); ++i) {
    counted.threadCounts[i] = static_cast<uint32_t>(counts[i] - segmentThreads[i]);
    segmentThreads[i] = counts[i];
  }
}

// The segment is packed while the next one is counted into the cells of the one before.
void IndexBuilder::EndSegment() {
  if (!complete) {
    segmentEnd = ~uint64_t{0};
    return;
  }
  IndexBoundary& boundary = counted.boundary;
  boundary.record = record;
  boundary.offset = offset;
  boundary.lastCycle = lastCycle;
  boundary.changes = changes;
  boundary.sample = sample;
  boundary.columns = columnCount;
  boundary.rows = rowCount;
  boundary.switches = static_cast<uint32_t>(counted.switchCells.size());
  boundary.threadSlots = static_cast<uint32_t>(summarizer.Get().ThreadSlots());
  boundary.farEnds = summarizer.Get().far.count;
  counted.changes = static_cast<uint32_t>(changes - segmentChanges);
  CountThreads();
  background.Wait();
  HalveBoundaries();
  std::swap(counted, packed);
  counted.cells.resize(packed.cells.size());
  counted.switchCells.resize(packed.switchCells.size());
  background.Run([this] { packer.Add(packed); });
  segmentChanges = changes;
  sample = 0;
  sampleLeft = SAMPLED_RECORDS;
  segmentEnd = record + SegmentLength();
  summarizer.Finish();
  atLastBoundary = summarizer.Get();
  static_cast<void>(times.Merge(furtherTimes.Get()));  // whose threads were copied from there
  furtherTimes.ClearFor(times);
}

// Segments may differ in length, so those that follow simply take twice as many records. Above the
// largest segment a counter of a cell could overflow, and the table grows after all.
void IndexBuilder::HalveBoundaries() {
  const size_t boundaries = packer.Boundaries().size();
  if (boundaries >= limits.boundaries && boundaries % 2 == 0 &&
      2 * SegmentLength() <= IndexLimits::LARGEST_SEGMENT) {
    packer.Halve();
    segmentScale *= 2;
  }
}

void IndexBuilder::Finish() {
  background.Wait();
  summarizer.Finish();
}

IndexTables IndexBuilder::TakeTables() {
  IndexTables tables;
  tables.summary = summarizer.Get();
  tables.atLastBoundary = std::move(atLastBoundary);
  tables.complete = complete;
  tables.stride = stride;
  tables.entries = std::move(entries);
  tables.boundaries = packer.TakeBoundaries();
  return tables;
}

IndexTables IndexBuilder::TablesAtLastBoundary() {
  background.Wait();
  IndexTables tables;
  tables.summary = atLastBoundary;
  tables.atLastBoundary = atLastBoundary;
  tables.complete = complete;
  tables.stride = stride;
  tables.boundaries = packer.Boundaries();
  std::copy_if(entries.begin(), entries.end(), std::back_inserter(tables.entries),
               [&](const IndexEntry& entry) { return entry.record < atLastBoundary.records; });
  return tables;
}

Fault IndexBuilder::Resume(const Index& index, const Summary& summary) {
  if (index.Boundaries().empty()) {
    return {};
  }
  const IndexBoundary& last = index.Boundaries().back();
  for (const IndexEntry& entry : index.Entries()) {
    if (entry.record < last.record) {
      entries.push_back(entry);
    }
  }
  stride = index.Stride();
  nextEntry = entries.back().record + stride;
  summarizer = Summarizer(summary);
  segmentThreads.assign(summarizer.ThreadCounts().begin(), summarizer.ThreadCounts().end());
  atLastBoundary = summary;
  record = last.record;
  offset = last.offset;
  lastCycle = last.lastCycle;
  changes = last.changes;
  segmentChanges = changes;
  columnCount = last.columns;
  rowCount = last.rows;
  segmentScale =
      std::bit_floor(std::max<uint64_t>(1, record / index.Boundaries().size() / SegmentLength()));
  segmentEnd = record + SegmentLength();
  counted.cells.resize(CellsFor(columnCount, rowCount));
  counted.switchCells.resize(last.switches);
  Result<TimeTable> known = index.TimesAtLastBoundary();
  if (!known) {
    return known.Why();
  }
  times = std::move(known).Take();
  furtherTimes = TimeCounter(times, summarizer);
  furtherTimes.ClearFor(times);
  return packer.Resume(index);
}

}  // namespace marrowfin
