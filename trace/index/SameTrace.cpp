#include "trace/index/SameTrace.h"

#include <zlib.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <memory>
#include <thread>
#include <vector>

#include "trace/read/Summary.h"

namespace marrowfin {

namespace {

// EdgeSum of the first `size` bytes of the trace; 0 where they are damaged blocks of a packed one,
// which is known by other things.
Result<uint32_t> EdgesOf(const TraceSource& trace, uint64_t size) {
  const auto copy = [&](uint64_t offset, std::vector<uint8_t>& bytes) {
    return trace.Copy(offset, bytes.size(), bytes.data());
  };
  const size_t length = static_cast<size_t>(std::min(size, TRACE_EDGE));
  std::vector<uint8_t> first(length);
  std::vector<uint8_t> last(length);
  for (const Fault& fault : {copy(0, first), copy(size - length, last)}) {
    if (fault && fault.kind == Fault::DAMAGED_INPUT && trace.File().HasBlocks()) {
      return 0;
    }
    if (fault) {
      return fault;
    }
  }
  return EdgeSum(first, last);
}

Fault WrittenMeanwhile(const TraceSource& trace, const char* how) {
  Fault fault = trace.Changed(0);
  fault.reason = how;
  return fault;
}

constexpr char WRITTEN_TO[] = "the file was written to while it was read";
constexpr char WRITTEN_ANEW[] = "the file was written anew while it was read";

bool HasSample(const TraceSource& trace, uint64_t offset, const IndexBoundary& boundary,
               Columns& columns) {
  const uint64_t limit = std::min(boundary.offset, offset + SAMPLED_RECORDS * LARGE_RECORD);
  const bool decoded = static_cast<bool>(trace.Decode(offset, limit, columns));
  const size_t sampled = std::min<size_t>(columns.size, SAMPLED_RECORDS);
  return decoded && SampleRecords(columns, 0, sampled, 0) == boundary.sample;
}

// Compares every `step`-th segment, the last one always.
bool HasSamples(const TraceSource& trace, const IndexTables& tables, size_t step) {
  const std::vector<IndexBoundary>& boundaries = tables.boundaries;
  auto columns = std::make_unique<Columns>();
  for (size_t b = boundaries.size(); b > 0; b -= std::min(b, step)) {
    const uint64_t offset = b == 1 ? 0 : boundaries[b - 2].offset;
    if (!HasSample(trace, offset, boundaries[b - 1], *columns)) {
      return false;
    }
  }
  return true;
}

// Decodes the records from an entry to the end of what was indexed.
bool AddRest(const TraceSource& trace, const IndexTables& tables, const IndexEntry& entry,
             Summarizer& rest) {
  auto columns = std::make_unique<Columns>();
  for (uint64_t offset = entry.offset; offset < tables.summary.bytes;) {
    const Result<uint64_t> next = trace.Decode(offset, tables.summary.bytes, *columns);
    if (!next) {
      return false;
    }
    rest.Add(*columns);
    offset = *next;
  }
  rest.Finish();
  return true;
}

bool HasEnd(const TraceSource& trace, const IndexTables& tables) {
  const Summary& summary = tables.summary;
  const IndexEntry& last = tables.entries.back();
  Summarizer rest;
  const bool decoded = AddRest(trace, tables, last, rest);
  const Summary& found = rest.Get();
  return decoded && last.record + found.records == summary.records &&
         last.cycle == found.firstCycle && last.changes + found.changes == summary.changes &&
         found.lastCycle == summary.lastCycle;
}

// A trace too short for a segment is compared as a whole.
bool AddsUp(const TraceSource& trace, const IndexTables& tables) {
  const Summary& summary = tables.summary;
  Summarizer all;
  const bool decoded = AddRest(trace, tables, tables.entries.front(), all);
  const Summary& found = all.Get();
  return decoded && found.fires == summary.fires && found.sends == summary.sends &&
         found.changes == summary.changes && found.fired == summary.fired &&
         found.sent == summary.sent && found.array == summary.array && found.far == summary.far &&
         found.switchPlaces == summary.switchPlaces && found.threads == summary.threads;
}

bool HasSameRecords(const TraceSource& trace, const IndexTables& tables) {
  constexpr uint64_t SHORT = 65536;
  constexpr size_t COMPARED = 64;
  if (tables.entries.empty()) {
    return true;
  }
  const bool isShort = tables.boundaries.empty() && tables.summary.records <= SHORT;
  return HasSamples(trace, tables, tables.boundaries.size() / COMPARED + 1) &&
         HasEnd(trace, tables) && (!isShort || AddsUp(trace, tables));
}

uint64_t Nanoseconds(const struct timespec& time) {
  return static_cast<uint64_t>(time.tv_sec) * 1000000000 + static_cast<uint64_t>(time.tv_nsec);
}

}  // namespace

void LetTickPass(const TraceSource& trace) {
  constexpr uint64_t TICK = 20000000;
  const uint64_t modified = trace.GetIdentity().modified;
  for (uint64_t waited = 0; waited < TICK; waited += 1000000) {
    struct timespec now;
    clock_gettime(CLOCK_REALTIME_COARSE, &now);
    if (modified < Nanoseconds(now) || modified - Nanoseconds(now) > TICK) {
      return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

Result<TraceMark> MarkOf(const TraceSource& trace) {
  const Result<uint32_t> edges = EdgesOf(trace, trace.Size());
  if (!edges) {
    return edges.Why();
  }
  TraceMark mark;
  mark.size = trace.Size();
  mark.modified = trace.GetIdentity().modified;
  mark.changed = trace.GetIdentity().changed;
  mark.inode = trace.GetIdentity().inode;
  mark.edges = *edges;
  return mark;
}

uint32_t EdgeSum(std::span<const uint8_t> first, std::span<const uint8_t> last) {
  uLong sum = crc32(0, nullptr, 0);
  for (const std::span<const uint8_t> bytes : {first, last}) {
    sum = crc32(sum, bytes.data(), static_cast<uInt>(bytes.size()));
  }
  return static_cast<uint32_t>(sum);
}

bool HasEdges(const TraceSource& trace, const TraceMark& mark) {
  const Result<uint32_t> edges =
      trace.Size() < mark.size ? Result<uint32_t>(Fault()) : EdgesOf(trace, mark.size);
  return edges && *edges == mark.edges;
}

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

// Of a trace that grew, or is a copy, some records of every segment are compared as well: whoever
// rewrites a trace rarely keeps those.
Likeness LikenessOf(const TraceSource& trace, const IndexTables& tables) {
  const TraceMark& mark = tables.trace;
  const FileIdentity& identity = trace.GetIdentity();
  const bool same = trace.Size() == mark.size && identity.modified == mark.modified;
  const bool untouched = same && identity.changed == mark.changed && identity.inode == mark.inode;
  if (!same && trace.Size() <= mark.size) {
    return Likeness::OTHER;
  }
  // What tells a packed trace is made of all its bytes, and nothing that is damaged is looked at.
  if (untouched && trace.File().HasBlocks()) {
    return Likeness::SAME;
  }
  const Result<uint32_t> edges = EdgesOf(trace, mark.size);
  if (!edges || *edges != mark.edges || (!untouched && !HasSamples(trace, tables, 1))) {
    return Likeness::OTHER;
  }
  return same ? Likeness::SAME : Likeness::GROWN;
}

// Whoever writes a trace anew makes it shorter, and then perhaps longer than it was.
Fault CheckIndexed(const TraceSource& trace, const TraceMark& before, const IndexTables& tables) {
  const Result<uint32_t> edges = EdgesOf(trace, before.size);
  if (!edges) {
    return edges.Why();
  }
  if (Fault fault = trace.CheckUnchanged()) {
    return fault;
  }
  const bool same = *edges == before.edges && (trace.IsUntouched() || HasSamples(trace, tables, 1));
  return same ? Fault() : WrittenMeanwhile(trace, WRITTEN_TO);
}

Fault CheckStillIndexed(const TraceSource& trace, const IndexTables& tables) {
  if (trace.IsUntouched()) {
    return {};
  }
  if (Fault fault = trace.CheckUnchanged()) {
    return fault;
  }
  return HasSameRecords(trace, tables) ? Fault() : WrittenMeanwhile(trace, WRITTEN_ANEW);
}

}  // namespace marrowfin
