#include "trace/index/IndexBuilder.h"

#include <algorithm>
#include <bit>
#include <iterator>

#include "trace/index/SameTrace.h"

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
  summarizer.AddAllButThreads(columns);
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
  nextEntry = entries.back().record + stride;
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
  counted.cells.resize(Segment::CellsFor(newColumns, newRows));
  columnCount = newColumns;
  rowCount = newRows;
}

// Types follow each other at random as far as a processor can tell, so every record does the same:
// what does not concern it goes to cells that are nobody's.
void IndexBuilder::CountElements(const Columns& columns) {
  batch.Fill(columns, columnCount, rowCount, record == 0 ? columns.cycle[0] : lastCycle);
  Segment::Cell* const cells = counted.cells.data();
  uint32_t passed = static_cast<uint32_t>(changes - segmentChanges);
  const auto count = [&](size_t i, bool early) {
    __builtin_prefetch(cells + batch.at[i + BatchCells::AHEAD], 1);
    __builtin_prefetch(cells + batch.to[i + BatchCells::AHEAD], 1);
    const uint32_t kind = columns.tag[i].type - SWITCH_RECORD;
    const Touch apart = batch.touch[i];
    const Touch touch = early ? 0 : apart + (passed << TOUCH_CHANGES_SHIFT);
    passed += apart / TOUCH_CHANGE & 1;
    batch.touch[i] = touch;
    Segment::Cell& at = cells[batch.at[i]];
    at.fires = (at.fires + (kind & 1)) | batch.mark[i];
    at.sends += kind >> 1;
    const Touch fired = 0 - (kind & 1);  // a mask, since a compiler makes branches of conditions
    at.touch = (at.touch & ~fired) | (touch & fired);
    uint32_t& receives = cells[batch.to[i]].receives;
    receives = (receives + 1) | batch.mark[i];
  };
  size_t i = 0;
  for (; record + i < FIRST_IN_KEYFRAMES && i < columns.size; ++i) {
    count(i, true);
  }
  for (; i < columns.size; ++i) {
    count(i, false);
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
    cell.touch = batch.touch[transmission.record];
  }
}

// What the segment has brought to each thread is what has been counted since its start.
void IndexBuilder::CountThreads() {
  furtherTimes.TellThreads(summarizer);
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
  furtherTimes.TellThreads(summarizer);
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
  counted.cells.resize(Segment::CellsFor(columnCount, rowCount));
  counted.switchCells.resize(last.switches);
  Result<TimeTable> known = index.TimesAtLastBoundary();
  if (!known) {
    return known.Why();
  }
  times = std::move(known).Take();
  furtherTimes = TimeCounter(times);
  furtherTimes.ClearFor(times);
  return packer.Resume(index);
}

}  // namespace marrowfin
