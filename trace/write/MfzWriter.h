#ifndef TRACE_WRITE_MFZWRITER_H
#define TRACE_WRITE_MFZWRITER_H

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "trace/base/Fault.h"
#include "trace/base/MfzFormat.h"
#include "trace/write/ByteSink.h"
#include "trace/write/MfzBlockEncoder.h"

namespace marrowfin {

// Writes the sections of a packed trace in the order in which they are handed over, and what stands
// around them. After a fault nothing more is written. One thread at a time.
class MfzWriter {
 public:
  // `below` stays the caller's and outlives the writer. `level` is zstd's, see MfzBlockEncoder.
  MfzWriter(ByteSink& below, int level);

  // A record of the trace, see MfzBlockEncoder::Add; whether that made a block complete. Every
  // block has MFZ_BLOCK_RECORDS records, but for the last before bytes or the end.
  bool Record(uint32_t kind, uint64_t cycle, uint32_t thread, Place at, Place to) {
    encoder.Add(kind, cycle, thread, at, to);
    rawOfBlock += RecordSize(kind + SWITCH_RECORD);
    if (encoder.Records() < MFZ_BLOCK_RECORDS) {
      return false;
    }
    EndBlock();
    return true;
  }

  // Ends the block that there is, if any.
  void EndBlock();

  // Bytes that go on with the file that a stream stands for, packed or as they are. Those of a
  // trace that are no records; no records follow them.
  void Bytes(MfzStream stream, MfzCoding coding, std::span<const uint8_t> bytes);

  // Ends all.
  [[nodiscard]] Fault End();

  // The first fault so far.
  const Fault& GetFault() const { return fault; }

  // What tells the trace so far, without the block that is not complete.
  uint64_t Content() const { return content.Value(); }

  // Of the trace and of all that is written, so far.
  uint64_t RawBytes() const { return ends[static_cast<size_t>(MfzStream::TRACE)]; }
  uint64_t PackedBytes() const { return offset; }
  size_t Blocks() const { return sections.size(); }

 private:
  void Put(MfzSection section, std::span<const uint8_t> packed);
  void Write(std::span<const uint8_t> bytes);

  ByteSink& below;
  const int level;
  MfzBlockEncoder encoder;
  uint64_t rawOfBlock = 0;
  std::vector<MfzSection> sections;
  std::array<uint64_t, MFZ_STREAMS> ends = {};
  uint64_t record = 0;  // the first of the next block
  uint64_t offset = 0;
  MfzContent content;
  Fault fault;
};

}  // namespace marrowfin

#endif
