#ifndef TRACE_INDEXBUILDER_H
#define TRACE_INDEXBUILDER_H

#include <array>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "trace/Columns.h"
#include "trace/Index.h"
#include "trace/Summary.h"

namespace marrowfin {

// Takes the records of a trace in order and makes the tables and sections of its index.
//
// Memory follows the array (and the logarithm of the trace's length), not the trace: sections are
// handed on when they are complete, and the sparse table doubles its stride when it is full.
class IndexBuilder {
 public:
  // Packs and keeps a section.
  typedef std::function<IndexSection(std::span<const uint8_t> raw)> Sink;

  explicit IndexBuilder(Sink sink);

  // Takes up an index where its last boundary stands, so that records from there on can be added.
  // False, with `fault` set, where the index is damaged.
  bool Resume(const Index& index, const Summary& atLastBoundary, Fault& fault);

  void Add(const Columns& columns);
  void Finish();

  const Summary& GetSummary() const { return summarizer.Get(); }
  const Summary& AtLastBoundary() const { return atLastBoundary; }
  const std::vector<IndexEntry>& Entries() const { return entries; }
  const std::vector<IndexBoundary>& Boundaries() const { return boundaries; }
  bool Complete() const { return complete; }
  uint64_t Stride() const { return stride; }

  // The number of records between entries of the sparse table, while it is short.
  static constexpr uint64_t STRIDE = 2048;
  static constexpr size_t MAX_ENTRIES = 65536;

 private:
  // The sums of a node, before they are packed. A node of up to 2^WIDE_LEVEL segments, of at most
  // 2 * MAX_ELEMENTS and a batch of records each, cannot overflow 32 bits, and most nodes are such:
  // half as many bytes go through the processor's caches. Larger ones have 64.
  static constexpr int WIDE_LEVEL = 8;
  struct Node {
    uint32_t columns = 0;
    uint32_t rows = 0;
    std::array<std::vector<uint32_t>, ACTIVITIES> sums;
    std::array<std::vector<uint64_t>, ACTIVITIES> wideSums;  // instead

    void Widen();
    void Add(const Node& part);
  };

  // When a piece was touched last within the segment: TOUCHED, and how many changes of cycle of the
  // segment came before, whether it was one itself, and its thread, modulo 6. 0 for never.
  typedef uint32_t Touch;

  // What the segment has brought to a position of the array, and to a switch. An operation that
  // fires mostly sends as well, so it is one line of the cache that two records write to.
  struct Cell {
    uint32_t fires = 0;
    uint32_t sends = 0;
    uint32_t receives = 0;
    Touch touch = 0;
  };
  struct SwitchCell {
    uint32_t transmissions = 0;
    Touch touch = 0;
  };

  bool ResumeCodes(const Index& index, Fault& fault);
  bool ResumeNodes(const Index& index, Fault& fault);
  void AddEntry(const Columns& columns);
  void Sample(const Columns& columns);
  void MakeRoom();
  void CountElements(const Columns& columns);
  void CountSwitches();
  void EndSegment();
  void UpdateCodes();
  Node TakeSegment();
  uint64_t SegmentLength() const;

  Sink sink;
  Summarizer summarizer;
  Summary atLastBoundary;
  std::vector<IndexEntry> entries;
  std::vector<IndexBoundary> boundaries;
  bool complete = true;

  uint64_t record = 0;  // the next one
  uint64_t offset = 0;
  uint64_t lastCycle = 0;
  uint64_t changes = 0;
  uint64_t stride = STRIDE;
  uint64_t nextEntry = 0;
  uint64_t segmentEnd = 0;
  uint32_t sample = 0;
  uint64_t sampleLeft = 0;

  uint64_t segmentChanges = 0;  // `changes` at the start of the segment

  // Of the batch: what its events leave on their pieces.
  std::array<Touch, Columns::CAPACITY> batchTouches;

  // Where records of other types are counted, so that no branch tells the types apart. Several, so
  // that one does not wait for the other.
  static constexpr size_t NOWHERE = 16;
  std::array<Cell, NOWHERE> nowhere;

  uint32_t columnCount = 0;  // powers of two
  uint32_t rowCount = 0;
  std::vector<Cell> cells;
  std::vector<SwitchCell> switchCells;
  std::vector<uint8_t> codes;        // of the last boundary, see TouchCode
  std::vector<uint8_t> switchCodes;  // likewise
  std::vector<Node> nodes;           // whose sum is the activity up to the last boundary
};

// The checksum by which a grown trace is recognised: of the fields of the first records of a
// segment.
constexpr uint64_t SAMPLED_RECORDS = 8;
uint32_t SampleRecords(const Columns& columns, size_t from, size_t to, uint32_t before);

}  // namespace marrowfin

#endif
