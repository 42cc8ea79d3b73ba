#include "tools/program/NotesInput.h"

#include <utility>

#include "trace/index/IndexStore.h"

namespace marrowfin {

Result<std::unique_ptr<JoinedNotes>> JoinNotes(const IndexedTrace& trace, const NotesFile& notes,
                                               NotesIndexUse use,
                                               const ProgressCallback& progress) {
  auto joined = std::make_unique<JoinedNotes>(trace, notes);
  if (use == NotesIndexUse::NONE) {
    return joined;
  }
  Result<std::unique_ptr<NotesIndex>> index =
      use == NotesIndexUse::OPEN
          ? NotesIndex::Open(*trace.file, *trace.index, joined->notes, progress)
          : NotesIndex::Rebuild(*trace.file, *trace.index, joined->notes,
                                *IndexFilesOf(notes.File()), progress);
  if (!index) {
    return index.Why();
  }
  joined->index = std::move(index).Take();
  return joined;
}

}  // namespace marrowfin
