#include "trace/write/Writer.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "trace/base/BigEndian.h"
#include "trace/base/Record.h"

namespace marrowfin {

namespace {

void StorePlace(uint8_t* bytes, Place place) {
  Store32(bytes, place.column);
  Store32(bytes + 4, place.row);
}

// The length of the longest run of whole records within `limit` bytes.
size_t LengthOfWhole(const uint8_t* bytes, size_t size, size_t limit) {
  size_t whole = 0;
  while (whole < size) {
    const size_t next = whole + RecordSize(Load32(bytes + whole));
    if (next > limit) {
      break;
    }
    whole = next;
  }
  return whole;
}

}  // namespace

Writer::Writer(size_t bufferSize) : buffer(std::max(bufferSize, LARGE_RECORD)) {}

Writer::~Writer() { static_cast<void>(Close()); }

Fault Writer::Open(const std::string& fileName) {
  // First, or what is still buffered gets into the file behind its emptying, where it is the same.
  static_cast<void>(Close());
  const int opened = open(fileName.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (opened == -1) {
    fault = SystemFault(fileName, "cannot write", errno);
    written = 0;
    writtenBytes = 0;
    return fault;
  }
  Attach(opened, fileName);
  return {};
}

void Writer::Attach(int openDescriptor, const std::string& fileName) {
  static_cast<void>(Close());
  descriptor = openDescriptor;
  name = fileName;
  Use(own.emplace(descriptor, name));
}

void Writer::Attach(ByteSink& other) {
  static_cast<void>(Close());
  Use(other);
}

void Writer::Use(ByteSink& next) {
  sink = &next;
  fault = Fault();
  written = 0;
  writtenBytes = 0;
  filled = 0;
}

uint8_t* Writer::Begin(uint32_t type, uint64_t cycle, uint32_t thread) {
  const size_t size = RecordSize(type);
  if (filled + size > buffer.size()) {
    WriteOut();
  }
  uint8_t* record = buffer.data() + filled;
  filled += size;
  Store32(record + TYPE_OFFSET, type);
  Store64(record + CYCLE_OFFSET, cycle);
  Store32(record + THREAD_OFFSET, thread);
  Store32(record + LENGTH_OFFSET, PayloadSize(type));
  return record + PAYLOAD_OFFSET;
}

void Writer::Fire(uint64_t cycle, uint32_t thread, Place at) {
  StorePlace(Begin(FIRE_RECORD, cycle, thread), at);
}

void Writer::Switch(uint64_t cycle, uint32_t thread, Place at) {
  StorePlace(Begin(SWITCH_RECORD, cycle, thread), at);
}

void Writer::Send(uint64_t cycle, uint32_t thread, Place from, Place to) {
  uint8_t* payload = Begin(SEND_RECORD, cycle, thread);
  StorePlace(payload, from);
  StorePlace(payload + PLACE_SIZE, to);
}

void Writer::WriteOut() {
  size_t done = 0;
  while (done < filled && !fault) {
    const size_t left = filled - done;
    const uint8_t* piece = buffer.data() + done;
    const size_t largest = sink == nullptr ? 0 : sink->LargestPiece();
    const size_t size = largest != 0 ? LengthOfWhole(piece, left, largest) : left;
    WritePiece(piece, size);
    done += size;
  }
  filled = 0;
}

void Writer::WritePiece(const uint8_t* bytes, size_t size) {
  ByteSink::Written piece;
  if (sink != nullptr) {
    piece = sink->Write(bytes, size);
  } else {
    piece.fault = SystemFault("trace", "cannot write", EBADF);
  }
  CountWhole(bytes, LengthOfWhole(bytes, size, piece.taken));
  if (piece.fault) {
    fault = std::move(piece.fault);
    // What becomes of the rest of a sink is known to its owner alone.
    fault.reason += own ? "; " + std::to_string(written) + " whole records were written" : "";
  }
}

void Writer::CountWhole(const uint8_t* bytes, size_t size) {
  for (size_t at = 0; at < size; at += RecordSize(Load32(bytes + at))) {
    ++written;
  }
  writtenBytes += size;
}

Fault Writer::Flush() {
  if (!fault) {
    WriteOut();
  }
  return fault;
}

Fault Writer::Close() {
  if (sink == nullptr) {
    return fault;
  }
  static_cast<void>(Flush());
  sink = nullptr;
  own.reset();
  if (descriptor != -1 && close(std::exchange(descriptor, -1)) == -1 && !fault) {
    fault = SystemFault(name, "cannot write", errno);
  }
  return fault;
}

}  // namespace marrowfin
