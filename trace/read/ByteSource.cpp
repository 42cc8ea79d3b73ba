#include "trace/read/ByteSource.h"

#include <algorithm>

namespace marrowfin {

namespace {

class Piece : public ByteSource {
 public:
  Piece(const PositionedFile& file, uint64_t offset, uint64_t size)
      : file(file), offset(offset), size(size) {}

  Result<size_t> Read(uint8_t* bytes, size_t wanted) override {
    const size_t count = static_cast<size_t>(std::min<uint64_t>(wanted, size - bytesRead));
    const Fault fault = file.ReadAt(offset + bytesRead, count, bytes);
    if (fault && file.HasBlocks()) {
      return ReadBlock(bytes, count);
    }
    if (fault) {
      return fault;
    }
    bytesRead += count;
    return count;
  }

  std::optional<uint64_t> InputSize() const override { return size; }
  uint64_t InputRead() const override { return bytesRead; }

 private:
  // What stands before a block that is damaged.
  Result<size_t> ReadBlock(uint8_t* bytes, size_t wanted) {
    const uint64_t at = offset + bytesRead;
    const Result<FileBlock> block = file.BlockAt(at);
    if (!block) {
      return block.Why();
    }
    const size_t count = static_cast<size_t>(std::min<uint64_t>(wanted, block->End() - at));
    std::copy_n(block->bytes + static_cast<size_t>(at - block->offset), count, bytes);
    bytesRead += count;
    return count;
  }

  const PositionedFile& file;
  uint64_t offset;
  uint64_t size;
  uint64_t bytesRead = 0;
};

class Memory : public ByteSource {
 public:
  Memory(const uint8_t* bytes, size_t size) : bytes(bytes), size(size) {}

  Result<size_t> Read(uint8_t* out, size_t wanted) override {
    const size_t got = std::min(wanted, size - position);
    std::copy_n(bytes + position, got, out);
    position += got;
    return got;
  }

  std::optional<uint64_t> InputSize() const override { return size; }
  uint64_t InputRead() const override { return position; }

 private:
  const uint8_t* bytes;
  size_t size;
  size_t position = 0;
};

}  // namespace

std::unique_ptr<ByteSource> PieceSource(const PositionedFile& file, uint64_t offset,
                                        uint64_t size) {
  return std::make_unique<Piece>(file, offset, size);
}

std::unique_ptr<ByteSource> MemorySource(const uint8_t* bytes, size_t size) {
  return std::make_unique<Memory>(bytes, size);
}

}  // namespace marrowfin
