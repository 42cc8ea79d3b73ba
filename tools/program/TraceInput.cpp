#include "tools/program/TraceInput.h"

#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <utility>

#include "tools/program/Flags.h"
#include "tools/program/Output.h"
#include "tools/program/ProgressLine.h"
#include "tools/program/Report.h"
#include "tools/program/WatchBytes.h"
#include "trace/edit/CopyTrace.h"
#include "trace/index/IndexStore.h"
#include "trace/read/CompanionFiles.h"
#include "trace/read/FittingShapes.h"
#include "trace/read/UnpackedTrace.h"

namespace marrowfin {

Failure IndexingFailureOf(const Fault& fault, const std::string& trace) {
  Failure failure = FailureOf(fault);
  if (fault.kind == Fault::SYSTEM && fault.file != trace && !IsOfStandardOutput(fault)) {
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
  Result<std::unique_ptr<Index>> index =
      WatchBytes("indexing " + trace.file->Name(), console, make);
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

bool IsStream(const std::string& name) {
  struct stat status;
  return name == STANDARD_STREAM ||
         (stat(name.c_str(), &status) == 0 && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode));
}

namespace {

MaybeFailure CopyFront(const std::string& name, uint64_t most, const Console& console,
                       IndexedTrace& trace) {
  Result<std::unique_ptr<ByteSource>> source = OpenInput(name);
  if (!source) {
    return FailureOf(source.Why());
  }
  // There is nothing yet that a signal could leave half written, and who writes may be slow.
  ProgressLine line(console.terminal, "reading " + name, "MB", 1e6);
  Result<std::unique_ptr<TraceSource>> copy =
      CopyTrace(**source, name, most, [&](const Progress& now) {
        line.Update(now.done, now.all);
        return true;
      });
  if (!copy) {
    return IndexingFailureOf(copy.Why(), name);
  }
  trace.file = std::move(copy).Take();
  trace.isCopy = true;
  return std::nullopt;
}

}  // namespace

MaybeFailure OpenUnindexed(const std::string& name, const Console& console, IndexedTrace& trace) {
  if (IsStream(name)) {
    return CopyFront(name, ~uint64_t{0}, console, trace);
  }
  Result<UnpackedTrace> opened =
      WatchBytes("unpacking " + name, console,
                 [&](const ProgressCallback& progress) { return OpenUnpacked(name, progress); });
  if (!opened) {
    return IndexingFailureOf(opened.Why(), name);
  }
  trace.file = std::move(opened->trace);
  trace.isCopy = opened->packed;
  return std::nullopt;
}

MaybeFailure IndexOpened(const Console& console, IndexedTrace& trace) {
  const Fault fault = TakeIndex(console, trace, [&](const ProgressCallback& progress) {
    return trace.isCopy ? Index::Open(*trace.file, *IndexWithoutName(), progress)
                        : Index::Open(*trace.file, progress);
  });
  if (fault) {
    return IndexingFailureOf(fault, trace.file->Name());
  }
  const MaybeFailure unkept = trace.isCopy ? std::nullopt : WhyUnkept(trace);
  if (unkept) {
    Report(*unkept, console);
  }
  return std::nullopt;
}

MaybeFailure OpenIndexed(const std::string& name, const Console& console, IndexedTrace& trace) {
  if (MaybeFailure failure = OpenUnindexed(name, console, trace)) {
    return failure;
  }
  return IndexOpened(console, trace);
}

MaybeFailure OpenFrontIndexed(const std::string& name, uint64_t most, const Console& console,
                              IndexedTrace& trace) {
  if (!IsStream(name)) {
    const Result<std::shared_ptr<const MfzFile>> packed = OpenPackedFile(name);
    if (!packed) {
      return FailureOf(packed.Why());
    }
    if (*packed != nullptr) {
      return OpenIndexed(name, console, trace);
    }
  }
  if (MaybeFailure failure = CopyFront(name, most, console, trace)) {
    return failure;
  }
  return IndexOpened(console, trace);
}

namespace {

// Whether both names are of one pipe, whatever it is called.
bool AreOnePipe(const std::string& a, const std::string& b) {
  const auto look = [](const std::string& name, struct stat& status) {
    return name == STANDARD_STREAM ? fstat(STDIN_FILENO, &status) : stat(name.c_str(), &status);
  };
  struct stat ofA;
  struct stat ofB;
  return look(a, ofA) == 0 && look(b, ofB) == 0 &&
         (S_ISFIFO(ofA.st_mode) || S_ISSOCK(ofA.st_mode)) && ofA.st_dev == ofB.st_dev &&
         ofA.st_ino == ofB.st_ino;
}

}  // namespace

MaybeFailure CheckReadOnce(const std::vector<std::string>& names) {
  if (std::count(names.begin(), names.end(), STANDARD_STREAM) > 1) {
    return Failure{EXIT_USAGE, "standard input (-) is named more than once", "Name it once."};
  }
  for (auto a = names.begin(); a != names.end(); ++a) {
    const auto b = std::find_if(a + 1, names.end(),
                                [&](const std::string& name) { return AreOnePipe(*a, name); });
    if (b != names.end()) {
      return Failure{EXIT_USAGE, *b + ": is the same pipe as " + *a, "Name it once."};
    }
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
    return trace.isCopy ? Index::Open(*trace.file, *IndexWithoutName(), progress)
                        : Index::Rebuild(*trace.file, progress);
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
