#include "trace/read/PositionedFile.h"

#include <algorithm>

namespace marrowfin {

namespace {

class BytesInMemory : public PositionedFile {
 public:
  BytesInMemory(std::vector<uint8_t> bytes, const std::string& name)
      : PositionedFile(name, Of(bytes.size())), owned(std::move(bytes)), bytes(owned.data()) {}
  BytesInMemory(std::span<const uint8_t> bytes, const std::string& name)
      : PositionedFile(name, Of(bytes.size())), bytes(bytes.data()) {}

  Result<FileIdentity> Now() const override { return identity; }

  Fault ReadAt(uint64_t offset, size_t length, uint8_t* out) const override {
    if (offset > Size() || length > Size() - offset) {
      return BecameShorter(*this, offset);
    }
    std::copy_n(bytes + offset, length, out);
    return {};
  }

  const uint8_t* View() const override { return bytes; }

 private:
  static FileIdentity Of(size_t size) {
    FileIdentity identity;
    identity.size = size;
    return identity;
  }

  std::vector<uint8_t> owned;
  const uint8_t* bytes;
};

}  // namespace

Fault BecameShorter(const PositionedFile& file, uint64_t offset) {
  Fault fault;
  fault.kind = Fault::CHANGED;
  fault.file = file.Name();
  fault.offset = offset;
  fault.reason = "the file became shorter while it was read";
  fault.remedy = "open it again when whoever writes it is done";
  return fault;
}

std::unique_ptr<PositionedFile> MemoryFile(std::vector<uint8_t> bytes, const std::string& name) {
  return std::make_unique<BytesInMemory>(std::move(bytes), name);
}

std::unique_ptr<PositionedFile> MemoryFile(std::span<const uint8_t> bytes,
                                           const std::string& name) {
  return std::make_unique<BytesInMemory>(bytes, name);
}

}  // namespace marrowfin
