#include "trace/write/FileSink.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <ctime>
#include <utility>

namespace marrowfin {

namespace {

// While it lives, this thread gets none of the signals that would end it instead of letting a write
// fail: one that comes is taken back. One that was pending before is somebody else's and stays.
class WritingSignals {
 public:
  explicit WritingSignals(bool isPipe) {
    sigset_t pending;
    sigemptyset(&held);
    if (sigpending(&pending) != 0) {
      return;
    }
    if (isPipe && sigismember(&pending, SIGPIPE) == 0) {
      sigaddset(&held, SIGPIPE);
    }
    if (sigismember(&pending, SIGXFSZ) == 0) {
      sigaddset(&held, SIGXFSZ);
    }
    isHeldBack = pthread_sigmask(SIG_BLOCK, &held, &before) == 0;
  }
  WritingSignals(const WritingSignals&) = delete;
  WritingSignals& operator=(const WritingSignals&) = delete;
  ~WritingSignals() {
    if (isHeldBack) {
      const timespec atOnce = {};
      while (sigtimedwait(&held, nullptr, &atOnce) != -1 || errno == EINTR) {
      }
      pthread_sigmask(SIG_SETMASK, &before, nullptr);
    }
  }

 private:
  sigset_t held;
  sigset_t before;
  bool isHeldBack = false;
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
  const WritingSignals quiet(largestPiece != 0);
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
