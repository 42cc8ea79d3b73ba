#include "trace/read/TraceFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "trace/base/BigEndian.h"
#include "trace/read/BusGuard.h"
#include "trace/read/Reader.h"
#include "trace/read/Unpack.h"

namespace marrowfin {

namespace {

Fault NotPlain(const std::string& name, const std::string& what) {
  Fault fault;
  fault.kind = Fault::SYSTEM;
  fault.file = name;
  fault.reason = what + " cannot be read out of order";
  fault.remedy = "copy or unpack it into a plain file";
  return fault;
}

// The system maps the pages around one that was touched for the first time, as many as these.
// Decoding fetches bytes far ahead, but nothing can be fetched from a page that is not mapped: so
// the next window is touched before the fetching gets there.
constexpr uint64_t WINDOW = 65536;

void TouchWindow(const uint8_t* bytes, uint64_t offset, uint64_t limit) {
  constexpr uint64_t NEAR = 4096;
  constexpr uint64_t LARGEST_BATCH = Columns::CAPACITY * LARGE_RECORD;
  const uint64_t window = (offset + NEAR + WINDOW - 1) / WINDOW * WINDOW;
  if (window < limit && window < offset + NEAR + LARGEST_BATCH) {
    static_cast<void>(*static_cast<const volatile uint8_t*>(bytes + window));
  }
}

bool IsPacked(const uint8_t* bytes, uint64_t size) {
  return PackingOf(bytes, std::min<uint64_t>(size, PACKED_START)) != Packing::NONE;
}

uint64_t Nanoseconds(const struct timespec& time) {
  return static_cast<uint64_t>(time.tv_sec) * 1000000000 + static_cast<uint64_t>(time.tv_nsec);
}

TraceFile::Identity IdentityOf(const struct stat& status) {
  TraceFile::Identity identity;
  identity.size = static_cast<uint64_t>(status.st_size);
  identity.modified = Nanoseconds(status.st_mtim);
  identity.changed = Nanoseconds(status.st_ctim);
  identity.device = status.st_dev;
  identity.inode = status.st_ino;
  return identity;
}

}  // namespace

TraceFile::TraceFile(const std::string& name, int descriptor)
    : name(name), descriptor(descriptor) {}

TraceFile::~TraceFile() {
  if (bytes != nullptr) {
    munmap(const_cast<uint8_t*>(bytes), size);
  }
  close(descriptor);
}

Result<std::unique_ptr<TraceFile>> TraceFile::Open(const std::string& name) {
  // A FIFO without a writer must not hold the caller up: it is refused below anyway.
  const int descriptor = open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (descriptor == -1) {
    return SystemFault(name, "cannot open", errno);
  }
  std::unique_ptr<TraceFile> file(new TraceFile(name, descriptor));
  if (Fault fault = file->Map()) {
    return fault;
  }
  bool packed = false;
  if (!BusGuard::Run(file->bytes, file->size,
                     [&] { packed = IsPacked(file->bytes, file->size); })) {
    return file->Changed(0);
  }
  if (packed) {
    return NotPlain(name, "a packed trace");
  }
  return file;
}

Fault TraceFile::Map() {
  struct stat status;
  if (fstat(descriptor, &status) == -1) {
    return SystemFault(name, "cannot open", errno);
  }
  if (S_ISDIR(status.st_mode)) {
    return SystemFault(name, "cannot read", EISDIR);
  }
  if (!S_ISREG(status.st_mode)) {
    return NotPlain(name, "a pipe or device");
  }
  identity = IdentityOf(status);
  size = identity.size;
  if (size > 0) {
    void* mapped = mmap(nullptr, size, PROT_READ, MAP_SHARED, descriptor, 0);
    if (mapped == MAP_FAILED) {
      return SystemFault(name, "cannot map", errno);
    }
    bytes = static_cast<const uint8_t*>(mapped);
  }
  return {};
}

Fault TraceFile::Changed(uint64_t offset) const {
  Fault fault;
  fault.kind = Fault::CHANGED;
  fault.file = name;
  fault.offset = offset;
  fault.reason = "the file became shorter while it was read";
  fault.remedy = "open it again when whoever writes it is done";
  return fault;
}

bool TraceFile::IsShorter() const {
  struct stat status;
  return fstat(descriptor, &status) == 0 && static_cast<uint64_t>(status.st_size) < size;
}

Fault TraceFile::CheckUnchanged() const {
  struct stat status;
  if (fstat(descriptor, &status) == -1) {
    return SystemFault(name, "cannot look at", errno);
  }
  const Identity now = IdentityOf(status);
  if (now.size < size) {
    return Changed(now.size);
  }
  if (now.size == size && now.modified != identity.modified) {
    Fault fault = Changed(0);
    fault.reason = "the file was written to while it was read";
    return fault;
  }
  return {};
}

bool TraceFile::IsUntouched() const {
  struct stat status;
  return fstat(descriptor, &status) == 0 &&
         static_cast<uint64_t>(status.st_size) == identity.size &&
         Nanoseconds(status.st_mtim) == identity.modified;
}

Result<uint64_t> TraceFile::Decode(uint64_t offset, uint64_t limit, Columns& columns) const {
  columns.Clear();
  columns.firstOffset = offset;
  limit = std::min(limit, size);
  if (offset >= limit) {
    Fault fault = Changed(offset);
    fault.reason = "the trace ends where more records are expected";
    return fault;
  }
  const uint8_t* next = nullptr;
  bool atZeros = false;
  const bool whole = BusGuard::Run(bytes, size, [&] {
    TouchWindow(bytes, offset, limit);
    next = DecodeBest(bytes + offset, bytes + limit, columns);
    atZeros = bytes + size - next >= 4 && Load32(next) == 0;
  });
  // In the page in which a truncated file ends, zeros stand for what is gone: they end the batch or
  // follow it, and may be part of its last record.
  const bool stopped = columns.size < Columns::CAPACITY || bytes + size - next < 4 || atZeros;
  if (!whole || (stopped && IsShorter())) {
    columns.Clear();
    return Changed(offset);
  }
  if (columns.size == 0) {
    return MalformedAt(offset, limit);
  }
  return static_cast<uint64_t>(next - bytes);
}

// What is wrong with the record at byte `offset`, where none could be decoded before `limit`.
Fault TraceFile::MalformedAt(uint64_t offset, uint64_t limit) const {
  uint8_t copy[LARGE_RECORD];
  const size_t left = static_cast<size_t>(std::min<uint64_t>(limit - offset, sizeof(copy)));
  if (Fault fault = Copy(offset, left, copy)) {
    return fault;
  }
  Fault fault = MalformedRecord(copy, copy + left);
  fault.file = name;
  fault.offset = offset;
  return fault;
}

// By reading: a page that nobody has looked at yet is not mapped, and mapping it takes longer.
Fault TraceFile::Copy(uint64_t offset, size_t length, uint8_t* out) const {
  if (offset > size || length > size - offset) {
    return Changed(offset);
  }
  for (size_t done = 0; done < length;) {
    const off_t at = static_cast<off_t>(offset + done);
    const ssize_t got = pread(descriptor, out + done, length - done, at);
    if (got == -1 && errno == EINTR) {
      continue;
    }
    if (got <= 0) {
      return got == 0 ? Changed(offset) : SystemFault(name, "cannot read", errno);
    }
    done += static_cast<size_t>(got);
  }
  return {};
}

}  // namespace marrowfin
