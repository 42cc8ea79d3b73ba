#include "trace/read/OpenSource.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <vector>

#include "trace/read/Packing.h"
#include "trace/read/Unpack.h"

namespace marrowfin {

namespace {

// Reads by plain system calls, some bytes of which have been looked at before.
class FileSource : public ByteSource {
 public:
  FileSource(int descriptor, const std::string& name) : descriptor(descriptor), name(name) {
    size = PlainSize();
    if (size) {
      posix_fadvise(descriptor, 0, 0, POSIX_FADV_SEQUENTIAL);
    }
  }
  FileSource(const FileSource&) = delete;
  FileSource& operator=(const FileSource&) = delete;
  ~FileSource() override { close(descriptor); }

  // The first bytes, which the next Read returns again; fewer than asked for only at the end.
  Result<std::string> Peek(size_t wanted) {
    std::vector<uint8_t> bytes(wanted);
    while (peeked.size() < wanted) {
      const Result<size_t> got = ReadFile(bytes.data(), wanted - peeked.size());
      if (!got) {
        return got.Why();
      }
      if (*got == 0) {
        break;
      }
      peeked.append(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(*got));
    }
    return peeked;
  }

  Result<size_t> Read(uint8_t* bytes, size_t wanted) override {
    Result<size_t> got = peeked.empty() ? ReadFile(bytes, wanted) : TakePeeked(bytes, wanted);
    bytesRead += got ? *got : 0;
    return got;
  }

  std::optional<uint64_t> InputSize() const override { return size; }
  uint64_t InputRead() const override { return bytesRead; }

 private:
  size_t TakePeeked(uint8_t* bytes, size_t wanted) {
    const size_t got = std::min(wanted, peeked.size());
    memcpy(bytes, peeked.data(), got);
    peeked.erase(0, got);
    return got;
  }

  Result<size_t> ReadFile(uint8_t* bytes, size_t wanted) {
    ssize_t got;
    do {
      got = read(descriptor, bytes, wanted);
    } while (got == -1 && errno == EINTR);
    if (got == -1) {
      return SystemFault(name, "cannot read", errno);
    }
    if (got == 0 && size && PlainSize() < size) {
      Fault fault;
      fault.kind = Fault::CHANGED;
      fault.file = name;
      fault.reason = "the file became shorter while it was read";
      fault.remedy = "open it again when whoever writes it is done";
      return fault;
    }
    return static_cast<size_t>(got);
  }

  // The size of a file that has one.
  std::optional<uint64_t> PlainSize() const {
    struct stat status;
    const bool plain = fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
    return plain ? std::optional(static_cast<uint64_t>(status.st_size)) : std::nullopt;
  }

  int descriptor;
  std::string name;
  std::string peeked;
  std::optional<uint64_t> size;
  uint64_t bytesRead = 0;
};

}  // namespace

Result<std::unique_ptr<ByteSource>> OpenSource(const std::string& name) {
  const int descriptor = open(name.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor == -1) {
    return SystemFault(name, "cannot open", errno);
  }
  return OpenSource(descriptor, name);
}

Result<std::unique_ptr<ByteSource>> OpenSource(int descriptor, const std::string& name) {
  auto file = std::make_unique<FileSource>(descriptor, name);
  // No trace begins as packed data does: its first bytes are those of a small type.
  const Result<std::string> start = file->Peek(PACKED_START);
  if (!start) {
    return start.Why();
  }
  switch (PackingOf(reinterpret_cast<const uint8_t*>(start->data()), start->size())) {
    case Packing::GZIP:
      return UnpackGzip(std::move(file), name);
    case Packing::ZSTD:
      return UnpackZstd(std::move(file), name);
    case Packing::MFZ:
      return UnpackMfz(std::move(file), name);
    case Packing::NONE:
      break;
  }
  return std::unique_ptr<ByteSource>(std::move(file));
}

}  // namespace marrowfin
