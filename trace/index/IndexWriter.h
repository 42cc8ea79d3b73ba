#ifndef TRACE_INDEX_INDEXWRITER_H
#define TRACE_INDEX_INDEXWRITER_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>

#include "trace/base/Result.h"
#include "trace/index/IndexStore.h"
#include "trace/index/IndexTables.h"

namespace marrowfin {

// Writes the parts of an index in the order in which the format has them.
class IndexWriter {
 public:
  explicit IndexWriter(std::unique_ptr<IndexDraft> draft);

  // Packs and appends a section. After a failed write nothing more is written, and Commit fails.
  IndexSection Append(std::span<const uint8_t> raw);

  uint64_t Size() const { return draft->Size(); }

  // Whether a write failed, so that what follows is in vain. May be asked while another thread
  // appends.
  bool Failed() const { return failed; }
  const Fault& WhyFailed() const { return failure; }

  // Copies the sections of an older index that lie before byte `end`, so that those of its
  // boundaries stay valid. Nothing was appended before.
  [[nodiscard]] Fault CopySections(const PositionedFile& from, uint64_t end);

  // What was written so far, for reading.
  [[nodiscard]] Result<std::unique_ptr<PositionedFile>> Written() const { return draft->Written(); }

  // Writes the directory and the footer, and ends the draft.
  [[nodiscard]] Result<std::unique_ptr<PositionedFile>> Commit(const IndexTables& tables);

  // See IndexDraft.
  Fault Refusal() const { return draft->Refusal(); }

 private:
  void Put(std::span<const uint8_t> bytes);

  std::unique_ptr<IndexDraft> draft;
  Fault failure;
  std::atomic<bool> failed = false;
};

}  // namespace marrowfin

#endif
