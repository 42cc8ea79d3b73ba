#include "tools/program/UnpackedInput.h"

#include <memory>
#include <utility>

#include "trace/index/IndexStore.h"
#include "trace/read/UnpackedTrace.h"

namespace marrowfin {

MaybeFailure OpenUnpackedTrace(const std::string& name, const Console& console, IndexedTrace& trace,
                               bool& packed) {
  Result<UnpackedTrace> opened =
      WatchBytes("unpacking " + name, console,
                 [&](const ProgressCallback& progress) { return OpenUnpacked(name, progress); });
  if (!opened) {
    return IndexingFailureOf(opened.Why(), name);
  }
  trace.file = std::move(opened->trace);
  packed = opened->packed;
  return std::nullopt;
}

MaybeFailure IndexUnpacked(const std::string& name, bool packed, const Console& console,
                           IndexedTrace& trace) {
  if (!packed) {
    return OpenIndexed(name, console, trace);
  }
  const std::unique_ptr<IndexStore> store = IndexInMemory();
  Result<std::unique_ptr<Index>> index = WatchBytes(
      "indexing " + trace.file->Name(), console,
      [&](const ProgressCallback& progress) { return Index::Open(*trace.file, *store, progress); });
  if (!index) {
    return IndexingFailureOf(index.Why(), trace.file->Name());
  }
  trace.index = std::move(index).Take();
  return std::nullopt;
}

}  // namespace marrowfin
