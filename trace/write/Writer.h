#ifndef TRACE_WRITE_WRITER_H
#define TRACE_WRITE_WRITER_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "trace/base/Fault.h"
#include "trace/base/Place.h"
#include "trace/write/ByteSink.h"

namespace marrowfin {

// Writes a trace through a buffer: the same bytes as the trace tool writes, without its five system
// calls a record. Where they go is a file, or any sink.
//
// The buffer is written out when it is full and by Flush and Close, always in whole records, so
// that whoever reads a FIFO on the other side gets whole records too (up to PIPE_BUF at a time
// there). After a fault nothing more is written; WholeRecords tells what got there. One thread at a
// time.
class Writer {
 public:
  explicit Writer(size_t bufferSize = 256 << 10);
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  // Writes out what is buffered, as far as that is possible, and closes the file.
  ~Writer();

  // Creates `name`, or empties it. A file that is open is flushed and closed before, also where it
  // is the same; who wants to know whether that went well calls Close.
  [[nodiscard]] Fault Open(const std::string& name);

  // Writes to an open descriptor, which is closed with the writer; `name` is for messages. A file
  // that is open is closed before, as by Open.
  void Attach(int descriptor, const std::string& name);

  // Writes to a sink, which stays the caller's and outlives the writer or its next Close: whether
  // what is written there gets a name is none of the writer's business.
  void Attach(ByteSink& sink);

  void Fire(uint64_t cycle, uint32_t thread, Place at);
  void Switch(uint64_t cycle, uint32_t thread, Place at);
  void Send(uint64_t cycle, uint32_t thread, Place from, Place to);

  // Hands what is buffered to the sink; the first fault, if there was one.
  [[nodiscard]] Fault Flush();

  // Flushes and closes; the first fault, if there was one.
  [[nodiscard]] Fault Close();

  // The first fault so far.
  const Fault& GetFault() const { return fault; }

  // Records in the sink for certain: those flushed and, after a failed write, the whole ones that
  // got there.
  uint64_t WholeRecords() const { return written; }

  // The bytes of these. A sink that failed may hold a part of the next record behind them.
  uint64_t WholeBytes() const { return writtenBytes; }

 private:
  void Use(ByteSink& next);
  uint8_t* Begin(uint32_t type, uint64_t cycle, uint32_t thread);
  void WriteOut();
  void WritePiece(const uint8_t* bytes, size_t size);
  void CountWhole(const uint8_t* bytes, size_t size);

  std::vector<uint8_t> buffer;
  size_t filled = 0;
  ByteSink* sink = nullptr;           // null while there is nothing to write to
  std::optional<DescriptorSink> own;  // the sink on `descriptor`
  int descriptor = -1;
  std::string name;  // of the descriptor
  Fault fault;
  uint64_t written = 0;
  uint64_t writtenBytes = 0;
};

}  // namespace marrowfin

#endif
