#include "sim/TraceRecorder.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace marrowfin::sim {

namespace {

bool IsRegularFile(int descriptor) {
  struct stat info;
  return fstat(descriptor, &info) == 0 && S_ISREG(info.st_mode);
}

Place PlaceOf(const Location& location) { return {location.column, location.row}; }

}  // namespace

ByteSink::Written TraceRecorder::Sink::Write(const uint8_t* bytes, size_t size) {
  Written written;
  while (written.taken < size) {
    const ssize_t put = write(descriptor, bytes + written.taken, size - written.taken);
    if (put == -1) {
      written.fault = SystemFault(name, "cannot write", errno);
      break;
    }
    written.taken += static_cast<size_t>(put);
  }
  return written;
}

std::string TraceRecorder::Sink::Close() {
  if (descriptor == -1 || close(std::exchange(descriptor, -1)) == 0) {
    return "";
  }
  return SystemFault(name, "cannot write", errno).Text();
}

TraceRecorder::TraceRecorder() : companion(recorder), isWriting(false), events(0) {}

TraceRecorder::~TraceRecorder() { Close(); }

void TraceRecorder::Attach(int descriptor, const std::string& name) {
  sink.descriptor = descriptor;
  sink.name = name;
  recorder.Attach(sink, nullptr, name);
  isWriting = true;
}

void TraceRecorder::Attach(int descriptor, const std::string& name, int notes, const About& about) {
  sink.descriptor = descriptor;
  sink.name = name;
  notesSink.descriptor = notes;
  notesSink.name = name + ".notes";
  recorder.Attach(sink, &notesSink, name);
  recorder.Describe(about);
  companion.Begin();
  isWriting = true;
}

RecordNumber TraceRecorder::Fire(Cycle now, uint32 thread, const Location& location) {
  ++events;
  return isWriting ? recorder.Fire(now, thread, PlaceOf(location)) : RecordNumber{};
}

RecordNumber TraceRecorder::Transmission(Cycle now, uint32 thread, const Location& first) {
  ++events;
  return isWriting ? recorder.Transmit(now, thread, PlaceOf(first)) : RecordNumber{};
}

RecordNumber TraceRecorder::Send(Cycle now, uint32 thread, const Location& from,
                                 const Location& to) {
  ++events;
  return isWriting ? recorder.Send(now, thread, PlaceOf(from), PlaceOf(to)) : RecordNumber{};
}

bool TraceRecorder::Close() {
  if (!isWriting) {
    return !HasFailed();
  }
  isWriting = false;
  companion.End();
  const Fault fault = recorder.Close();
  if (recorder.GetTraceFault()) {
    error = recorder.GetTraceFault().Text() + TakeBackPart();
  } else if (fault) {
    error = fault.Text();
  }
  for (Sink* file : {&sink, &notesSink}) {
    const std::string failure = file->Close();
    error += error.empty() ? failure : "";
  }
  return !HasFailed();
}

// Cuts the file behind its whole records. What is to be said of it.
std::string TraceRecorder::TakeBackPart() {
  const bool isLeft = IsRegularFile(sink.descriptor) &&
                      ftruncate(sink.descriptor, static_cast<off_t>(recorder.WholeBytes())) != 0;
  return "; it holds " + std::to_string(recorder.WholeRecords()) + " whole records" +
         (isLeft ? " and a part of one" : "");
}

}  // namespace marrowfin::sim
