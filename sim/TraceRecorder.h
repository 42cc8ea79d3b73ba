#ifndef SIM_TRACERECORDER_H
#define SIM_TRACERECORDER_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "Marrowfin/Location.h"
#include "Util/Types.h"
#include "trace/write/ByteSink.h"
#include "trace/write/Writer.h"

namespace marrowfin::sim {

// Records what happens in the array, and makes sure that the file holds whole records only.
//
// The bytes are those of the trace tool, which is not used: its five system calls a record take
// several times as long as the simulation. When records cannot be written, the recorder stops,
// takes back the part of a record that was, and keeps the reason; the run is expected to look at
// HasFailed() between two cycles. A program that is killed leaves whole records too, unless that
// happens in the middle of a write.
class TraceRecorder {
 public:
  TraceRecorder();

  // Closes the trace.
  ~TraceRecorder();

  // Writes to an open file, which is the recorder's from then on; `name` is for messages. Without
  // one, events are only counted.
  void Attach(int descriptor, const std::string& name);

  void Fire(Cycle now, uint32 thread, const Location& location);
  void Transmission(Cycle now, uint32 thread, const Location& location);
  void Send(Cycle now, uint32 thread, const Location& from, const Location& to);

  // Writes what is left and closes the trace. False where that shows that it is not complete.
  bool Close();

  bool HasFailed() const { return static_cast<bool>(writer.GetFault()) || !error.empty(); }

  // Why, once the trace is closed.
  const std::string& Error() const { return error; }

  unsigned long long Events() const { return events; }  // whether written or not

 private:
  // A descriptor whose writes give up when a signal interrupts them.
  class Sink : public ByteSink {
   public:
    Written Write(const uint8_t* bytes, size_t size) override;
    size_t LargestPiece() const override { return LargestPieceOf(descriptor); }

    int descriptor = -1;
    std::string name;
  };

  std::string TakeBackPart();

  Sink sink;
  Writer writer;
  bool isWriting;
  unsigned long long events;
  std::string error;
};

}  // namespace marrowfin::sim

#endif
