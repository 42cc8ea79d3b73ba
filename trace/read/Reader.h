#ifndef TRACE_READ_READER_H
#define TRACE_READ_READER_H

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "trace/base/ArrayShape.h"
#include "trace/base/Fault.h"
#include "trace/read/ByteSource.h"
#include "trace/read/Columns.h"
#include "trace/read/Decode.h"

namespace marrowfin {

// What a reader holds against a trace whose records are all well-formed.
struct ReadOptions {
  // Locations must lie on this array, if one is given. Those of messages may be anywhere, so theirs
  // are findings of a kind of their own (FAR_END).
  std::optional<ArrayShape> array = {};

  // Cycles must not fall.
  bool ordered = true;

  // Where set, it is told of falling cycles and of locations outside the array, and the reading
  // goes on; else the first of them ends it.
  std::function<void(const Fault&)> onFinding = {};
};

// Reads a trace from front to back in batches and believes nothing that it reads.
//
// All records before a fault are delivered. Memory is one block of bytes, whatever the trace says:
// a payload length is checked and never used to allocate. Well-formed input is decoded without a
// branch per check; a batch in which something is wrong is looked at again, record by record.
// Threads: one at a time.
class Reader {
 public:
  // `name` is for messages.
  Reader(std::unique_ptr<ByteSource> source, const std::string& name, ReadOptions options = {});

  // Replaces `columns` by the next batch. False, with no records, at the end of the trace and where
  // a fault was met.
  [[nodiscard]] bool Next(Columns& columns);

  // The fault that ended the reading, if any.
  const Fault& GetFault() const { return fault; }

  uint64_t Records() const { return record; }  // delivered so far
  uint64_t Offset() const { return offset; }   // bytes that they take

  // For progress, see ByteSource.
  const ByteSource& Source() const { return *source; }

 private:
  bool Refill();
  void Check(Columns& columns, uint64_t cycleBefore);
  bool Keep(Columns& columns, size_t i, const Fault& finding);

  std::unique_ptr<ByteSource> source;
  std::string name;
  ReadOptions options;
  Fault fault;
  Fault behind;  // a fault of the source, kept until all before it is delivered
  std::vector<uint8_t> block;
  const uint8_t* begin;  // while a batch is checked, of its first record
  const uint8_t* end;
  bool atEnd = false;
  uint64_t record = 0;
  uint64_t offset = 0;
  uint64_t lastCycle = 0;
};

// Looks through a batch for records whose cycle falls (where `ordered`) or that lie outside `array`
// (where given) and calls `found(index, fault)` for each finding in order, until it returns false.
// `cycleBefore` is the cycle of the record before the batch.
void FindInBatch(const Columns& columns, uint64_t cycleBefore, bool ordered,
                 const std::optional<ArrayShape>& array,
                 const std::function<bool(size_t, const Fault&)>& found);

// Whether the checks that `options` asks for may have something to find in the batch.
// `cycleBefore` is the cycle of the record before it, or 0.
bool IsSuspicious(const ReadOptions& options, const Columns& columns, uint64_t cycleBefore);

}  // namespace marrowfin

#endif
