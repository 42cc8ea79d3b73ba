#include "trace/write/ByteSink.h"

#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace marrowfin {

ByteSink::Written WriteTo(int descriptor, const std::string& name, const uint8_t* bytes,
                          size_t size) {
  ByteSink::Written written;
  while (written.taken < size && !written.fault) {
    const ssize_t put = write(descriptor, bytes + written.taken, size - written.taken);
    if (put >= 0) {
      written.taken += static_cast<size_t>(put);
    } else if (errno != EINTR) {
      written.fault = SystemFault(name, "cannot write", errno);
    }
  }
  return written;
}

// A pipe takes no more than PIPE_BUF bytes at a time whole.
size_t LargestPieceOf(int descriptor) {
  struct stat status;
  return fstat(descriptor, &status) == 0 && S_ISFIFO(status.st_mode) ? PIPE_BUF : 0;
}

ByteSink::Written MemorySink::Write(const uint8_t* bytes, size_t size) {
  kept.insert(kept.end(), bytes, bytes + size);
  return {size};
}

}  // namespace marrowfin
