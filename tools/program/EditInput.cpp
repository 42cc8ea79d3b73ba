#include "tools/program/EditInput.h"

#include <sys/stat.h>

#include <utility>

#include "tools/program/CompanionInput.h"
#include "tools/program/Interruption.h"
#include "tools/program/Output.h"
#include "tools/program/ProgressLine.h"
#include "trace/edit/CopyTrace.h"
#include "trace/index/IndexStore.h"
#include "trace/read/CompanionFiles.h"
#include "trace/read/UnpackedTrace.h"

namespace marrowfin {
namespace {

// Calls `work` with a line of progress that counts bytes.
template <class Work>
auto WatchBytes(const std::string& task, const Console& console, Work work) {
  const Interruption interruption;
  ProgressLine line(console.terminal, task, "MB", 1e6);
  return work([&](const Progress& now) {
    line.Update(now.done, now.all);
    return !interruption.Asked();
  });
}

// What is a pipe, a terminal or a device can be read from front to back only.
bool IsStream(const std::string& name) {
  struct stat status;
  return name == STANDARD_STREAM ||
         (stat(name.c_str(), &status) == 0 && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode));
}

// Indexes a copy, in a file that has no name either.
MaybeFailure IndexCopy(const Console& console, IndexedTrace& trace) {
  const std::string& name = trace.file->Name();
  const std::unique_ptr<IndexStore> store = IndexFileAt("", 0);
  Result<std::unique_ptr<Index>> index = WatchBytes(
      "indexing " + name, console,
      [&](const ProgressCallback& progress) { return Index::Open(*trace.file, *store, progress); });
  if (!index) {
    return IndexingFailureOf(index.Why(), name);
  }
  trace.index = std::move(index).Take();
  return std::nullopt;
}

}  // namespace

MaybeFailure OpenFrontIndexed(const std::string& name, uint64_t most, const Console& console,
                              IndexedTrace& trace) {
  const Result<std::shared_ptr<const MfzFile>> packed = OpenPackedFile(name);
  if (!packed) {
    return FailureOf(packed.Why());
  }
  if (*packed != nullptr) {
    return OpenIndexed(name, console, trace);
  }
  Result<std::unique_ptr<ByteSource>> source = OpenInput(name);
  if (!source) {
    return FailureOf(source.Why());
  }
  Result<std::unique_ptr<TraceSource>> copy = WatchBytes(
      "reading " + name, console,
      [&](const ProgressCallback& progress) { return CopyTrace(**source, name, most, progress); });
  if (!copy) {
    return IndexingFailureOf(copy.Why(), name);
  }
  trace.file = std::move(copy).Take();
  return IndexCopy(console, trace);
}

MaybeFailure OpenAnyIndexed(const std::string& name, const Console& console, IndexedTrace& trace) {
  if (IsStream(name)) {
    return OpenFrontIndexed(name, ~uint64_t{0}, console, trace);
  }
  Result<UnpackedTrace> opened =
      WatchBytes("unpacking " + name, console,
                 [&](const ProgressCallback& progress) { return OpenUnpacked(name, progress); });
  if (!opened) {
    return IndexingFailureOf(opened.Why(), name);
  }
  if (!opened->packed) {
    return OpenIndexed(name, console, trace);
  }
  trace.file = std::move(opened->trace);
  return IndexCopy(console, trace);
}

void OpenItsCompanion(const Console& console, EditedTrace& edited) {
  const TraceSource& trace = *edited.trace.file;
  edited.companion = trace.Name() == STANDARD_STREAM
                         ? Companion::Of(trace, nullptr, nullptr)
                         : OpenCompanion(trace, edited.GetSummary().records, console);
  if (const NotesFile* const notes = edited.companion->Notes()) {
    edited.notes = std::make_unique<JoinedNotes>(edited.trace, *notes);
  }
}

}  // namespace marrowfin
