#ifndef TRACE_INDEX_INDEXBUILDER_H
#define TRACE_INDEX_INDEXBUILDER_H

#include <array>
#include <cstdint>
#include <utility>
#include <vector>

#include "trace/index/Background.h"
#include "trace/index/BatchCells.h"
#include "trace/index/Index.h"
#include "trace/index/SegmentPacker.h"
#include "trace/index/TimeCounter.h"
#include "trace/read/Columns.h"
#include "trace/read/Summary.h"

namespace marrowfin {

// Takes the records of a trace in order and makes the tables and sections of its index.
//
// Memory follows the array, not the trace: sections are handed on when they are complete, and a
// table that is full keeps every second of its rows and takes up half as many from then on.
class IndexBuilder {
 public:
  // The sink is called in another thread, one call at a time and none after Finish.
  explicit IndexBuilder(SegmentPacker::Sink sink, IndexLimits limits = {});

  // Takes up an index where its last boundary stands, so that records from there on can be added.
  // A fault where the index is damaged.
  [[nodiscard]] Fault Resume(const Index& index, const Summary& atLastBoundary);

  void Add(const Columns& columns);
  void Finish();

  // The tables of all records, after Finish; what marks the trace and ends it is left to the
  // caller. They are gone from here then: they are most of the memory that is left in the end.
  IndexTables TakeTables();

  // The time table up to the last boundary, and that of the records behind it.
  const TimeTable& Times() const { return times; }
  const TimeTable& FurtherTimes() const { return furtherTimes.Get(); }

  // The tables as they would be if the trace ended at the last boundary so far. All that they name
  // has been handed to the sink when this returns.
  IndexTables TablesAtLastBoundary();

 private:
  void AddEntry(const Columns& columns);
  void Sample(const Columns& columns);
  void MakeRoom();
  void CountElements(const Columns& columns);
  void CountSwitches();
  void CountThreads();
  void EndSegment();
  void HalveBoundaries();
  uint64_t SegmentLength() const;

  const IndexLimits limits;
  Summarizer summarizer;
  Summary atLastBoundary;
  std::vector<IndexEntry> entries;
  SegmentPacker packer;
  TimeTable times;           // up to the last boundary
  TimeCounter furtherTimes;  // of the segment that grows
  bool complete = true;

  uint64_t record = 0;  // the next one
  uint64_t offset = 0;
  uint64_t lastCycle = 0;
  uint64_t changes = 0;
  uint64_t stride;
  uint64_t nextEntry = 0;
  uint64_t segmentEnd = 0;
  uint64_t segmentScale = 1;  // how often boundaries were halved, as a power of two
  uint32_t sample = 0;
  uint64_t sampleLeft = 0;

  uint64_t segmentChanges = 0;           // `changes` at the start of the segment
  std::vector<uint64_t> segmentThreads;  // and the records by thread, see Summarizer::ThreadCounts

  BatchCells batch;  // once it is counted, with what its events leave on their pieces

  uint32_t columnCount = 0;  // powers of two
  uint32_t rowCount = 0;
  Segment counted;  // the segment that grows
  Segment packed;   // the one before; the background's until it is done

  Background background;
};

}  // namespace marrowfin

#endif
