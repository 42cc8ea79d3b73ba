#ifndef TESTS_TRACE_SUPPORT_WATCHEDFILE_H
#define TESTS_TRACE_SUPPORT_WATCHEDFILE_H

#include <functional>
#include <string>
#include <utility>

#include "trace/read/PositionedFile.h"

namespace marrowfin::testing {

// A file in memory that has no view of itself and tells `seen` what is read of it.
class WatchedFile : public PositionedFile {
 public:
  using Seen = std::function<void(uint64_t offset, size_t length)>;

  WatchedFile(const std::string& bytes, Seen seen)
      : PositionedFile("watched", IdentityOf(bytes)), bytes(bytes), seen(std::move(seen)) {}

  Result<FileIdentity> Now() const override { return identity; }
  Fault ReadAt(uint64_t offset, size_t length, uint8_t* out) const override {
    seen(offset, length);
    bytes.copy(reinterpret_cast<char*>(out), length, offset);
    return {};
  }

 private:
  static FileIdentity IdentityOf(const std::string& bytes) {
    FileIdentity identity;
    identity.size = bytes.size();
    return identity;
  }
  std::string bytes;
  Seen seen;
};

}  // namespace marrowfin::testing

#endif
