#ifndef TRACE_INDEX_INDEX_H
#define TRACE_INDEX_INDEX_H

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "trace/base/Place.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/index/IndexTables.h"
#include "trace/index/TimeTable.h"
#include "trace/read/PositionedFile.h"
#include "trace/read/Summary.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

class IndexStore;
class SectionCache;

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

// An index, open for questions. It shares its tables and the file that holds the keyframes and
// nodes with all that were made of it by Another, reads keyframes and nodes when they are asked
// for, and keeps some megabytes of those that were used last. Each is used by one thread at a time.
class Index {
 public:
  // The index of `trace`: the one that lies beside it (TRACE.mfindex) or in the cache folder
  // ($XDG_CACHE_HOME/marrowfin or ~/.cache/marrowfin), if it is one of this very trace, else one
  // that is built now and kept there; where it can be kept in neither place, it is kept in an
  // unnamed temporary file, which is no fault (see WhyUnkept). An index of a trace that has grown
  // since is extended. A trace that breaks off is indexed up to the fault, which is
  // GetSummary().end. A fault where the trace could not be read or changed meanwhile, `progress`,
  // which is told bytes of the trace, asked to stop, or there is no room for the index anywhere.
  //
  // Opening looks at no more than the tables: a keyframe or node that is damaged shows when a
  // question needs it, and is a DAMAGED_INDEX fault, for which there is Rebuild.
  [[nodiscard]] static Result<std::unique_ptr<Index>> Open(const TraceSource& trace,
                                                           const ProgressCallback& progress = {});

  // The same of an index that is kept in `store`.
  [[nodiscard]] static Result<std::unique_ptr<Index>> Open(const TraceSource& trace,
                                                           IndexStore& store,
                                                           const ProgressCallback& progress = {},
                                                           IndexLimits limits = {});

  // Builds the index anew, whatever there is: for one that is damaged or contradicts its trace.
  [[nodiscard]] static Result<std::unique_ptr<Index>> Rebuild(
      const TraceSource& trace, const ProgressCallback& progress = {});

  // Builds the index anew in `file`, written to a temporary beside it and renamed.
  [[nodiscard]] static Fault Build(const TraceSource& trace, const std::string& file,
                                   const ProgressCallback& progress = {}, IndexLimits limits = {});

  // Opens an index in `file` if it is one of this trace, as it is or as it was before it grew; the
  // fault tells why it is not.
  [[nodiscard]] static Result<std::unique_ptr<Index>> Load(const TraceSource& trace,
                                                           const std::string& file);
  [[nodiscard]] static Result<std::unique_ptr<Index>> Load(const TraceSource& trace,
                                                           std::unique_ptr<PositionedFile> file);

  // An index of these tables, whose sections are in `file`; `times` are its time table where it is
  // known already, `whyUnkept` as below.
  Index(std::shared_ptr<const IndexTables> tables, std::shared_ptr<const PositionedFile> file,
        std::shared_ptr<const TimeTable> times = nullptr, const Fault& whyUnkept = {});
  ~Index();
  Index(const Index&) = delete;
  Index& operator=(const Index&) = delete;

  // The same index for another thread, at the cost of a pointer or two.
  std::unique_ptr<Index> Another() const;

  const IndexTables& Tables() const { return *tables; }
  const Summary& GetSummary() const { return tables->summary; }

  // The file that holds the index, for messages; empty for an unnamed one.
  const std::string& FileName() const { return file->Name(); }
  uint64_t FileSize() const { return file->Size(); }

  // Why the index could not be kept beside its trace when it was built; no fault where it could.
  const Fault& WhyUnkept() const { return whyUnkept; }

  // The sparse table, ascending by record. The first entry is record 0; empty for an empty trace.
  std::span<const IndexEntry> Entries() const { return tables->entries; }

  // Records between entries.
  uint64_t Stride() const { return tables->stride; }

  // The boundaries, ascending; number b (counted from 1) is element b - 1.
  std::span<const IndexBoundary> Boundaries() const { return tables->boundaries; }

  // Whether keyframes and nodes exist for the whole trace: not for arrays of more than MAX_ELEMENTS
  // positions, or of more switches than a summary keeps.
  static constexpr uint64_t MAX_ELEMENTS = IndexLimits::MAX_ELEMENTS;
  bool HasBoundaries() const { return tables->complete; }

  // How many records of each type and thread the cycles have. Read when it is asked for first, and
  // the index's from then on; a fault where the file is damaged.
  [[nodiscard]] Result<const TimeTable*> Times() const;

  // The same of the records before the last boundary, for whoever goes on from there.
  [[nodiscard]] Result<TimeTable> TimesAtLastBoundary() const;

  // The codes of boundary b, as IndexBoundary::keyframe lays them out, good until the next keyframe
  // or node is asked for. A fault where the file is damaged.
  [[nodiscard]] Result<std::span<const uint8_t>> Keyframe(size_t b) const;

  // Adds (sign 1) or subtracts (sign -1) the node of boundary b to `sums`. Of the processing
  // elements `sums` holds those of `columns` x `rows` positions, row by row; of switches, one per
  // place of the summary. A fault, with `sums` of no use, where the file is damaged.
  [[nodiscard]] Fault AddNode(size_t b, Activity activity, int sign, uint32_t columns,
                              uint32_t rows, std::vector<uint64_t>& sums) const;

  // The sum of the counters of a rectangle of the processing elements, `first` to `last` included,
  // in the node of boundary b; there are none outside the array. `activity` is FIRES, SENDS or
  // RECEIVES. Costs what the rectangle holds, once the section is unpacked. A fault where the file
  // is damaged.
  [[nodiscard]] Result<uint64_t> SumNode(size_t b, Activity activity, Place first,
                                         Place last) const;

  // The sum of some counters of the node of boundary b, by their numbers; one that it does not have
  // is 0.
  [[nodiscard]] Result<uint64_t> SumCounters(size_t b, Activity activity,
                                             std::span<const size_t> numbers) const;

  // Whether there is a mask of the last 2^level segments up to boundary b, whose number is a
  // multiple of 2^level, and its section, see ThreadMask; good until the next question.
  bool HasMask(size_t b, size_t level) const;
  [[nodiscard]] Result<std::span<const uint8_t>> Mask(size_t b, size_t level) const;

  // The bits of that mask, which must be there, in a rectangle.
  [[nodiscard]] Result<uint8_t> MaskOf(size_t b, size_t level, Place first, Place last) const;

  // Looks at all that is read when a question needs it: the fault of the first keyframe, node, mask
  // or time table that is damaged. Costs reading and unpacking the file.
  [[nodiscard]] Fault CheckSections() const;

  // The DAMAGED_INDEX fault of an index that contradicts itself or its trace.
  Fault Damaged(const std::string& reason) const;

  // The bytes of the file, for whoever extends the index.
  const PositionedFile& File() const { return *file; }

 private:
  Result<std::vector<uint8_t>> ReadSection(const IndexSection& section) const;
  Result<const std::vector<uint8_t>*> Section(const IndexSection& section) const;
  Result<const std::vector<uint8_t>*> Node(size_t b, Activity activity) const;
  const IndexSection& MaskSection(size_t b, size_t level) const;
  Fault CheckBoundary(size_t b) const;

  std::shared_ptr<const IndexTables> tables;
  std::shared_ptr<const PositionedFile> file;
  mutable std::shared_ptr<const TimeTable> allTimes;
  Fault whyUnkept;
  std::unique_ptr<SectionCache> cache;
};

}  // namespace marrowfin

#endif
