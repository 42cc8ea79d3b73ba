#ifndef SIM_TRACERECORDER_H
#define SIM_TRACERECORDER_H

#include <cerrno>
#include <string>

#include "Core/VisTool.h"

namespace marrowfin::sim {

// Records what happens in the array through the trace tool, and makes sure that the file holds
// whole records only.
//
// The tool alone ends the program when a write fails, and takes a write that was cut short for a
// success. So its file is made one that reports failures, and its position is checked after every
// record. When a record cannot be written, the recorder takes back the part of it that was, stops,
// and keeps the reason; the run is expected to look at HasFailed() between two cycles.
class TraceRecorder {
 public:
  // Writes through `tool`, whose outFilename may be set later.
  explicit TraceRecorder(VisTool& tool);

  // Opens the trace that the tool's option names, if it names one. False where the file cannot be
  // written; Error() then says why, and the file was not touched.
  bool Open();

  void Fire(Cycle now, uint32 thread, const Location& location);
  void Transmission(Cycle now, uint32 thread, const Location& location);
  void Send(Cycle now, uint32 thread, const Location& from, const Location& to);

  // Closes the trace. False where that shows that it is not complete.
  bool Close();

  bool HasFailed() const { return !error.empty(); }
  const std::string& Error() const { return error; }

  unsigned long long Events() const { return events; }    // whether written or not
  unsigned long long Records() const { return records; }  // whole, in the trace

 private:
  void Write(VisToolEvent* event, unsigned bytes);
  bool IsWhole();
  void Fail(const std::string& reason);

  VisTool& tool;
  bool isWriting;
  bool isRegular;  // whether the trace is a file with a position, and no pipe or device
  unsigned long long events;
  unsigned long long records;
  long long wholeBytes;  // of the records
  std::string error;
};

}  // namespace marrowfin::sim

#endif
