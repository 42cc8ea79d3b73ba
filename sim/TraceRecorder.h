#ifndef SIM_TRACERECORDER_H
#define SIM_TRACERECORDER_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "Marrowfin/Location.h"
#include "Util/Types.h"
#include "sim/Companion.h"
#include "trace/write/ByteSink.h"
#include "trace/write/Recorder.h"

namespace marrowfin::sim {

// Records what happens in the array, with a companion beside the trace where one is wanted, and
// makes sure that the trace holds whole records only.
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

  // Writes the trace `name` to an open file, which is the recorder's from then on. Without one,
  // events are only counted.
  void Attach(int descriptor, const std::string& name);

  // The same, with a companion: its notes go to `notes`, which is the recorder's as well, and the
  // about file, which tells `about`, beside the trace.
  void Attach(int descriptor, const std::string& name, int notes, const About& about);

  // Each returns the number of its record, which means something while a trace is written.
  RecordNumber Fire(Cycle now, uint32 thread, const Location& location);
  RecordNumber Send(Cycle now, uint32 thread, const Location& from, const Location& to);

  // The switch of the cluster whose first processing element is at `first`.
  RecordNumber Transmission(Cycle now, uint32 thread, const Location& first);

  // For notes of the event that was told last.
  Companion& Notes() { return companion; }

  // Writes what is left and closes the trace. False where that shows that it is not complete.
  bool Close();

  // Whether the trace cannot be written any more, and once it is closed whether anything of it or
  // of its companion is missing. A companion that fails meanwhile is no reason to give up a run.
  bool HasFailed() const { return static_cast<bool>(recorder.GetTraceFault()) || !error.empty(); }

  // Why, once the trace is closed.
  const std::string& Error() const { return error; }

  unsigned long long Events() const { return events; }  // whether written or not

 private:
  // A descriptor whose writes give up when a signal interrupts them.
  class Sink : public ByteSink {
   public:
    Written Write(const uint8_t* bytes, size_t size) override;
    size_t LargestPiece() const override { return LargestPieceOf(descriptor); }

    std::string Close();  // what went wrong

    int descriptor = -1;
    std::string name;
  };

  std::string TakeBackPart();

  Sink sink;
  Sink notesSink;
  Recorder recorder;
  Companion companion;
  bool isWriting;
  unsigned long long events;
  std::string error;
};

}  // namespace marrowfin::sim

#endif
