// A packed trace that is read from front to back, from a pipe as well.

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>
#include <vector>

#include "trace/base/MfzFormat.h"
#include "trace/read/MfzBlockDecoder.h"
#include "trace/read/Unpack.h"

namespace marrowfin {

namespace {

class MfzUnpacker : public ByteSource {
 public:
  MfzUnpacker(std::unique_ptr<ByteSource> source, const std::string& name)
      : source(std::move(source)), name(name) {}

  std::optional<uint64_t> InputSize() const override { return source->InputSize(); }
  uint64_t InputRead() const override { return source->InputRead(); }

  Result<size_t> Read(uint8_t* bytes, size_t wanted) override {
    while (used == filled && !done) {
      fault = NextSection();
      done = done || fault;
    }
    if (used == filled && fault) {
      return fault;
    }
    const size_t count = std::min(wanted, filled - used);
    if (count > 0) {
      memcpy(bytes, block.data() + used, count);
    }
    used += count;
    return count;
  }

 private:
  // Unpacks the next section of the trace; passes over any other.
  Fault NextSection() {
    if (!started) {
      uint8_t magic[sizeof(MFZ_MAGIC)];
      started = true;
      if (Fault early = Fetch(magic, sizeof(magic))) {
        return early;
      }
      if (memcmp(magic, MFZ_MAGIC, sizeof(magic)) != 0) {
        return Damage("this is no packed trace, or one of another version");
      }
    }
    uint8_t head[MFZ_HEAD];
    if (Fault early = Fetch(head, sizeof(head))) {
      return early;
    }
    const std::optional<MfzSection> section = DecodeMfzHead(head);
    if (!section) {
      return Damage("the head of a block is damaged");
    }
    if (section->stream == MfzStream::DIRECTORY) {
      return TakeEnd(section->size);
    }
    packed.resize(section->size);
    if (Fault early = Fetch(packed.data(), packed.size())) {
      return early;
    }
    return section->stream == MfzStream::TRACE ? Unpack(*section) : Fault();
  }

  Fault Unpack(const MfzSection& section) {
    if (section.begin != offset) {
      return Damage("a block is missing");
    }
    block.resize(std::max(block.size(), MfzBlockDecoder::RoomFor(section.rawSize)));
    const bool isPlain = section.coding == MfzCoding::PLAIN;
    if (MfzChecksum(packed) != section.checksum ||
        (!isPlain && !(section.coding == MfzCoding::RECORDS
                           ? decoder.Records(packed, section.rawSize, block.data())
                           : decoder.Bytes(packed, section.rawSize, block.data())))) {
      return Damage("block " + std::to_string(blocks) + " is damaged");
    }
    if (isPlain) {
      std::copy(packed.begin(), packed.end(), block.begin());
    }
    ++blocks;
    offset += section.rawSize;
    used = 0;
    filled = section.rawSize;
    return {};
  }

  // Nothing of the trace comes behind the directory, which whoever reads in order has no need of.
  Fault TakeEnd(uint64_t left) {
    left += MFZ_FOOTER;
    packed.resize(1 << 16);
    while (left > 0) {
      const size_t count = static_cast<size_t>(std::min<uint64_t>(left, packed.size()));
      if (Fault early = Fetch(packed.data(), count)) {
        return early;
      }
      left -= count;
    }
    const Result<size_t> more = source->Read(packed.data(), 1);
    done = true;
    return !more ? more.Why() : *more > 0 ? Damage("something follows the packed trace") : Fault();
  }

  Fault Fetch(uint8_t* bytes, size_t size) {
    while (size > 0) {
      const Result<size_t> got = source->Read(bytes, size);
      if (!got) {
        return got.Why();
      }
      if (*got == 0) {
        return Damage("the packed trace ends early");
      }
      bytes += *got;
      size -= *got;
    }
    return {};
  }

  Fault Damage(const std::string& reason) const {
    Fault damage;
    damage.kind = Fault::DAMAGED_INPUT;
    damage.file = name;
    damage.reason = reason;
    damage.remedy = "unpack it from a file with --salvage to have what is whole, or fetch it again";
    return damage;
  }

  std::unique_ptr<ByteSource> source;
  std::string name;
  MfzBlockDecoder decoder;
  std::vector<uint8_t> packed;
  std::vector<uint8_t> block;
  size_t used = 0;
  size_t filled = 0;
  uint64_t offset = 0;
  uint64_t blocks = 0;
  bool started = false;
  bool done = false;
  Fault fault;
};

}  // namespace

std::unique_ptr<ByteSource> UnpackMfz(std::unique_ptr<ByteSource> packed, const std::string& name) {
  return std::make_unique<MfzUnpacker>(std::move(packed), name);
}

}  // namespace marrowfin
