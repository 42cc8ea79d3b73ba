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

std::unique_ptr<TraceFile> TraceFile::Open(const std::string& name, Fault& fault) {
  // A FIFO without a writer must not hold the caller up: it is refused below anyway.
  const int descriptor = open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (descriptor == -1) {
    fault = SystemFault(name, "cannot open", errno);
    return nullptr;
  }
  std::unique_ptr<TraceFile> file(new TraceFile(name, descriptor));
  struct stat status;
  if (fstat(descriptor, &status) == -1) {
    fault = SystemFault(name, "cannot open", errno);
    return nullptr;
  }
  if (S_ISDIR(status.st_mode)) {
    fault = SystemFault(name, "cannot read", EISDIR);
    return nullptr;
  }
  if (!S_ISREG(status.st_mode)) {
    fault = NotPlain(name, "a pipe or device");
    return nullptr;
  }
  file->identity = IdentityOf(status);
  file->size = file->identity.size;
  if (file->size > 0) {
    void* mapped = mmap(nullptr, file->size, PROT_READ, MAP_SHARED, descriptor, 0);
    if (mapped == MAP_FAILED) {
      fault = SystemFault(name, "cannot map", errno);
      return nullptr;
    }
    file->bytes = static_cast<const uint8_t*>(mapped);
  }
  bool packed = false;
  if (!BusGuard::Run(file->bytes, file->size,
                     [&] { packed = IsPacked(file->bytes, file->size); })) {
    fault = file->Changed(0);
    return nullptr;
  }
  if (packed) {
    fault = NotPlain(name, "a packed trace");
    return nullptr;
  }
  return file;
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

bool TraceFile::IsUnchanged(Fault& fault) const {
  struct stat status;
  if (fstat(descriptor, &status) == -1) {
    fault = SystemFault(name, "cannot look at", errno);
    return false;
  }
  const Identity now = IdentityOf(status);
  if (now.size < size) {
    fault = Changed(now.size);
  } else if (now.size == size && now.modified != identity.modified) {
    fault = Changed(0);
    fault.reason = "the file was written to while it was read";
  }
  return !fault;
}

bool TraceFile::IsUntouched() const {
  struct stat status;
  return fstat(descriptor, &status) == 0 &&
         static_cast<uint64_t>(status.st_size) == identity.size &&
         Nanoseconds(status.st_mtim) == identity.modified;
}

uint64_t TraceFile::Decode(uint64_t offset, uint64_t limit, Columns& columns, Fault& fault) const {
  columns.Clear();
  columns.firstOffset = offset;
  limit = std::min(limit, size);
  if (offset >= limit) {
    fault = Changed(offset);
    fault.reason = "the trace ends where more records are expected";
    return offset;
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
    fault = Changed(offset);
    return offset;
  }
  uint8_t copy[LARGE_RECORD];
  const size_t left = static_cast<size_t>(std::min<uint64_t>(limit - offset, sizeof(copy)));
  if (columns.size == 0 && Copy(offset, left, copy, fault)) {
    fault = MalformedRecord(copy, copy + left);
    fault.file = name;
    fault.offset = offset;
  }
  return static_cast<uint64_t>(next - bytes);
}

// By reading: a page that nobody has looked at yet is not mapped, and mapping it takes longer.
bool TraceFile::Copy(uint64_t offset, size_t length, uint8_t* out, Fault& fault) const {
  if (offset > size || length > size - offset) {
    fault = Changed(offset);
    return false;
  }
  for (size_t done = 0; done < length;) {
    const off_t at = static_cast<off_t>(offset + done);
    const ssize_t got = pread(descriptor, out + done, length - done, at);
    if (got == -1 && errno == EINTR) {
      continue;
    }
    if (got <= 0) {
      fault = got == 0 ? Changed(offset) : SystemFault(name, "cannot read", errno);
      return false;
    }
    done += static_cast<size_t>(got);
  }
  return true;
}

}  // namespace marrowfin
