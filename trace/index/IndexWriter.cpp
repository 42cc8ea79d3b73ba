#include "trace/index/IndexWriter.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "trace/index/IndexFormat.h"
#include "trace/index/Pack.h"

namespace marrowfin {

IndexWriter::IndexWriter(std::unique_ptr<IndexDraft> begun) : draft(std::move(begun)) {
  Put(INDEX_MAGIC);
}

void IndexWriter::Put(std::span<const uint8_t> bytes) {
  if (failed) {
    return;
  }
  failure = draft->Append(bytes);
  failed = static_cast<bool>(failure);
}

IndexSection IndexWriter::Append(std::span<const uint8_t> raw) {
  const std::vector<uint8_t> packed = Pack(raw);
  const IndexSection section = {draft->Size(), packed.size(), raw.size()};
  Put(packed);
  return section;
}

Fault IndexWriter::CopySections(const PositionedFile& from, uint64_t end) {
  std::vector<uint8_t> block(256 << 10);
  while (draft->Size() < end && !failed) {
    const size_t count = static_cast<size_t>(std::min<uint64_t>(block.size(), end - draft->Size()));
    if (Fault fault = from.ReadAt(draft->Size(), count, block.data())) {
      return fault;
    }
    Put({block.data(), count});
  }
  return failure;
}

Result<std::unique_ptr<PositionedFile>> IndexWriter::Commit(const IndexTables& tables) {
  const IndexSection directory = Append(EncodeDirectory(tables));
  uint8_t footer[INDEX_FOOTER];
  EncodeFooter(directory, footer);
  Put(footer);
  if (failed) {
    return failure;
  }
  return draft->Commit();
}

}  // namespace marrowfin
