#include "sql/SqlTrace.h"

#include <utility>

#include "trace/index/IndexStore.h"
#include "trace/read/FittingShapes.h"
#include "trace/read/UnpackedTrace.h"

namespace marrowfin {

namespace {

// What SqlTrace refers to, in the order in which it is opened.
struct OwnedTrace {
  std::unique_ptr<TraceSource> file;
  std::unique_ptr<Index> index;
  std::optional<Companion> companion;
  std::optional<SqlTrace> asked;
};

// A text that anyone may edit tells as many elements as it likes.
bool IsOfSize(const ArrayShape& shape) {
  constexpr size_t MOST = size_t{ArrayShape::LONGEST_SIDE} * ArrayShape::LONGEST_SIDE;
  return shape.Elements() <= MOST;
}

}  // namespace

std::optional<ArrayShape> ArrayOf(const Companion& companion, const Summary& summary) {
  const About* const about = companion.GetAbout();
  const bool told = about != nullptr && about->array && IsOfSize(about->array->shape) &&
                    HoldsTrace(about->array->shape, summary);
  return told ? about->array->shape : SuggestShape(summary);
}

Result<std::shared_ptr<const SqlTrace>> OpenSqlTrace(const std::string& name,
                                                     const ProgressCallback& progress) {
  const auto owned = std::make_shared<OwnedTrace>();
  Result<UnpackedTrace> file = OpenUnpacked(name, progress);
  if (!file) {
    return file.Why();
  }
  owned->file = std::move(file->trace);
  // What is unpacked is another file each time: its index is of no use later.
  const std::unique_ptr<IndexStore> store =
      file->packed ? IndexInMemory() : IndexFilesOf(owned->file->File());
  Result<std::unique_ptr<Index>> index = Index::Open(*owned->file, *store, progress);
  if (!index) {
    return index.Why();
  }
  owned->index = std::move(index).Take();
  owned->companion = Companion::Beside(*owned->file);
  owned->asked.emplace(SqlTrace{*owned->file, *owned->index, *owned->companion,
                                ArrayOf(*owned->companion, owned->index->GetSummary()),
                                std::make_shared<SqlNotes>()});
  return std::shared_ptr<const SqlTrace>(owned, &*owned->asked);
}

bool SqlWork::Report(const void* scan, const Progress& now) {
  if (lead == nullptr) {
    lead = scan;
  }
  if (lead == scan) {
    reached = now;
  }
  return GoesOn();
}

void SqlWork::Leave(const void* scan) {
  if (lead == scan) {
    lead = nullptr;
  }
}

}  // namespace marrowfin
