#include "trace/index/IndexJob.h"

#include <utility>

#include "trace/index/EndTables.h"
#include "trace/index/IndexBuilder.h"
#include "trace/index/IndexFormat.h"
#include "trace/index/IndexWriter.h"
#include "trace/index/SameTrace.h"
#include "trace/read/Reader.h"

namespace marrowfin {

namespace {

// Whether whoever reads the tables will believe them, of an index with so many bytes of sections.
bool IsSound(const IndexTables& tables, uint64_t size) {
  IndexTables read;
  return DecodeDirectory(EncodeDirectory(tables), size, read);
}

Fault Contradicts(const TraceSource& trace) {
  Fault fault;
  fault.kind = Fault::DAMAGED_INDEX;
  fault.file = trace.Name();
  fault.reason = "the index of what the trace was before it grew contradicts itself";
  fault.remedy = "build the index anew";
  return fault;
}

}  // namespace

struct IndexJob::Work {
  Work(const TraceSource& trace, const TraceMark& mark, std::unique_ptr<IndexDraft> draft,
       IndexLimits limits)
      : trace(trace),
        mark(mark),
        writer(std::move(draft)),
        builder([this](std::span<const uint8_t> raw) { return writer.Append(raw); }, limits) {}

  Fault GoOnFrom(const Index& grown) {
    begin = grown.Boundaries().back().offset;
    if (Fault fault = writer.CopySections(grown.File(), EndOfSections(grown.Tables()))) {
      return fault;
    }
    return builder.Resume(grown, grown.Tables().atLastBoundary);
  }

  void OpenReader() {
    ReadOptions options;
    options.ordered = false;
    reader = std::make_unique<Reader>(PieceSource(trace.File(), begin, trace.Size() - begin),
                                      trace.Name(), options);
  }

  const TraceSource& trace;
  const TraceMark mark;
  IndexWriter writer;
  IndexBuilder builder;  // uses the writer, also while it goes
  uint64_t begin = 0;    // the byte at which the reader began
  std::unique_ptr<Reader> reader;
  Columns columns;
};

IndexJob::IndexJob(std::unique_ptr<Work> work) : work(std::move(work)) {}

IndexJob::~IndexJob() = default;

Result<std::unique_ptr<IndexJob>> IndexJob::Begin(const TraceSource& trace, IndexStore& store,
                                                  const Index* grown, IndexLimits limits) {
  LetTickPass(trace);
  const Result<TraceMark> mark = MarkOf(trace);
  if (!mark) {
    return mark.Why();
  }
  Result<std::unique_ptr<IndexDraft>> draft = store.Create();
  if (!draft) {
    return draft.Why();
  }
  auto work = std::make_unique<Work>(trace, *mark, std::move(draft).Take(), limits);
  if (grown != nullptr && grown->HasBoundaries() && !grown->Boundaries().empty() &&
      work->GoOnFrom(*grown)) {
    return Begin(trace, store, nullptr, limits);
  }
  work->OpenReader();
  return std::unique_ptr<IndexJob>(new IndexJob(std::move(work)));
}

Result<bool> IndexJob::Step(uint64_t bytes) {
  Reader& reader = *work->reader;
  const uint64_t until = reader.Offset() + bytes;
  while (reader.Offset() < until) {
    if (work->writer.Failed()) {
      return work->writer.WhyFailed();
    }
    if (!reader.Next(work->columns)) {
      Fault fault = reader.GetFault();
      if (fault.kind == Fault::SYSTEM || fault.kind == Fault::CHANGED) {
        // What the system refuses now says nothing about the trace.
        fault.offset += work->begin;
        return fault;
      }
      return false;
    }
    work->builder.Add(work->columns);
  }
  return true;
}

Progress IndexJob::GetProgress() const {
  return {work->begin + work->reader->Offset(), work->trace.Size(), Progress::BYTES};
}

Result<std::unique_ptr<Index>> IndexJob::SoFar() {
  IndexWriter& writer = work->writer;
  auto tables = std::make_shared<IndexTables>(work->builder.TablesAtLastBoundary());
  if (writer.Failed()) {
    return writer.WhyFailed();
  }
  tables->trace = work->mark;
  tables->summary.end = EndOfIndexed(work->trace.Name(), tables->summary, Fault());
  Result<std::unique_ptr<PositionedFile>> file = writer.Written();
  if (!file) {
    return file.Why();
  }
  return std::make_unique<Index>(std::move(tables), std::move(file).Take(),
                                 std::make_shared<TimeTable>(work->builder.Times()),
                                 writer.Refusal());
}

Result<std::unique_ptr<Index>> IndexJob::Finish() {
  IndexWriter& writer = work->writer;
  IndexBuilder& builder = work->builder;
  auto tables = std::make_shared<IndexTables>(
      EndTables(builder, writer, {work->mark, work->trace.Name(), work->reader->GetFault()}));
  if (writer.Failed()) {
    return writer.WhyFailed();
  }
  if (work->begin > 0 && !IsSound(*tables, writer.Size())) {
    return Contradicts(work->trace);
  }
  if (Fault fault = CheckIndexed(work->trace, work->mark, *tables)) {
    return fault;
  }
  Result<std::unique_ptr<PositionedFile>> file = writer.Commit(*tables);
  if (!file) {
    return file.Why();
  }
  return std::make_unique<Index>(std::move(tables), std::move(file).Take(), nullptr,
                                 writer.Refusal());
}

}  // namespace marrowfin
