#include <algorithm>
#include <utility>

#include "trace/index/IndexStore.h"

namespace marrowfin {

namespace {

// The bytes in the pieces in which they came, so that none moves when more come.
struct Pieces {
  struct Piece {
    uint64_t begin;
    std::shared_ptr<const std::vector<uint8_t>> bytes;
  };
  std::vector<Piece> pieces;
  uint64_t size = 0;
};

class PiecesFile : public PositionedFile {
 public:
  PiecesFile(Pieces pieces, const std::string& name)
      : PositionedFile(name, Of(pieces.size)), pieces(std::move(pieces.pieces)) {}

  Result<FileIdentity> Now() const override { return identity; }

  Fault ReadAt(uint64_t offset, size_t length, uint8_t* out) const override {
    if (offset > Size() || length > Size() - offset) {
      return BecameShorter(*this, offset);
    }
    auto piece = std::partition_point(pieces.begin(), pieces.end(), [&](const auto& candidate) {
      return candidate.begin + candidate.bytes->size() <= offset;
    });
    for (; length > 0; ++piece) {
      const size_t from = static_cast<size_t>(offset - piece->begin);
      const size_t count = std::min(length, piece->bytes->size() - from);
      out = std::copy_n(piece->bytes->data() + from, count, out);
      offset += count;
      length -= count;
    }
    return {};
  }

 private:
  static FileIdentity Of(uint64_t size) {
    FileIdentity identity;
    identity.size = size;
    return identity;
  }

  std::vector<Pieces::Piece> pieces;
};

constexpr const char* NAME = "the index in memory";

class MemoryDraft : public IndexDraft {
 public:
  explicit MemoryDraft(std::shared_ptr<Pieces> kept) : kept(std::move(kept)) {}

  Fault Append(std::span<const uint8_t> bytes) override {
    auto piece = std::make_shared<const std::vector<uint8_t>>(bytes.begin(), bytes.end());
    written.pieces.push_back({written.size, std::move(piece)});
    written.size += bytes.size();
    return {};
  }

  uint64_t Size() const override { return written.size; }

  Result<std::unique_ptr<PositionedFile>> Written() const override {
    return std::unique_ptr<PositionedFile>(std::make_unique<PiecesFile>(written, NAME));
  }

  Result<std::unique_ptr<PositionedFile>> Commit() override {
    *kept = written;
    return Written();
  }

 private:
  std::shared_ptr<Pieces> kept;
  Pieces written;
};

class MemoryStore : public IndexStore {
 public:
  std::vector<std::unique_ptr<PositionedFile>> Find() const override {
    std::vector<std::unique_ptr<PositionedFile>> found;
    if (kept->size > 0) {
      found.push_back(std::make_unique<PiecesFile>(*kept, NAME));
    }
    return found;
  }

  Result<std::unique_ptr<IndexDraft>> Create() override {
    return std::unique_ptr<IndexDraft>(std::make_unique<MemoryDraft>(kept));
  }

 private:
  std::shared_ptr<Pieces> kept = std::make_shared<Pieces>();
};

}  // namespace

std::unique_ptr<IndexStore> IndexInMemory() { return std::make_unique<MemoryStore>(); }

}  // namespace marrowfin
