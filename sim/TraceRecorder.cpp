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

TraceRecorder::TraceRecorder() : isWriting(false), events(0) {}

TraceRecorder::~TraceRecorder() { Close(); }

void TraceRecorder::Attach(int descriptor, const std::string& name) {
  sink.descriptor = descriptor;
  sink.name = name;
  writer.Attach(sink);
  isWriting = true;
}

void TraceRecorder::Fire(Cycle now, uint32 thread, const Location& location) {
  ++events;
  if (isWriting) {
    writer.Fire(now, thread, PlaceOf(location));
  }
}

void TraceRecorder::Transmission(Cycle now, uint32 thread, const Location& location) {
  ++events;
  if (isWriting) {
    writer.Switch(now, thread, PlaceOf(location));
  }
}

void TraceRecorder::Send(Cycle now, uint32 thread, const Location& from, const Location& to) {
  ++events;
  if (isWriting) {
    writer.Send(now, thread, PlaceOf(from), PlaceOf(to));
  }
}

bool TraceRecorder::Close() {
  if (!isWriting) {
    return !HasFailed();
  }
  isWriting = false;
  Fault fault = writer.Close();
  const std::string contents = fault ? TakeBackPart() : "";
  if (close(std::exchange(sink.descriptor, -1)) != 0 && !fault) {
    fault = SystemFault(sink.name, "cannot write", errno);
  }
  if (fault) {
    error = fault.Text() + contents;
  }
  return !HasFailed();
}

// Cuts the file behind its whole records. What is to be said of it.
std::string TraceRecorder::TakeBackPart() {
  const bool isLeft = IsRegularFile(sink.descriptor) &&
                      ftruncate(sink.descriptor, static_cast<off_t>(writer.WholeBytes())) != 0;
  return "; it holds " + std::to_string(writer.WholeRecords()) + " whole records" +
         (isLeft ? " and a part of one" : "");
}

}  // namespace marrowfin::sim
