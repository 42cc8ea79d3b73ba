#ifndef TOOLS_IMPORT_TRACEWRITER_H
#define TOOLS_IMPORT_TRACEWRITER_H

#include <cstdint>
#include <vector>

#include "Util/Types.h"
#include "tools/program/Failure.h"
#include "tools/program/OutputFile.h"
#include "trace/base/Place.h"

namespace marrowfin {

// Writes records of a trace to an OutputFile, the same bytes as the trace tool's, many per system
// call and without its abort when the disk is full.
//
// The first failure is kept: what follows is dropped, and Finish returns it.
class TraceWriter {
 public:
  explicit TraceWriter(OutputFile& output);

  void Fire(Cycle cycle, uint32 thread, const Place& at);
  void Message(Cycle cycle, uint32 thread, const Place& from, const Place& to);

  // Writes what is still held back. Call it once, at the end.
  [[nodiscard]] MaybeFailure Finish();

  bool Failed() const { return failure.has_value(); }
  uint64_t Fires() const { return fires; }
  uint64_t Messages() const { return messages; }

 private:
  void Begin(uint32 type, Cycle cycle, uint32 thread, uint32 words);
  void Add(const Place& place);
  template <class Number>
  void Append(Number value);
  void Flush();

  OutputFile& output;
  std::vector<unsigned char> buffer;
  MaybeFailure failure;
  uint64_t fires;
  uint64_t messages;
};

}  // namespace marrowfin

#endif
