#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "trace/read/OutOfOrder.h"
#include "trace/read/PositionedFile.h"
#include "trace/read/Residence.h"

namespace marrowfin {

namespace {

uint64_t Nanoseconds(const struct timespec& time) {
  return static_cast<uint64_t>(time.tv_sec) * 1000000000 + static_cast<uint64_t>(time.tv_nsec);
}

FileIdentity IdentityOf(const struct stat& status) {
  FileIdentity identity;
  identity.size = static_cast<uint64_t>(status.st_size);
  identity.modified = Nanoseconds(status.st_mtim);
  identity.changed = Nanoseconds(status.st_ctim);
  identity.device = status.st_dev;
  identity.inode = status.st_ino;
  return identity;
}

// Mapped at the length that the file has when it is opened.
class PlainFile : public PositionedFile {
 public:
  PlainFile(int descriptor, const std::string& name, const struct stat& status)
      : PositionedFile(name, IdentityOf(status)),
        descriptor(descriptor),
        permissions(status.st_mode & 0777) {}
  ~PlainFile() override {
    if (bytes != nullptr) {
      munmap(bytes, static_cast<size_t>(Size()));
    }
    close(descriptor);
  }

  // Where the process has no addresses left, or too few to begin with, the file is read instead.
  void Map() {
    const uint64_t most = sizeof(void*) > 4 ? ~size_t{0} : 0;
    if (Size() == 0 || Size() > most) {
      return;
    }
    const size_t size = static_cast<size_t>(Size());
    void* const mapped = mmap(nullptr, size, PROT_READ, MAP_SHARED, descriptor, 0);
    if (mapped != MAP_FAILED) {
      bytes = static_cast<uint8_t*>(mapped);
      residence = std::make_unique<Residence>(bytes, size);
    }
  }

  Result<FileIdentity> Now() const override {
    struct stat status;
    if (fstat(descriptor, &status) == -1) {
      return SystemFault(name, "cannot look at", errno);
    }
    return IdentityOf(status);
  }

  // By reading, also where the file is mapped: a page that nobody has looked at yet is not there,
  // and fetching it takes longer than copying what is wanted of it.
  Fault ReadAt(uint64_t offset, size_t length, uint8_t* out) const override {
    if (offset > Size() || length > Size() - offset) {
      return BecameShorter(*this, offset);
    }
    for (size_t done = 0; done < length;) {
      const off_t at = static_cast<off_t>(offset + done);
      const ssize_t got = pread(descriptor, out + done, length - done, at);
      if (got == -1 && errno == EINTR) {
        continue;
      }
      if (got <= 0) {
        return got == 0 ? BecameShorter(*this, offset) : SystemFault(name, "cannot read", errno);
      }
      done += static_cast<size_t>(got);
    }
    return {};
  }

  const uint8_t* View() const override { return bytes; }
  void AboutToRead(uint64_t offset) const override { residence->Touch(offset); }
  uint32_t Permissions() const override { return permissions; }

 private:
  int descriptor;
  uint32_t permissions;
  uint8_t* bytes = nullptr;
  std::unique_ptr<Residence> residence;  // of the bytes
};

}  // namespace

Result<std::unique_ptr<PositionedFile>> OpenPlainFile(const std::string& name, PlainAccess access) {
  // A FIFO without a writer must not hold the caller up: it is refused below anyway.
  const int descriptor = open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (descriptor == -1) {
    return SystemFault(name, "cannot open", errno);
  }
  return OpenPlainFile(descriptor, name, access);
}

Result<std::unique_ptr<PositionedFile>> OpenPlainFile(int descriptor, const std::string& name,
                                                      PlainAccess access) {
  struct stat status;
  if (fstat(descriptor, &status) == -1) {
    const int error = errno;
    close(descriptor);
    return SystemFault(name, "cannot open", error);
  }
  auto file = std::make_unique<PlainFile>(descriptor, name, status);
  if (S_ISDIR(status.st_mode)) {
    return SystemFault(name, "cannot read", EISDIR);
  }
  if (!S_ISREG(status.st_mode)) {
    return CannotReadOutOfOrder(name, "a pipe or device");
  }
  if (access == PlainAccess::MAPPED) {
    file->Map();
  }
  return std::unique_ptr<PositionedFile>(std::move(file));
}

}  // namespace marrowfin
