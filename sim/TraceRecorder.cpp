#include "sim/TraceRecorder.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "Util/AppendFormat.h"
#include "sim/CanWrite.h"

namespace marrowfin::sim {

namespace {

constexpr unsigned HEADER_BYTES = 20;
constexpr unsigned LOCATION_BYTES = 8;

bool IsRegularFile(int fd) {
  struct stat info;
  return fstat(fd, &info) == 0 && S_ISREG(info.st_mode);
}

}  // namespace

TraceRecorder::TraceRecorder(VisTool& tool)
    : tool(tool), isWriting(false), isRegular(false), events(0), records(0), wholeBytes(0) {}

bool TraceRecorder::Open() {
  if (tool.outFilename.empty()) {
    return true;
  }
  if (!CanWrite(tool.outFilename)) {
    error = tool.outFilename + ": " + strerror(errno);
    return false;
  }
  tool.outFile = File(false);
  tool.InitializeForWrite();
  isRegular = IsRegularFile(tool.outFile.GetFD());
  isWriting = true;
  return true;
}

void TraceRecorder::Fire(Cycle now, uint32 thread, const Location& location) {
  ++events;
  if (isWriting) {
    Write(new PEFire(now, thread, location), HEADER_BYTES + LOCATION_BYTES);
  }
}

void TraceRecorder::Transmission(Cycle now, uint32 thread, const Location& location) {
  ++events;
  if (isWriting) {
    Write(new NetworkSwitchTransmission(now, thread, location), HEADER_BYTES + LOCATION_BYTES);
  }
}

void TraceRecorder::Send(Cycle now, uint32 thread, const Location& from, const Location& to) {
  ++events;
  if (isWriting) {
    Write(new MessageSend(now, thread, from, to), HEADER_BYTES + 2 * LOCATION_BYTES);
  }
}

void TraceRecorder::Write(VisToolEvent* event, unsigned bytes) {
  if (tool.WriteEvent(event) != File::SUCCESS) {
    Fail(strerror(errno));
    return;
  }
  wholeBytes += bytes;
  if (!IsWhole()) {
    wholeBytes -= bytes;
    // A write that is cut short does not say why; the next one does.
    const bool goesOn = tool.outFile.Write('\0') == File::SUCCESS;
    Fail(goesOn ? "a record was cut short" : strerror(errno));
    return;
  }
  ++records;
}

bool TraceRecorder::IsWhole() {
  long long position;
  return !isRegular || (tool.outFile.Tell(position) == File::SUCCESS && position == wholeBytes);
}

void TraceRecorder::Fail(const std::string& reason) {
  isWriting = false;
  const bool isCut = isRegular && ftruncate(tool.outFile.GetFD(), wholeBytes) != 0;
  AppendFormat(error, "%s: %s; it holds %llu whole records%s", tool.outFilename.c_str(),
               reason.c_str(), records, isCut ? " and a part of one" : "");
}

bool TraceRecorder::Close() {
  if (isWriting && tool.outFile.Close() != File::SUCCESS) {
    AppendFormat(error, "%s: %s; up to %llu records were written", tool.outFilename.c_str(),
                 strerror(errno), records);
  }
  isWriting = false;
  return !HasFailed();
}

}  // namespace marrowfin::sim
