#ifndef TRACE_WRITE_ZSTDSINK_H
#define TRACE_WRITE_ZSTDSINK_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "trace/base/Fault.h"
#include "trace/write/ByteSink.h"

namespace marrowfin {

// Packs what is written by zstd, on its way to another sink: for runs whose raw trace does not fit
// the disk. A Reader unpacks it as it reads; what reads out of order wants it unpacked.
//
// What is packed reaches the other sink in frames of some megabytes, each with a checksum: a run
// that is killed leaves whole frames, and what it wrote since the last one is lost. Whoever wants
// less to be lost flushes. One thread at a time.
class ZstdSink : public ByteSink {
 public:
  // `below` stays the caller's and outlives the sink. `level` is zstd's, 1 (quick) to 19 (small).
  explicit ZstdSink(ByteSink& below, int level = 1);
  ZstdSink(const ZstdSink&) = delete;
  ZstdSink& operator=(const ZstdSink&) = delete;
  ~ZstdSink() override;

  // Of a failed write nothing counts as taken: what is in a frame that did not get through is lost.
  Written Write(const uint8_t* bytes, size_t size) override;

  // Ends the frame. Call it when all is written, or what was written since counts as lost.
  [[nodiscard]] Fault Flush();

  // Bytes that were taken, and those that they became so far.
  uint64_t RawBytes() const { return raw; }
  uint64_t PackedBytes() const { return packed; }

 private:
  struct Context;
  Fault Pack(const uint8_t* bytes, size_t size, bool end);

  ByteSink& below;
  std::unique_ptr<Context> context;
  std::vector<uint8_t> out;
  uint64_t raw = 0;
  uint64_t packed = 0;
  uint64_t inFrame = 0;  // raw bytes
  Fault fault;           // the first one: nothing is written behind it
};

}  // namespace marrowfin

#endif
