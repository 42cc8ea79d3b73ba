#ifndef TRACE_INDEX_INDEX_H
#define TRACE_INDEX_INDEX_H

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/index/IndexTables.h"
#include "trace/index/SectionCache.h"
#include "trace/index/TimeTable.h"
#include "trace/read/Summary.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// What an index knows about a trace, so that no question needs the whole of it again.
//
// The trace is cut into segments of some ten thousand records, more where the array is larger and
// where the trace is very long: the cells of the index grow with the density of events and not with
// time, since a cycle may hold a million events or none. At each boundary between segments the
// index keeps
//
// - a keyframe: for each processing element and switch the thread that touched it last and how long
//   ago, as far as that still shows; a byte each;
// - the activity of a power of two of segments that end there: fires, sends and receives of each
//   processing element, transmissions of each switch. Boundary b holds the sum of the last
//   lowbit(b) segments (a Fenwick tree), so the activity up to a boundary is the sum of at most
//   log2(b) nodes, and the tree takes hardly more room than the segments alone. A full pyramid of
//   bins was rejected: it holds twice as many nodes and answers no question with fewer.
//
// Between boundaries a sparse table tells where every 2,048th record begins. For the whole of the
// trace a time table tells how many records of each type and thread the cycles have.
//
// One keyframe or bin per span of cycles was rejected: spans that suit one part of a trace are
// empty or endless in another. Exact times of last fires in the keyframes were rejected: they are
// random numbers that no packing shrinks, and what has settled shows no time.

// An index, open for questions. It holds the tables in memory, reads keyframes and nodes from its
// file when they are asked for, and keeps some megabytes of those that were used last. From several
// threads at a time, each needs an object of its own.
class Index {
 public:
  // The index of `trace`: the one that lies beside it (TRACE.mfindex) or in the cache folder
  // ($XDG_CACHE_HOME/marrowfin or ~/.cache/marrowfin), if it is whole and of this very trace, else
  // one that is built now and kept there; where it can be kept in neither place, it is kept in an
  // unnamed temporary file, which is no fault. An index of a trace that has grown since is
  // extended. A trace that breaks off is indexed up to the fault, which is GetSummary().end. A
  // fault where the trace could not be read or changed meanwhile, `progress`, which is told bytes
  // of the trace, asked to stop, or there is no room for the index anywhere.
  static Result<std::unique_ptr<Index>> Open(const TraceFile& trace,
                                             const ProgressCallback& progress = {});

  // Builds the index anew in `file`, written to a temporary beside it and renamed.
  [[nodiscard]] static Fault Build(const TraceFile& trace, const std::string& file,
                                   const ProgressCallback& progress = {}, IndexLimits limits = {});

  // Opens an index in `file` if it is whole and of this trace, as it is or as it was before it
  // grew; the fault tells why it is not.
  static Result<std::unique_ptr<Index>> Load(const TraceFile& trace, const std::string& file);

  Index(const Index&) = delete;
  Index& operator=(const Index&) = delete;
  ~Index();

  const Summary& GetSummary() const { return summary; }

  // The file that holds the index, for messages; empty for an unnamed one.
  const std::string& FileName() const { return fileName; }
  uint64_t FileSize() const { return fileSize; }

  // The sparse table, ascending by record. The first entry is record 0; empty for an empty trace.
  std::span<const IndexEntry> Entries() const { return entries; }

  // Records between entries.
  uint64_t Stride() const { return stride; }

  // The boundaries, ascending; number b (counted from 1) is element b - 1.
  std::span<const IndexBoundary> Boundaries() const { return boundaries; }

  // Whether keyframes and nodes exist for the whole trace: not for arrays of more than MAX_ELEMENTS
  // positions, or of more switches than a summary keeps.
  static constexpr uint64_t MAX_ELEMENTS = 1 << 20;
  bool HasBoundaries() const { return complete; }

  // How many records of each type and thread the cycles have. Read when it is asked for first, and
  // the index's from then on; a fault where the file is damaged.
  Result<const TimeTable*> Times() const;

