// A file that a packed trace stands for, as a file of its own.

#include <algorithm>
#include <mutex>
#include <optional>
#include <utility>

#include "trace/read/BlockCache.h"
#include "trace/read/MfzFile.h"

namespace marrowfin {

namespace {

constexpr size_t KEPT = 8;  // blocks, of a megabyte or so each

std::string NameOf(const MfzFile& packed, MfzStream stream) {
  constexpr const char* WHAT[MFZ_STREAMS] = {"", "", ".about", ".notes"};
  return packed.Name() + WHAT[static_cast<size_t>(stream)];
}

// Where the packed trace ends early, there is more than there is: a byte that cannot be read.
FileIdentity IdentityOf(const MfzFile& packed, MfzStream stream) {
  FileIdentity identity;
  identity.size = packed.SizeOf(stream) + (stream == MfzStream::TRACE && !packed.IsWhole() ? 1 : 0);
  identity.modified = identity.changed = packed.Content(stream);
  return identity;
}

// A block that is unpacked as far as anyone has asked for it. Whoever asks for questions about a
// moment needs half of one on average.
struct GrowingBlock : Block {
  std::mutex mutex;  // of what follows
  bool begun = false;
  size_t done = 0;                           // bytes
  std::unique_ptr<MfzBlockDecoder> decoder;  // of the rest
  Fault fault;
};

class Part : public PositionedFile {
 public:
  Part(std::shared_ptr<const MfzFile> given, MfzStream stream)
      : PositionedFile(NameOf(*given, stream), IdentityOf(*given, stream)),
        packed(std::move(given)),
        stream(stream),
        cache(KEPT) {}

  Result<FileIdentity> Now() const override {
    const Result<FileIdentity> now = packed->File().Now();
    if (!now) {
      return now.Why();
    }
    FileIdentity seen = identity;
    const FileIdentity& then = packed->File().Identity();
    if (now->size != then.size || now->modified != then.modified) {
      seen.size = now->size < then.size ? 0 : seen.size;
      seen.modified = seen.changed = ~seen.modified;
    }
    return seen;
  }

  Fault ReadAt(uint64_t offset, size_t length, uint8_t* out) const override {
    if (offset > Size() || length > Size() - offset) {
      return BecameShorter(*this, offset);
    }
    while (length > 0) {
      const MfzSection* const section = Find(offset);
      if (section == nullptr) {
        return packed->Missing(stream, offset);
      }
      const size_t skipped = static_cast<size_t>(offset - section->begin);
      const size_t count = std::min<size_t>(length, section->rawSize - skipped);
      if (Fault fault = ReadFrom(*section, skipped, count, out)) {
        return fault;
      }
      offset += count;
      out += count;
      length -= count;
    }
    return {};
  }

  bool HasBlocks() const override { return true; }

  Result<FileBlock> BlockAt(uint64_t offset) const override {
    const MfzSection* const section = Find(offset);
    if (section == nullptr) {
      return packed->Missing(stream, offset);
    }
    const size_t least = static_cast<size_t>(offset - section->begin) + FILE_BLOCK_AHEAD;
    return BlockOf(*section, std::min<size_t>(least, section->rawSize));
  }

  std::unique_ptr<PositionedFile> Enclosed(Enclosure what) const override {
    if (stream != MfzStream::TRACE) {
      return nullptr;
    }
    return MfzPart(packed, what == Enclosure::INDEX   ? MfzStream::INDEX
                           : what == Enclosure::ABOUT ? MfzStream::ABOUT
                                                      : MfzStream::NOTES);
  }

  uint32_t Permissions() const override { return packed->File().Permissions(); }

 private:
  // The section that has byte `offset`; null where none has.
  const MfzSection* Find(uint64_t offset) const {
    const std::span<const MfzSection> sections = packed->Sections(stream);
    const auto behind =
        std::partition_point(sections.begin(), sections.end(),
                             [&](const MfzSection& section) { return section.begin <= offset; });
    return behind != sections.begin() && offset < (behind - 1)->End() ? &*(behind - 1) : nullptr;
  }

  // An index and notes that are not packed have checksums of their own, of smaller pieces than a
  // section: nobody reads all of one for the sake of some bytes.
  Fault ReadFrom(const MfzSection& section, size_t skipped, size_t count, uint8_t* out) const {
    const bool isChecked = stream == MfzStream::INDEX || stream == MfzStream::NOTES;
    if (section.coding == MfzCoding::PLAIN && isChecked) {
      return packed->File().ReadAt(section.offset + MFZ_HEAD + skipped, count, out);
    }
    const Result<FileBlock> block = BlockOf(section, skipped + count);
    if (!block) {
      return block.Why();
    }
    std::copy_n(block->bytes + skipped, count, out);
    return {};
  }

  // The first bytes of a section, at least so many.
  Result<FileBlock> BlockOf(const MfzSection& section, size_t least) const {
    std::shared_ptr<GrowingBlock> block = cache.Find(section.begin);
    if (block == nullptr) {
      block = cache.Fresh(MfzBlockDecoder::RoomFor(section.rawSize));
      block->offset = section.begin;
      block->size = section.rawSize;
      block->begun = false;
      block->done = 0;
      block->fault = {};
      if (block->decoder != nullptr) {
        packed->GiveBack(std::move(block->decoder));  // of the block that was here before
      }
      block = cache.Keep(block);
    }
    const std::lock_guard lock(block->mutex);
    if (block->done < least) {
      if (Fault fault = Unpack(section, least, *block)) {
        return fault;
      }
    }
    return FileBlock{block->offset, block->done, block->bytes.get(), block};
  }

  // Until there are at least so many bytes. A block that is damaged stays so.
  Fault Unpack(const MfzSection& section, size_t least, GrowingBlock& block) const {
    if (!block.begun) {
      block.begun = true;
      block.fault = Begin(section, block);
    }
    if (!block.fault && block.done < least) {
      const std::optional<size_t> done = block.decoder->Continue(least, block.bytes.get());
      block.done = done.value_or(block.done);
      block.fault = done ? Fault() : packed->Damaged(section);
    }
    if (block.decoder != nullptr && (block.fault || block.done == block.size)) {
      packed->GiveBack(std::move(block.decoder));
    }
    return block.fault;
  }

  // What are no records is unpacked as a whole.
  Fault Begin(const MfzSection& section, GrowingBlock& block) const {
    if (section.coding != MfzCoding::RECORDS) {
      Fault fault = packed->Unpack(section, block.bytes.get());
      block.done = fault ? 0 : block.size;
      return fault;
    }
    Result<std::unique_ptr<MfzBlockDecoder>> begun = packed->Begin(section);
    if (!begun) {
      return begun.Why();
    }
    block.decoder = std::move(begun).Take();
    return {};
  }

  std::shared_ptr<const MfzFile> packed;
  MfzStream stream;
  mutable BlockCache<GrowingBlock> cache;
};

}  // namespace

std::unique_ptr<PositionedFile> MfzPart(std::shared_ptr<const MfzFile> packed, MfzStream stream) {
  if (stream != MfzStream::TRACE && packed->SizeOf(stream) == 0) {
    return nullptr;
  }
  return std::make_unique<Part>(std::move(packed), stream);
}

}  // namespace marrowfin
