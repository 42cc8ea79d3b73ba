#ifndef CONVERT_EXPORT_PIECEWRITER_H
#define CONVERT_EXPORT_PIECEWRITER_H

#include <cstdint>
#include <string>

#include "trace/base/Fault.h"
#include "trace/write/ByteSink.h"

namespace marrowfin {

// Gathers bytes until there is a piece that is worth writing. Threads: one at a time.
class PieceWriter {
 public:
  // `sink` stays the caller's and outlives the writer.
  explicit PieceWriter(ByteSink& sink) : sink(sink) { text.reserve(2 * PIECE); }

  // To which what is written is appended.
  std::string& Text() { return text; }

  // To be called now and then.
  [[nodiscard]] Fault Pass() { return text.size() < PIECE ? Fault() : Flush(); }

  [[nodiscard]] Fault Flush() {
    Fault fault = sink.Write(reinterpret_cast<const uint8_t*>(text.data()), text.size()).fault;
    text.clear();
    return fault;
  }

 private:
  static constexpr size_t PIECE = 1 << 16;

  ByteSink& sink;
  std::string text;
};

}  // namespace marrowfin

#endif
