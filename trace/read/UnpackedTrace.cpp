#include "trace/read/UnpackedTrace.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

#include "trace/base/UnnamedFile.h"
#include "trace/read/OpenSource.h"
#include "trace/read/Packing.h"

namespace marrowfin {
namespace {

constexpr size_t BLOCK = 1 << 18;

Fault WriteAll(int descriptor, const std::string& folder, const uint8_t* bytes, size_t size) {
  while (size > 0) {
    const ssize_t written = write(descriptor, bytes, size);
    if (written == -1 && errno == EINTR) {
      continue;
    }
    if (written == -1) {
      Fault fault = SystemFault(folder, "cannot unpack a trace there", errno);
      fault.remedy = "set TMPDIR to a folder with room for the unpacked trace";
      return fault;
    }
    bytes += written;
    size -= static_cast<size_t>(written);
  }
  return {};
}

Fault Unpack(const std::string& name, int descriptor, const std::string& folder,
             const ProgressCallback& progress) {
  Result<std::unique_ptr<ByteSource>> source = OpenSource(name);
  if (!source) {
    return source.Why();
  }
  std::vector<uint8_t> block(BLOCK);
  for (;;) {
    const Result<size_t> got = (*source)->Read(block.data(), block.size());
    if (!got) {
      return got.Why();
    }
    if (*got == 0) {
      return {};
    }
    if (Fault fault = WriteAll(descriptor, folder, block.data(), *got)) {
      return fault;
    }
    if (progress &&
        !progress({(*source)->InputRead(), (*source)->InputSize().value_or(0), Progress::BYTES})) {
      return CancelledFault(name);
    }
  }
}

Result<std::unique_ptr<PositionedFile>> UnpackedFile(const std::string& name,
                                                     const ProgressCallback& progress) {
  const std::string folder = TemporaryFolder();
  const int descriptor = OpenUnnamedFile(folder);
  if (descriptor == -1) {
    Fault fault = SystemFault(folder, "cannot create a file", errno);
    fault.remedy = "set TMPDIR to a folder that can be written";
    return fault;
  }
  if (Fault fault = Unpack(name, descriptor, folder, progress)) {
    close(descriptor);
    return fault;
  }
  return OpenPlainFile(descriptor, name, PlainAccess::MAPPED);
}

}  // namespace

Result<UnpackedTrace> OpenUnpacked(const std::string& name, const ProgressCallback& progress) {
  Result<std::unique_ptr<PositionedFile>> file = OpenPlainFile(name, PlainAccess::MAPPED);
  if (!file) {
    return file.Why();
  }
  uint8_t start[PACKED_START];
  const size_t length = static_cast<size_t>(std::min<uint64_t>((*file)->Size(), sizeof(start)));
  if (Fault fault = (*file)->ReadAt(0, length, start)) {
    return fault;
  }
  UnpackedTrace opened;
  const Packing packing = PackingOf(start, length);
  opened.packed = packing == Packing::GZIP || packing == Packing::ZSTD;
  if (opened.packed) {
    file = UnpackedFile(name, progress);
    if (!file) {
      return file.Why();
    }
  }
  Result<std::unique_ptr<TraceSource>> trace = TraceSource::Over(std::move(file).Take());
  if (!trace) {
    return trace.Why();
  }
  opened.trace = std::move(trace).Take();
  return opened;
}

}  // namespace marrowfin
