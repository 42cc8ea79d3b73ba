#include "measure/KeptCounts.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <string>
#include <vector>

#include "measure/CountsBytes.h"
#include "trace/base/Bytes.h"
#include "trace/base/Zstd.h"
#include "trace/index/SameTrace.h"

namespace marrowfin {
namespace {

constexpr std::array<uint8_t, 8> MAGIC = {'M', 'F', 'C', 'O', 'U', 'N', 'T', '1'};
constexpr size_t SIZE_BYTES = 8;
constexpr size_t HEADER = MAGIC.size() + SIZE_BYTES;

constexpr char INDEX_SUFFIX[] = ".mfindex";
constexpr char COUNTS_SUFFIX[] = ".mfcounts";

// More than counts of the array take: a number has at most ten bytes.
uint64_t MostBytes(const RunCounts& counts) {
  constexpr uint64_t NUMBER = 10;
  const uint64_t elements = counts.Places().Elements().size();
  const uint64_t tables = 16 * elements + 2 * counts.Traffic().size() +
                          (Timeline::MOST_THREADS + 8) * counts.Times().Columns().Count();
  return NUMBER * tables + (1 << 20);
}

// What the counts are of: the trace, and how its array was counted.
std::vector<uint64_t> SubjectOf(const Index& index, const RunShape& shape) {
  const TraceMark& trace = index.Tables().trace;
  const ArrayShape& array = shape.shape;
  return {
      trace.size,
      trace.modified,
      trace.changed,
      trace.inode,
      trace.edges,
      index.GetSummary().records,
      array.clusters.columns,
      array.clusters.rows,
      array.domains.columns,
      array.domains.rows,
      array.pes.columns,
      array.pes.rows,
      (shape.wrapColumns ? 1U : 0U) | (shape.wrapRows ? 2U : 0U) | (shape.columnFirst ? 4U : 0U),
      shape.columns.first,
      shape.columns.last,
      shape.columns.width};
}

uint64_t SumOf(const std::vector<uint64_t>& counts) {
  return std::accumulate(counts.begin(), counts.end(), uint64_t{0});
}

bool AgreesWith(const RunCounts& counts, const Summary& summary) {
  const Timeline& times = counts.Times();
  return counts.Records() == summary.records &&
         SumOf(times.OfType(SWITCH_RECORD)) == summary.switches &&
         SumOf(times.OfType(FIRE_RECORD)) == summary.fires &&
         SumOf(times.OfType(SEND_RECORD)) == summary.sends;
}

std::optional<RunCounts> Read(const PositionedFile& file, const Index& index,
                              const RunShape& shape) {
  RunCounts counts(shape);
  const uint64_t size = file.Identity().size;
  if (size <= HEADER || size - HEADER > MostBytes(counts)) {
    return std::nullopt;
  }
  std::vector<uint8_t> bytes(static_cast<size_t>(size));
  if (file.ReadAt(0, bytes.size(), bytes.data()) ||
      !std::equal(MAGIC.begin(), MAGIC.end(), bytes.begin())) {
    return std::nullopt;
  }
  uint64_t rawSize = 0;
  for (size_t i = 0; i < SIZE_BYTES; ++i) {
    rawSize = rawSize << 8 | bytes[MAGIC.size() + i];
  }
  std::vector<uint8_t> raw;
  if (rawSize > MostBytes(counts) ||
      !Unpack(std::span(bytes).subspan(HEADER), static_cast<size_t>(rawSize), raw)) {
    return std::nullopt;
  }
  ByteReader reader(raw.data(), raw.size());
  for (const uint64_t number : SubjectOf(index, shape)) {
    if (reader.Number() != number) {
      return std::nullopt;
    }
  }
  CountsReader visitor(reader, index.GetSummary().records);
  counts.Visit(visitor);
  const bool good = visitor.Good() && reader.AtEnd() && AgreesWith(counts, index.GetSummary());
  return good ? std::optional(std::move(counts)) : std::nullopt;
}

// Whether all that the trace has is counted, as often as it is asked for alike.
bool AsksForAll(const RunQuestion& question, const Index& index) {
  const Summary& summary = index.GetSummary();
  return question.filter == EventFilter() && question.conditions.empty() &&
         !question.elementLinks && !question.elementPulses && !question.switchPulses &&
         summary.Ordered() && !summary.end;
}

}  // namespace

std::unique_ptr<IndexStore> KeptCountsOf(const TraceSource& trace, const Index& index) {
  std::string name = index.FileName();
  if (!name.ends_with(INDEX_SUFFIX)) {
    return nullptr;
  }
  name.replace(name.size() - std::string(INDEX_SUFFIX).size(), std::string::npos, COUNTS_SUFFIX);
  return IndexFileAt(name, trace.File().Permissions());
}

std::optional<RunCounts> FindKeptCounts(const IndexStore& store, const Index& index,
                                        const RunShape& shape) {
  for (const std::unique_ptr<PositionedFile>& file : store.Find()) {
    if (std::optional<RunCounts> counts = Read(*file, index, shape)) {
      return counts;
    }
  }
  return std::nullopt;
}

Fault KeepCounts(IndexStore& store, const Index& index, const RunShape& shape,
                 const RunCounts& counts) {
  CountsWriter writer;
  for (const uint64_t number : SubjectOf(index, shape)) {
    writer.bytes.Number(number);
  }
  RunCounts(counts).Visit(writer);
  const std::vector<uint8_t> raw = writer.bytes.Take();
  std::vector<uint8_t> bytes(MAGIC.begin(), MAGIC.end());
  for (size_t i = SIZE_BYTES; i-- > 0;) {
    bytes.push_back(static_cast<uint8_t>(uint64_t{raw.size()} >> (8 * i)));
  }
  const std::vector<uint8_t> packed = Pack(raw);
  bytes.insert(bytes.end(), packed.begin(), packed.end());
  Result<std::unique_ptr<IndexDraft>> draft = store.Create();
  if (!draft) {
    return draft.Why();
  }
  if (Fault fault = (*draft)->Append(bytes)) {
    return fault;
  }
  return (*draft)->Commit().Why();
}

Result<RunCounts> CountRunOnce(const TraceSource& trace, const Index& index, IndexStore* store,
                               const RunQuestion& question, const ProgressCallback& progress,
                               uint64_t leastRecords) {
  const Summary& summary = index.GetSummary();
  if (store == nullptr || summary.records < leastRecords || question.sumsSuffice ||
      question.timelineSuffices || !AsksForAll(question, index)) {
    return CountRun(trace, &index, question, progress);
  }
  const RunShape shape = {
      question.shape, question.wrapColumns, question.wrapRows, question.columnFirst,
      TimeColumns::AtMost(summary.firstCycle, summary.maxCycle, question.mostColumns)};
  if (Fault fault = CheckStillIndexed(trace, index.Tables())) {
    return fault;
  }
  if (std::optional<RunCounts> kept = FindKeptCounts(*store, index, shape)) {
    return std::move(*kept);
  }
  Result<RunCounts> counts = CountRun(trace, &index, question, progress);
  if (counts && AgreesWith(*counts, summary)) {
    // Whoever could not keep them counts again the next time.
    static_cast<void>(KeepCounts(*store, index, shape, *counts));
  }
  return counts;
}

}  // namespace marrowfin
