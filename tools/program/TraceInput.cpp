#include "tools/program/TraceInput.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <utility>

#include "tools/program/Flags.h"
#include "tools/program/Interruption.h"
#include "tools/program/Output.h"
#include "tools/program/ProgressLine.h"
#include "tools/program/Report.h"
#include "trace/index/IndexStore.h"
#include "trace/read/FittingShapes.h"
#include "trace/read/Packing.h"
#include "trace/read/UnpackedTrace.h"

namespace marrowfin {

Failure IndexingFailureOf(const Fault& fault, const std::string& trace) {
  Failure failure = FailureOf(fault);
  if (fault.kind == Fault::SYSTEM && fault.file != trace) {
    failure.code = EXIT_SYSTEM;
    failure.remedy = fault.remedy.empty() ? "Set XDG_CACHE_HOME to a folder that can be written."
                                          : failure.remedy;
  }
  return failure;
}

Result<std::unique_ptr<ByteSource>> OpenInput(const std::string& name) {
  const int descriptor = name == STANDARD_STREAM ? dup(STDIN_FILENO) : -1;
  return descriptor == -1 ? OpenSource(name) : OpenSource(descriptor, name);
}

MaybeFailure Summarize(const std::string& name, const ReadOptions& options, const Console& console,
                       Summary& summary, const std::function<void(const Columns&)>& also) {
  Result<std::unique_ptr<ByteSource>> source = OpenInput(name);
  if (!source) {
    return FailureOf(source.Why());
  }
  Reader reader(std::move(source).Take(), name, options);
  ProgressLine progress(console.terminal, "reading " + name, "MB", 1e6);
  Summarizer summarizer;
  const auto columns = std::make_unique<Columns>();
  while (reader.Next(*columns)) {
    summarizer.Add(*columns);
    if (also) {
      also(*columns);
    }
    progress.Update(reader.Source().InputRead(), reader.Source().InputSize().value_or(0));
  }
  summarizer.Finish();
  summary = summarizer.Get();
  summary.end = reader.GetFault();
  if (summary.end.kind == Fault::SYSTEM) {
    return FailureOf(summary.end);
  }
  return std::nullopt;
}

namespace {

// Opens or builds the index, with a line of progress.
template <class Make>
Fault TakeIndex(const Console& console, IndexedTrace& trace, Make make) {
  const Interruption interruption;
  ProgressLine progress(console.terminal, "indexing " + trace.file->Name(), "MB", 1e6);
  Result<std::unique_ptr<Index>> index = make([&](const Progress& now) {
    progress.Update(now.done, now.all);
    return !interruption.Asked();
  });
  if (!index) {
    return index.Why();
  }
  if (trace.index) {
    trace.replaced.push_back(std::move(trace.index));
  }
  trace.index = std::move(index).Take();
  return {};
}

}  // namespace

MaybeFailure OpenIndexedQuietly(const std::string& name, const Console& console,
                                IndexedTrace& trace) {
  Result<std::unique_ptr<TraceSource>> file = TraceSource::Open(name);
  if (!file) {
    return FailureOf(file.Why());
  }
  trace.file = std::move(file).Take();
  const Fault fault = TakeIndex(console, trace, [&](const ProgressCallback& progress) {
    return Index::Open(*trace.file, progress);
  });
  return fault ? MaybeFailure(IndexingFailureOf(fault, name)) : std::nullopt;
}

namespace {

// A trace that gzip or zstd packed has to be unpacked to be read anywhere, and is another file each
// time: its index is not kept.
MaybeFailure OpenUnpackedIndexed(const std::string& name, const Console& console,
                                 IndexedTrace& trace) {
  Result<UnpackedTrace> opened = [&] {
    const Interruption interruption;
    ProgressLine progress(console.terminal, "unpacking " + name, "MB", 1e6);
    return OpenUnpacked(name, [&](const Progress& now) {
      progress.Update(now.done, now.all);
      return !interruption.Asked();
    });
  }();
  if (!opened) {
    return IndexingFailureOf(opened.Why(), name);
  }
  trace.file = std::move(opened->trace);
  const std::unique_ptr<IndexStore> store = IndexInMemory();
  const Fault fault = TakeIndex(console, trace, [&](const ProgressCallback& progress) {
    return Index::Open(*trace.file, *store, progress);
  });
  return fault ? MaybeFailure(IndexingFailureOf(fault, name)) : std::nullopt;
}

// Whether it begins as what gzip or zstd packs; what cannot be looked at is told by who opens it.
bool IsPackedStream(const std::string& name) {
  const Result<std::unique_ptr<PositionedFile>> file = OpenPlainFile(name, PlainAccess::READ);
  uint8_t start[PACKED_START];
  if (!file) {
    return false;
  }
  const size_t length = static_cast<size_t>(std::min<uint64_t>((*file)->Size(), sizeof(start)));
  if ((*file)->ReadAt(0, length, start)) {
    return false;
  }
  const Packing packing = PackingOf(start, length);
  return packing == Packing::GZIP || packing == Packing::ZSTD;
}

}  // namespace

MaybeFailure OpenIndexed(const std::string& name, const Console& console, IndexedTrace& trace) {
  if (IsPackedStream(name)) {
    return OpenUnpackedIndexed(name, console, trace);
  }
  if (MaybeFailure failure = OpenIndexedQuietly(name, console, trace)) {
    return failure;
  }
  if (const MaybeFailure unkept = WhyUnkept(trace)) {
    Report(*unkept, console);
  }
  return std::nullopt;
}

MaybeFailure WhyUnkept(const IndexedTrace& trace) {
  if (!trace.index->FileName().empty()) {
    return std::nullopt;
  }
  const Fault& why = trace.index->WhyUnkept();
  const std::string reason =
      why ? "neither beside the trace nor in the cache folder (" + why.reason + ")"
          : "the trace has no name any more";
  return Failure{EXIT_SYSTEM, trace.file->Name() + ": no index can be kept: " + reason,
                 "Set XDG_CACHE_HOME to a folder that can be written, "
                 "or every question reads the whole trace."};
}

Fault RebuildIndex(const Console& console, IndexedTrace& trace) {
  return TakeIndex(console, trace, [&](const ProgressCallback& progress) {
    return Index::Rebuild(*trace.file, progress);
  });
}

Fault BlameIndex(const Fault& fault, const IndexedTrace& trace, const ArrayShape& shape) {
  const bool contradicts = fault.kind == Fault::OUTSIDE_ARRAY && trace.replaced.empty() &&
                           HoldsTrace(shape, trace.index->GetSummary());
  return contradicts ? trace.index->Damaged("the trace has places where it knows none") : fault;
}

Failure CutShort(const Fault& end) {
  Failure failure = FailureOf(end);
  failure.reason += "; what the trace held behind it is missing from the answer";
  return failure;
}

void ShapeFlags::Declare(CLI::App& app) {
  const auto positive = CLI::Range(1U, ArrayShape::LONGEST_SIDE);
  AddCount(app, "-c,--clusters", clusters, "Clusters along each axis")->check(positive);
  AddCount(app, "-d,--domains", domains, "Domains per cluster along each axis")->check(positive);
  AddCount(app, "-p,--pes", pes, "Processing elements per domain along each axis")->check(positive);
}

MaybeFailure ShapeFlags::Check() const {
  if (!Shape().IsDrawable()) {
    return Failure{EXIT_USAGE, "an array of more than 4096 positions along each axis",
                   "Give smaller counts with -c, -d and -p."};
  }
  return std::nullopt;
}

ArrayShape ShapeFlags::Shape() const {
  const ArrayShape usual;
  return {clusters.value_or(usual.clusters.columns), domains.value_or(usual.domains.columns),
          pes.value_or(usual.pes.columns)};
}

}  // namespace marrowfin