  // The same of the records before the last boundary, for whoever goes on from there.
  Result<TimeTable> TimesAtLastBoundary() const;

  // The codes of boundary b, as IndexBoundary::keyframe lays them out, good until the next keyframe
  // or node is asked for. A fault where the file is damaged.
  Result<std::span<const uint8_t>> Keyframe(size_t b) const;

  // Adds (sign 1) or subtracts (sign -1) the node of boundary b to `sums`. Of the processing
  // elements `sums` holds those of `columns` x `rows` positions, row by row; of switches, one per
  // place of the summary. A fault, with `sums` of no use, where the file is damaged.
  [[nodiscard]] Fault AddNode(size_t b, Activity activity, int sign, uint32_t columns,
                              uint32_t rows, std::vector<uint64_t>& sums) const;

  // The sum of the counters of a rectangle of the processing elements, `first` to `last` included,
  // in the node of boundary b; there are none outside the array. `activity` is FIRES, SENDS or
  // RECEIVES. Costs what the rectangle holds, once the section is unpacked. A fault where the file
  // is damaged.
  Result<uint64_t> SumNode(size_t b, Activity activity, Place first, Place last) const;

  // The sum of some counters of the node of boundary b, by their numbers; one that it does not have
  // is 0.
  Result<uint64_t> SumCounters(size_t b, Activity activity, std::span<const size_t> numbers) const;

  // Whether there is a mask of the last 2^level segments up to boundary b, whose number is a
  // multiple of 2^level, and its section, see ThreadMask; good until the next question.
  bool HasMask(size_t b, size_t level) const;
  Result<std::span<const uint8_t>> Mask(size_t b, size_t level) const;

  // The bits of that mask, which must be there, in a rectangle.
  Result<uint8_t> MaskOf(size_t b, size_t level, Place first, Place last) const;

 private:
  Index() = default;
  static Result<int> Write(const TraceFile& trace, const std::string& file, const Index* grown,
                           const ProgressCallback& progress, IndexLimits limits);
  static Result<std::unique_ptr<Index>> Make(const TraceFile& trace, const std::string& file,
                                             const Index* grown, const ProgressCallback& progress,
                                             IndexLimits limits = {});
  static Result<std::unique_ptr<Index>> OpenDescriptor(const TraceFile& trace, int descriptor,
                                                       const std::string& file);
  uint64_t EndOfBoundaries() const;
  Fault ReadFooter();
  Fault ReadDirectory(uint64_t largest);
  Fault CheckWhole() const;
  bool IsOf(const TraceFile& trace) const;
  Fault Recognise(const TraceFile& trace);
  bool SamplesAgree(const TraceFile& trace) const;
  Result<std::vector<uint8_t>> ReadSection(const IndexSection& section) const;
  Result<const std::vector<uint8_t>*> Section(const IndexSection& section) const;
  Fault DamagedNode() const;
  Result<const std::vector<uint8_t>*> Node(size_t b, Activity activity) const;
  const IndexSection& MaskSection(size_t b, size_t level) const;

  int descriptor = -1;
  std::string fileName;
  uint64_t fileSize = 0;
  IndexSection directorySection;
  uint32_t checksum = 0;  // of the bytes before the footer
  FileIdentity identity;  // of the trace when it was indexed; the device is not kept
  uint32_t traceEdges = 0;
  Summary summary;
  Summary atLastBoundary;  // the summary of what lies before the last boundary
  bool complete = true;
  uint64_t stride = 0;
  std::vector<IndexEntry> entries;
  std::vector<IndexBoundary> boundaries;
  IndexSection times;         // the time table of what lies before the last boundary
  IndexSection furtherTimes;  // and of what lies behind it
  mutable std::optional<TimeTable> allTimes;

  static constexpr size_t CACHED_BYTES = 8 << 20;
  mutable SectionCache cache{CACHED_BYTES};
};

}  // namespace marrowfin

#endif
