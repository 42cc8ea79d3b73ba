#ifndef TRACE_INDEX_PACKEDSINK_H
#define TRACE_INDEX_PACKEDSINK_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "trace/base/About.h"
#include "trace/base/Fault.h"
#include "trace/read/PositionedFile.h"
#include "trace/write/ByteSink.h"

namespace marrowfin {

struct PackedSinkOptions {
  int level = 1;      // of zstd, 1 (quick) to 19 (small)
  bool index = true;  // whether the index is packed with the trace
};

// Packs a trace that is written to it (docs/packed-format.md), on its way to another sink, with its
// index and its companion, so that one file is all that it takes. Whatever the bytes are, the same
// come out: records as far as they are well-formed, and what follows as bytes.
//
//     AtomicFile file;
//     if (Fault fault = file.Open("run.mfz")) ...
//     PackedSink packed(file, "run.mfz");
//     Writer writer;
//     writer.Attach(packed);
//     ...
//     if (Fault fault = writer.Close()) ...
//     packed.EncloseNotes(...);  // where there are any, and EncloseAbout likewise
//     if (Fault fault = packed.End()) ...
//     if (Fault fault = file.Commit()) ...
//
// Memory follows the array, as that of an index does, and not the trace. One thread at a time; the
// index is packed in another meanwhile, where there are any.
class PackedSink : public ByteSink {
 public:
  // `below` stays the caller's and outlives the sink; `name` is for messages.
  PackedSink(ByteSink& below, const std::string& name, const PackedSinkOptions& options = {});
  PackedSink(const PackedSink&) = delete;
  PackedSink& operator=(const PackedSink&) = delete;
  ~PackedSink() override;

  // Notes that are packed with the trace, whatever they are; null for none. Blocks of notes follow
  // the blocks of the records that they are about; what is not there when these records are written
  // comes at the end.
  void EncloseNotes(std::unique_ptr<PositionedFile> notes);

  // An about file that is packed with the trace, whatever it is; null for none. At any time before
  // the end.
  void EncloseAbout(std::unique_ptr<PositionedFile> about);

  // Tells `about` by what the trace is recognised: by its first records. Before the end.
  void Recognise(About& about) const;

  Written Write(const uint8_t* bytes, size_t size) override;

  // Writes what is left, the index and the directory. A packed trace without is one that ends
  // early.
  [[nodiscard]] Fault End();

  // What came in so far, and what went out.
  uint64_t RawBytes() const;
  uint64_t PackedBytes() const;
  uint64_t Records() const;
  size_t Blocks() const;

 private:
  struct Work;
  std::unique_ptr<Work> work;
};

}  // namespace marrowfin

#endif
