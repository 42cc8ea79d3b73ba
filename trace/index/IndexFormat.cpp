#include "trace/index/IndexFormat.h"

#include <zlib.h>

#include <algorithm>
#include <bit>
#include <cstring>

#include "trace/base/BigEndian.h"
#include "trace/base/Bytes.h"
#include "trace/base/PlaceTable.h"
#include "trace/base/Record.h"
#include "trace/index/ThreadMask.h"
#include "trace/read/MalformedRecord.h"

namespace marrowfin {

namespace {

// More than any index has; an index is read whole when it is opened.
constexpr size_t MAX_ENTRIES = 65536;

void PutExtent(ByteWriter& out, const Extent& extent) {
  out.Number(extent.columns);
  out.Number(extent.rows);
}

Extent GetExtent(ByteReader& in) {
  Extent extent;
  extent.columns = in.Number();
  extent.rows = in.Number();
  return extent;
}

void PutFault(ByteWriter& out, const Fault& fault) {
  out.Number(static_cast<uint64_t>(fault.kind));
  out.Number(fault.numbers[0]);
  out.Number(fault.numbers[1]);
}

// The fault that ends a trace, behind its whole records: nothing but a malformed record does, and
// of that words are made from numbers. Anything else has a kind and no reason.
Fault GetFault(ByteReader& in, uint64_t record, uint64_t offset) {
  const uint64_t kind = in.Number();
  const uint64_t first = in.Number();
  const uint64_t second = in.Number();
  Fault fault;
  if (kind != Fault::NONE) {
    const bool known = kind <= Fault::WRONG_LENGTH;
    fault.kind = known ? static_cast<Fault::Kind>(kind) : Fault::DAMAGED_INPUT;
    fault = MalformedRecord(fault.kind, {first, second}).value_or(fault);
    fault.record = record;
    fault.offset = offset;
  }
  return fault;
}

bool IsEndSound(const Fault& end) { return !end || !end.reason.empty(); }

// Those that are told apart, in the order of their slots.
void PutThreads(ByteWriter& out, const Summary& s) {
  const auto firstLarge = s.threads.lower_bound(Summary::SMALL_THREADS);
  out.Number(static_cast<uint64_t>(std::distance(s.threads.begin(), firstLarge)) +
             s.largeThreads.size());
  for (auto small = s.threads.begin(); small != firstLarge; ++small) {
    out.Number(small->first);
    out.Number(small->second);
  }
  for (const uint32_t thread : s.largeThreads) {
    const auto found = s.threads.find(thread);
    out.Number(thread);
    out.Number(found == s.threads.end() ? 0 : found->second);
  }
}

void GetThreads(ByteReader& in, Summary& s) {
  for (size_t left = in.Count(Summary::SMALL_THREADS + Summary::MAX_THREADS); left > 0 && in.Good();
       --left) {
    const uint32_t thread = static_cast<uint32_t>(in.Number());
    s.threads[thread] = in.Number();
    if (thread >= Summary::SMALL_THREADS) {
      s.largeThreads.push_back(thread);
    }
  }
}

void PutSummary(ByteWriter& out, const Summary& s) {
  for (const uint64_t number : {s.records, s.bytes, s.switches, s.fires, s.sends, s.firstCycle,
                                s.lastCycle, s.maxCycle, s.changes, s.falls, s.firstFall}) {
    out.Number(number);
  }
  PutExtent(out, s.fired);
  PutExtent(out, s.sent);
  PutExtent(out, s.array);
  out.Number(s.far.count);
  out.Number(s.far.column);
  out.Number(s.far.row);
  PutThreads(out, s);
  out.Number(s.otherThreads);
  out.Number(s.switchPlaces.size());
  for (const Place& place : s.switchPlaces) {
    out.Number(place.column);
    out.Number(place.row);
  }
  out.Number(s.switchesComplete ? 1 : 0);
  PutFault(out, s.end);
}

Summary GetSummary(ByteReader& in) {
  Summary s;
  for (uint64_t* number : {&s.records, &s.bytes, &s.switches, &s.fires, &s.sends, &s.firstCycle,
                           &s.lastCycle, &s.maxCycle, &s.changes, &s.falls, &s.firstFall}) {
    *number = in.Number();
  }
  s.fired = GetExtent(in);
  s.sent = GetExtent(in);
  s.array = GetExtent(in);
  s.far.count = in.Number();
  s.far.column = in.Number();
  s.far.row = in.Number();
  GetThreads(in, s);
  s.otherThreads = in.Number();
  for (size_t left = in.Count(Summary::MAX_SWITCHES); left > 0 && in.Good(); --left) {
    const uint32_t column = static_cast<uint32_t>(in.Number());
    s.switchPlaces.push_back({column, static_cast<uint32_t>(in.Number())});
  }
  s.switchesComplete = in.Number() != 0;
  s.end = GetFault(in, s.records, s.bytes);
  return s;
}

void PutEntries(ByteWriter& out, const std::vector<IndexEntry>& entries) {
  out.Number(entries.size());
  IndexEntry last;
  for (const IndexEntry& entry : entries) {
    out.Number(entry.record - last.record);
    out.Number(entry.offset - last.offset);
    out.Signed(static_cast<int64_t>(entry.cycle - last.cycle));
    out.Number(entry.changes - last.changes);
    last = entry;
  }
}

void GetEntries(ByteReader& in, std::vector<IndexEntry>& entries) {
  IndexEntry last;
  const size_t count = in.Count(MAX_ENTRIES);
  entries.reserve(count);
  for (size_t left = count; left > 0 && in.Good(); --left) {
    last.record += in.Number();
    last.offset += in.Number();
    last.cycle += static_cast<uint64_t>(in.Signed());
    last.changes += in.Number();
    entries.push_back(last);
  }
}

void PutSection(ByteWriter& out, const IndexSection& section) {
  out.Number(section.offset);
  out.Number(section.packedSize);
  out.Number(section.rawSize);
}

IndexSection GetSection(ByteReader& in) {
  IndexSection section;
  section.offset = in.Number();
  section.packedSize = in.Number();
  section.rawSize = in.Number();
  return section;
}

void PutBoundary(ByteWriter& out, const IndexBoundary& b, const IndexBoundary& last) {
  out.Number(b.record - last.record);
  out.Number(b.offset - last.offset);
  out.Number(b.lastCycle);
  out.Number(b.changes - last.changes);
  out.Number(b.sample);
  out.Number(b.columns);
  out.Number(b.rows);
  out.Number(b.switches);
  out.Number(b.threadSlots);
  out.Number(b.farEnds - last.farEnds);
  PutSection(out, b.keyframe);
  for (const IndexSection& section : b.node) {
    PutSection(out, section);
  }
  out.Number(b.masks.size());
  for (const IndexSection& section : b.masks) {
    PutSection(out, section);
  }
}

// Each takes at least a byte.
constexpr size_t NUMBERS_OF_BOUNDARY = 10 + 3 * (1 + ACTIVITIES) + 1;

// More levels than there are of boundaries.
constexpr size_t MAX_MASKS = 32;

IndexBoundary GetBoundary(ByteReader& in, const IndexBoundary& last) {
  IndexBoundary b;
  b.record = last.record + in.Number();
  b.offset = last.offset + in.Number();
  b.lastCycle = in.Number();
  b.changes = last.changes + in.Number();
  b.sample = static_cast<uint32_t>(in.Number());
  b.columns = static_cast<uint32_t>(in.Number());
  b.rows = static_cast<uint32_t>(in.Number());
  b.switches = static_cast<uint32_t>(in.Number());
  b.threadSlots = static_cast<uint32_t>(in.Number());
  b.farEnds = last.farEnds + in.Number();
  b.keyframe = GetSection(in);
  for (IndexSection& section : b.node) {
    section = GetSection(in);
  }
  b.masks.resize(in.Count(MAX_MASKS));
  for (IndexSection& section : b.masks) {
    section = GetSection(in);
  }
  return b;
}

// Whether a section lies before the directory and is not larger than packing can make it.
bool IsInside(const IndexSection& section, uint64_t dataSize) {
  return section.offset <= dataSize && section.packedSize <= dataSize - section.offset &&
         section.packedSize <= section.rawSize + section.rawSize / 128 + 1024;
}

// Whether `records` records can take `bytes` bytes.
bool CanTake(uint64_t records, uint64_t bytes) {
  return records <= bytes / SMALL_RECORD && bytes - records * SMALL_RECORD <= records * PLACE_SIZE;
}

bool AreThreadsSound(const Summary& s) {
  uint64_t left = s.records;
  size_t large = 0;
  for (const auto& [thread, count] : s.threads) {
    large += thread >= Summary::SMALL_THREADS ? 1 : 0;
    if (count > left) {
      return false;
    }
    left -= count;
  }
  return s.otherThreads == left && large == s.largeThreads.size();
}

bool ArePlacesSound(const Summary& s) {
  PlaceTable table;
  for (const Place& place : s.switchPlaces) {
    table.Add(place);
  }
  return table.Places().size() == s.switchPlaces.size() &&
         s.switchPlaces.empty() == (s.switches == 0);
}

bool IsExtentSound(const Extent& extent, uint64_t records) {
  constexpr uint64_t MOST = uint64_t{1} << 32;
  return extent.columns <= MOST && extent.rows <= MOST && (extent.columns == 0) == (records == 0) &&
         (extent.rows == 0) == (records == 0);
}

// Whether the array has all fires and no more than all places.
bool IsArraySound(const Summary& s) {
  const auto holds = [](uint64_t array, uint64_t fired, uint64_t sent) {
    return array >= fired && array <= std::max(fired, sent);
  };
  return holds(s.array.columns, s.fired.columns, s.sent.columns) &&
         holds(s.array.rows, s.fired.rows, s.sent.rows) &&
         (s.array.columns == 0) == (s.array.rows == 0);
}

// Whether the places of far ends are among those of ends, where there are any.
bool AreFarEndsSound(const Summary& s) {
  const auto holds = [](uint64_t least, uint64_t extent) {
    return least < extent || least == FarEnds::NOWHERE;
  };
  const bool somewhere = s.far.column != FarEnds::NOWHERE || s.far.row != FarEnds::NOWHERE;
  return s.far.count <= 2 * s.sends && somewhere == (s.far.count > 0) &&
         holds(s.far.column, s.sent.columns) && holds(s.far.row, s.sent.rows);
}

bool IsSummarySound(const Summary& s, uint64_t traceSize) {
  return s.bytes <= traceSize && CanTake(s.records, s.bytes) && s.sends <= s.records &&
         s.bytes == s.records * SMALL_RECORD + s.sends * PLACE_SIZE &&
         s.switches <= s.records - s.sends && s.fires == s.records - s.sends - s.switches &&
         s.changes <= s.records && s.falls <= s.changes && s.firstFall <= s.records &&
         IsExtentSound(s.fired, s.fires) && IsExtentSound(s.sent, s.sends) && IsArraySound(s) &&
         AreFarEndsSound(s) && AreThreadsSound(s) && ArePlacesSound(s) && IsEndSound(s.end);
}

// Whether the tables lie within the trace that the summary tells of, and ascend.
bool AreEntriesSound(const IndexTables& d) {
  if (d.entries.empty() != (d.summary.records == 0)) {
    return false;
  }
  IndexEntry last;
  for (size_t i = 0; i < d.entries.size(); ++i) {
    const IndexEntry& entry = d.entries[i];
    const bool ascends =
        i == 0 ? entry.record == 0 && entry.offset == 0 && entry.changes == 0
               : entry.record > last.record && entry.offset > last.offset &&
                     CanTake(entry.record - last.record, entry.offset - last.offset) &&
                     entry.changes >= last.changes;
    if (!ascends || entry.record >= d.summary.records || entry.offset >= d.summary.bytes ||
        entry.changes > d.summary.changes) {
      return false;
    }
    last = entry;
  }
  return true;
}

bool IsSide(uint32_t side) { return side == 0 || std::has_single_bit(side); }

// A node's counts take at most 64 bits each, behind a byte.
bool AreNodesSound(const IndexBoundary& b, uint64_t dataSize) {
  for (size_t activity = 0; activity < ACTIVITIES; ++activity) {
    const uint64_t largest = 1 + 8 * uint64_t{CountersOf(b, static_cast<Activity>(activity))};
    if (b.node[activity].rawSize > largest || !IsInside(b.node[activity], dataSize)) {
      return false;
    }
  }
  return true;
}

bool AreMasksSound(const IndexBoundary& b, size_t number, uint64_t dataSize) {
  const uint64_t largest = ThreadMask::Largest(uint64_t{b.columns} * b.rows);
  return b.masks.size() <= static_cast<size_t>(std::countr_zero(number)) + 1 &&
         std::all_of(b.masks.begin(), b.masks.end(), [&](const IndexSection& section) {
           return section.rawSize <= largest && IsInside(section, dataSize);
         });
}

bool IsBoundarySound(const IndexBoundary& b, size_t number, const IndexBoundary& last,
                     const IndexTables& d, uint64_t dataSize) {
  const uint64_t elements = static_cast<uint64_t>(b.columns) * b.rows;
  const bool ascends = b.record > last.record && b.record <= d.summary.records &&
                       b.offset > last.offset && b.offset <= d.summary.bytes &&
                       (b.record == d.summary.records) == (b.offset == d.summary.bytes) &&
                       CanTake(b.record - last.record, b.offset - last.offset) &&
                       b.changes >= last.changes && b.changes <= d.summary.changes &&
                       b.columns >= last.columns && b.rows >= last.rows &&
                       b.switches >= last.switches && b.farEnds >= last.farEnds;
  const bool fits = IsSide(b.columns) && IsSide(b.rows) && (b.columns == 0) == (b.rows == 0) &&
                    elements <= IndexLimits::MAX_ELEMENTS &&
                    b.switches <= d.summary.switchPlaces.size() &&
                    b.threadSlots >= last.threadSlots && b.threadSlots <= d.summary.ThreadSlots() &&
                    b.keyframe.rawSize == elements + b.switches && IsInside(b.keyframe, dataSize);
  return ascends && fits && AreNodesSound(b, dataSize) && AreMasksSound(b, number, dataSize);
}

bool AreBoundariesSound(const IndexTables& d, uint64_t dataSize) {
  IndexBoundary last;
  size_t number = 0;
  for (const IndexBoundary& b : d.boundaries) {
    if (!IsBoundarySound(b, ++number, last, d, dataSize)) {
      return false;
    }
    last = b;
  }
  const std::vector<Place>& places = d.summary.switchPlaces;
  const std::vector<Place>& before = d.atLastBoundary.switchPlaces;
  const bool slotted = d.boundaries.empty() || d.atLastBoundary.ThreadSlots() == last.threadSlots;
  return d.atLastBoundary.records == last.record && slotted &&
         d.atLastBoundary.far.count == last.farEnds && last.farEnds <= d.summary.far.count &&
         before.size() == last.switches && std::equal(before.begin(), before.end(), places.begin());
}

bool AreTimesInside(const IndexTables& d, uint64_t dataSize) {
  return d.times.rawSize <= TimeTable::LARGEST && IsInside(d.times, dataSize) &&
         d.furtherTimes.rawSize <= TimeTable::LARGEST && IsInside(d.furtherTimes, dataSize);
}

// Whether the cells reach from the first cycle to the last one that the summary knows.
bool HaveCyclesOf(const TimeTable& table, const Summary& s) {
  if (s.records == 0 || table.Cells() == 0) {
    return s.records == 0 && table.Cells() == 0;
  }
  const uint64_t firstCell = s.firstCycle >> table.Shift();
  return table.First() + (table.Cells() - 1) == s.maxCycle >> table.Shift() &&
         (s.Ordered() ? table.First() == firstCell : table.First() <= firstCell);
}

// Whether the counts are as many of each thread and type as the summary tells.
bool HaveCountsOf(const TimeTable& table, const Summary& s) {
  const std::vector<size_t> whole = {0, table.Cells()};
  const uint64_t ofType[TimeTable::TYPES] = {s.switches, s.fires, s.sends};
  uint64_t types[TimeTable::TYPES] = {};
  for (size_t slot = 0; slot < TimeTable::SLOTS; ++slot) {
    uint64_t records = 0;
    for (size_t type = 0; type < TimeTable::TYPES; ++type) {
      const size_t column = TimeTable::ColumnOf(slot, type);
      // What is too large by itself could come out right in the sum.
      for (size_t cell = 0; cell < table.Cells(); ++cell) {
        if (table.Count(column, cell) > ofType[type] - types[type]) {
          return false;
        }
        types[type] += table.Count(column, cell);
        records += table.Count(column, cell);
      }
    }
    if (slot < table.Threads().size()) {
      const auto thread = s.threads.find(table.Threads()[slot]);
      if (thread == s.threads.end() || thread->second != records) {
        return false;
      }
    }
  }
  return std::equal(std::begin(types), std::end(types), std::begin(ofType));
}

bool IsOf(const TimeTable& table, const Summary& s) {
  return table.Threads().size() == std::min(TimeTable::THREADS, s.threads.size()) &&
         HaveCyclesOf(table, s) && HaveCountsOf(table, s);
}

// Whether what is kept of every element fits the array that it may be kept of.
bool IsCompletenessSound(const IndexTables& d) {
  const Summary& s = d.summary;
  const uint64_t columns = s.array.columns;
  return !d.complete ||
         (s.switchesComplete && columns <= IndexLimits::MAX_ELEMENTS &&
          std::bit_ceil(columns) * std::bit_ceil(s.array.rows) <= IndexLimits::MAX_ELEMENTS);
}

}  // namespace

// The tables of bounded length take less than 8 MiB, and a boundary, of which there is none in less
// than 112 KiB of a trace, less than 224 bytes.
uint64_t LargestDirectory(uint64_t traceSize) { return (8 << 20) + traceSize / 512; }

std::vector<uint8_t> EncodeDirectory(const IndexTables& tables) {
  ByteWriter out;
  // What rows of the tables take as a rule.
  out.Reserve(tables.entries.size() * 10 + tables.boundaries.size() * 64 + 65536);
  out.Number(tables.trace.size);
  out.Number(tables.trace.modified);
  out.Number(tables.trace.changed);
  out.Number(tables.trace.inode);
  out.Number(tables.trace.edges);
  PutSummary(out, tables.summary);
  PutSummary(out, tables.atLastBoundary);
  out.Number(tables.complete ? 1 : 0);
  out.Number(tables.stride);
  PutEntries(out, tables.entries);
  out.Number(tables.boundaries.size());
  IndexBoundary last;
  for (const IndexBoundary& boundary : tables.boundaries) {
    PutBoundary(out, boundary, last);
    last = boundary;
  }
  PutSection(out, tables.times);
  PutSection(out, tables.furtherTimes);
  return out.Take();
}

bool DecodeDirectory(std::span<const uint8_t> bytes, uint64_t dataSize, IndexTables& tables) {
  ByteReader in(bytes.data(), bytes.size());
  tables = IndexTables();
  tables.trace.size = in.Number();
  tables.trace.modified = in.Number();
  tables.trace.changed = in.Number();
  tables.trace.inode = in.Number();
  tables.trace.edges = static_cast<uint32_t>(in.Number());
  tables.summary = GetSummary(in);
  tables.atLastBoundary = GetSummary(in);
  tables.complete = in.Number() != 0;
  tables.stride = in.Number();
  GetEntries(in, tables.entries);
  IndexBoundary last;
  const size_t boundaries = in.Count(bytes.size() / NUMBERS_OF_BOUNDARY);
  tables.boundaries.reserve(boundaries);
  for (size_t left = boundaries; left > 0 && in.Good(); --left) {
    last = GetBoundary(in, last);
    tables.boundaries.push_back(last);
  }
  tables.times = GetSection(in);
  tables.furtherTimes = GetSection(in);
  return in.Good() && in.AtEnd() && tables.stride > 0 &&
         IsSummarySound(tables.summary, tables.trace.size) &&
         IsSummarySound(tables.atLastBoundary, tables.trace.size) && IsCompletenessSound(tables) &&
         AreEntriesSound(tables) && AreBoundariesSound(tables, dataSize) &&
         AreTimesInside(tables, dataSize);
}

std::optional<TimeTable> DecodeTimes(std::span<const uint8_t> bytes, const Summary& summary) {
  std::optional<TimeTable> table = TimeTable::Decode(bytes);
  return table && IsOf(*table, summary) ? std::move(table) : std::nullopt;
}

std::optional<TimeTable> DecodeFurtherTimes(TimeTable times, std::span<const uint8_t> bytes,
                                            const Summary& summary) {
  const std::optional<TimeTable> further = TimeTable::Decode(bytes);
  if (!further || further->Threads().size() < times.Threads().size() || !times.Merge(*further)) {
    return std::nullopt;
  }
  return IsOf(times, summary) ? std::optional(std::move(times)) : std::nullopt;
}

void EncodeFooter(const IndexSection& directory, uint8_t* bytes) {
  Store64(bytes, directory.offset);
  Store64(bytes + 8, directory.packedSize);
  Store64(bytes + 16, directory.rawSize);
  Store32(bytes + 24, static_cast<uint32_t>(crc32(0, bytes, 24)));
  memcpy(bytes + 28, INDEX_FOOTER_MAGIC, sizeof(INDEX_FOOTER_MAGIC));
}

bool DecodeFooter(const uint8_t* bytes, IndexSection& directory) {
  directory.offset = Load64(bytes);
  directory.packedSize = Load64(bytes + 8);
  directory.rawSize = Load64(bytes + 16);
  return Load32(bytes + 24) == static_cast<uint32_t>(crc32(0, bytes, 24)) &&
         memcmp(bytes + 28, INDEX_FOOTER_MAGIC, sizeof(INDEX_FOOTER_MAGIC)) == 0;
}

uint64_t EndOfSections(const IndexTables& tables) {
  uint64_t end = 0;
  for (const IndexBoundary& boundary : tables.boundaries) {
    end = std::max(end, boundary.keyframe.offset + boundary.keyframe.packedSize);
    for (const IndexSection& section : boundary.node) {
      end = std::max(end, section.offset + section.packedSize);
    }
    for (const IndexSection& section : boundary.masks) {
      end = std::max(end, section.offset + section.packedSize);
    }
  }
  return end;
}

}  // namespace marrowfin
