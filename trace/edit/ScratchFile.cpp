#include "trace/edit/ScratchFile.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "trace/base/UnnamedFile.h"

namespace marrowfin {
namespace {

Fault ScratchFault(const char* action) {
  Fault fault = SystemFault(TemporaryFolder(), action, errno);
  fault.remedy = "set TMPDIR to a folder with room for as much as the traces hold";
  return fault;
}

}  // namespace

Result<int> OpenScratchFile() {
  const int descriptor = OpenUnnamedFile(TemporaryFolder());
  return descriptor == -1 ? Result<int>(ScratchFault("cannot create a file there")) : descriptor;
}

Fault WriteScratch(int descriptor, uint64_t offset, const void* bytes, size_t size) {
  const auto* from = static_cast<const uint8_t*>(bytes);
  while (size > 0) {
    const ssize_t written = pwrite(descriptor, from, size, static_cast<off_t>(offset));
    if (written == -1 && errno == EINTR) {
      continue;
    }
    if (written <= 0) {
      return ScratchFault("cannot write what does not fit into memory");
    }
    from += written;
    offset += static_cast<uint64_t>(written);
    size -= static_cast<size_t>(written);
  }
  return {};
}

Fault ReadScratch(int descriptor, uint64_t offset, void* bytes, size_t size) {
  auto* to = static_cast<uint8_t*>(bytes);
  while (size > 0) {
    const ssize_t got = pread(descriptor, to, size, static_cast<off_t>(offset));
    if (got == -1 && errno == EINTR) {
      continue;
    }
    if (got == -1) {
      return ScratchFault("cannot read what was put aside");
    }
    if (got == 0) {
      memset(to, 0, size);
      return {};
    }
    to += got;
    offset += static_cast<uint64_t>(got);
    size -= static_cast<size_t>(got);
  }
  return {};
}

}  // namespace marrowfin
