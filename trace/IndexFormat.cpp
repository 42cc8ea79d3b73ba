#include "trace/IndexFormat.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>

#include "trace/BigEndian.h"
#include "trace/Bytes.h"

namespace marrowfin {

namespace {

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
  out.Number(fault.offset);
  out.Number(fault.record);
  out.Text(fault.reason);
  out.Text(fault.remedy);
}

Fault GetFault(ByteReader& in) {
  Fault fault;
  fault.kind = static_cast<Fault::Kind>(std::min<uint64_t>(in.Number(), Fault::CANCELLED));
  fault.offset = in.Number();
  fault.record = in.Number();
  fault.reason = in.Text();
  fault.remedy = in.Text();
  return fault;
}

void PutSummary(ByteWriter& out, const Summary& s) {
  for (const uint64_t number : {s.records, s.bytes, s.switches, s.fires, s.sends, s.firstCycle,
                                s.lastCycle, s.maxCycle, s.changes, s.falls, s.firstFall}) {
    out.Number(number);
  }
  PutExtent(out, s.fired);
  PutExtent(out, s.sent);
  out.Number(s.threads.size());
  for (const auto& [thread, count] : s.threads) {
    out.Number(thread);
    out.Number(count);
  }
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
  for (size_t left = in.Count(); left > 0 && in.Good(); --left) {
    const uint32_t thread = static_cast<uint32_t>(in.Number());
    s.threads[thread] = in.Number();
  }
  s.otherThreads = in.Number();
  for (size_t left = in.Count(); left > 0 && in.Good(); --left) {
    const uint32_t column = static_cast<uint32_t>(in.Number());
    s.switchPlaces.push_back({column, static_cast<uint32_t>(in.Number())});
  }
  s.switchesComplete = in.Number() != 0;
  s.end = GetFault(in);
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
  for (size_t left = in.Count(); left > 0 && in.Good(); --left) {
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
  PutSection(out, b.keyframe);
  for (const IndexSection& section : b.node) {
    PutSection(out, section);
  }
}

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
  b.keyframe = GetSection(in);
  for (IndexSection& section : b.node) {
    section = GetSection(in);
  }
  return b;
}

bool IsInside(const IndexSection& section, uint64_t dataSize) {
  return section.offset <= dataSize && section.packedSize <= dataSize - section.offset;
}

// Whether the tables lie within the trace that the summary tells of, and ascend.
bool AreEntriesSound(const IndexDirectory& d) {
  if (d.entries.empty() != (d.summary.records == 0)) {
    return false;
  }
  IndexEntry last;
  for (size_t i = 0; i < d.entries.size(); ++i) {
    const IndexEntry& entry = d.entries[i];
    const bool ascends = i == 0 ? entry.record == 0 && entry.offset == 0 && entry.changes == 0
                                : entry.record > last.record && entry.offset > last.offset &&
                                      entry.changes >= last.changes;
    if (!ascends || entry.record >= d.summary.records || entry.offset >= d.summary.bytes ||
        entry.changes > d.summary.changes) {
      return false;
    }
    last = entry;
  }
  return true;
}

bool IsBoundarySound(const IndexBoundary& b, const IndexBoundary& last, const IndexDirectory& d,
                     uint64_t dataSize) {
  const uint64_t elements = static_cast<uint64_t>(b.columns) * b.rows;
  const bool ascends =
      b.record > last.record && b.record <= d.summary.records && b.offset > last.offset &&
      b.offset <= d.summary.bytes && b.changes >= last.changes && b.changes <= d.summary.changes &&
      b.columns >= last.columns && b.rows >= last.rows && b.switches >= last.switches;
  const bool fits = elements <= Index::MAX_ELEMENTS && b.columns <= Index::MAX_ELEMENTS &&
                    b.switches <= d.summary.switchPlaces.size() &&
                    b.keyframe.rawSize == elements + b.switches && IsInside(b.keyframe, dataSize);
  // A node's counts take at most 64 bits each, behind a byte.
  const uint64_t largest = 1 + 8 * std::max<uint64_t>(elements, b.switches);
  return ascends && fits &&
         std::all_of(std::begin(b.node), std::end(b.node), [&](const IndexSection& section) {
           return section.rawSize <= largest && IsInside(section, dataSize);
         });
}

bool AreBoundariesSound(const IndexDirectory& d, uint64_t dataSize) {
  IndexBoundary last;
  for (const IndexBoundary& b : d.boundaries) {
    if (!IsBoundarySound(b, last, d, dataSize)) {
      return false;
    }
    last = b;
  }
  return d.boundaries.empty() || (d.atLastBoundary.records == last.record &&
                                  d.atLastBoundary.switchPlaces.size() == last.switches);
}

}  // namespace

std::vector<uint8_t> EncodeDirectory(const IndexDirectory& directory) {
  ByteWriter out;
  out.Number(directory.traceSize);
  out.Number(directory.traceModified);
  out.Number(directory.traceEdges);
  PutSummary(out, directory.summary);
  PutSummary(out, directory.atLastBoundary);
  out.Number(directory.complete ? 1 : 0);
  out.Number(directory.stride);
  PutEntries(out, directory.entries);
  out.Number(directory.boundaries.size());
  IndexBoundary last;
  for (const IndexBoundary& boundary : directory.boundaries) {
    PutBoundary(out, boundary, last);
    last = boundary;
  }
  return out.Bytes();
}

bool DecodeDirectory(std::span<const uint8_t> bytes, uint64_t dataSize, IndexDirectory& directory) {
  ByteReader in(bytes.data(), bytes.size());
  directory = IndexDirectory();
  directory.traceSize = in.Number();
  directory.traceModified = in.Number();
  directory.traceEdges = static_cast<uint32_t>(in.Number());
  directory.summary = GetSummary(in);
  directory.atLastBoundary = GetSummary(in);
  directory.complete = in.Number() != 0;
  directory.stride = in.Number();
  GetEntries(in, directory.entries);
  IndexBoundary last;
  for (size_t left = in.Count(); left > 0 && in.Good(); --left) {
    last = GetBoundary(in, last);
    directory.boundaries.push_back(last);
  }
  return in.Good() && in.AtEnd() && directory.stride > 0 && AreEntriesSound(directory) &&
         AreBoundariesSound(directory, dataSize);
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

}  // namespace marrowfin
