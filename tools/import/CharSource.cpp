#include "tools/import/CharSource.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

namespace marrowfin {
namespace {

constexpr size_t chunk = 256 * 1024;
constexpr char remedy[] = "Name a file that you may read.";

bool Separates(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == ',' || c == ':';
}

}  // namespace

CharSource::CharSource(Watcher watcher)
    : watcher(std::move(watcher)),
      fd(-1),
      total(0),
      next(0),
      filled(0),
      bufferStart(0),
      lastTokenEnd(0),
      tokenStart(0),
      tokenBegun(false) {}

CharSource::~CharSource() {
  if (fd != -1) {
    close(fd);
  }
}

MaybeFailure CharSource::Open(const std::string& name) {
  path = name;
  buffer.resize(chunk);
  fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd == -1) {
    return SystemFailure(EXIT_INPUT, path, "open", remedy);
  }
  struct stat status;
  if (fstat(fd, &status) == 0 && S_ISREG(status.st_mode)) {
    total = static_cast<uint64_t>(status.st_size);
  }
  return std::nullopt;
}

bool CharSource::AtEnd() {
  if (trouble) {
    return true;
  }
  if (Offset() - lastTokenEnd > longestToken) {
    trouble = Failure{EXIT_INPUT,
                      path + ": byte " + std::to_string(TokenStart()) + ": more than " +
                          std::to_string(longestToken) + " bytes without an end of the value",
                      "This is no capture, or it is damaged here: record it again."};
    return true;
  }
  return next == filled && !Refill();
}

bool CharSource::Refill() {
  bufferStart += filled;
  next = 0;
  filled = 0;
  ssize_t got = 0;
  do {
    got = read(fd, buffer.data(), buffer.size());
  } while (got == -1 && errno == EINTR);
  if (got == -1) {
    trouble = SystemFailure(EXIT_INPUT, path, "read", remedy);
    return false;
  }
  filled = static_cast<size_t>(got);
  if (watcher) {
    watcher(bufferStart + filled, total);
  }
  return filled != 0;
}

void CharSource::Advance() {
  if (!tokenBegun && !Separates(buffer[next])) {
    tokenBegun = true;
    tokenStart = Offset();
  }
  ++next;
}

void CharSource::EndToken() {
  lastTokenEnd = Offset();
  tokenBegun = false;
}

}  // namespace marrowfin
