#include "trace/write/FileSink.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <ctime>
#include <utility>

namespace marrowfin {

namespace {

// While it lives, this thread gets no SIGPIPE: one that comes is taken back. One that was pending
// before is somebody else's and stays.
class NoSigpipe {
 public:
  explicit NoSigpipe(bool needed) {
    sigset_t pending;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    blocked = needed && sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 0 &&
              pthread_sigmask(SIG_BLOCK, &pipe, &before) == 0;
  }
  NoSigpipe(const NoSigpipe&) = delete;
  NoSigpipe& operator=(const NoSigpipe&) = delete;
  ~NoSigpipe() {
    if (blocked) {
      const timespec atOnce = {};
      while (sigtimedwait(&pipe, nullptr, &atOnce) == -1 && errno == EINTR) {
      }
      pthread_sigmask(SIG_SETMASK, &before, nullptr);
    }
  }

 private:
  sigset_t pipe;
  sigset_t before;
  bool blocked = false;
};

}  // namespace

FileSink::~FileSink() { static_cast<void>(Close()); }

Fault FileSink::Open(const std::string& fileName) {
  static_cast<void>(Close());
  name = fileName;
  taken = 0;
  descriptor = open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (descriptor == -1) {
    return SystemFault(name, "cannot open", errno);
  }
  largestPiece = LargestPieceOf(descriptor);
  return {};
}

ByteSink::Written FileSink::Write(const uint8_t* bytes, size_t size) {
  const NoSigpipe quiet(largestPiece != 0);
  Written written;
  while (written.taken < size && !written.fault) {
    const ssize_t put = write(descriptor, bytes + written.taken, size - written.taken);
    if (put >= 0) {
      written.taken += static_cast<size_t>(put);
      taken += static_cast<size_t>(put);
    } else if (errno != EINTR) {
      written.fault = SystemFault(name, "cannot write at byte " + std::to_string(taken), errno);
      written.fault.offset = taken;
    }
  }
  return written;
}

Fault FileSink::Close() {
  if (descriptor != -1 && close(std::exchange(descriptor, -1)) == -1) {
    return SystemFault(name, "cannot close", errno);
  }
  return {};
}

}  // namespace marrowfin
