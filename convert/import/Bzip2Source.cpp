#include "convert/import/Bzip2Source.h"

#include <bzlib.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>
#include <vector>

namespace marrowfin {
namespace {

constexpr size_t CHUNK = 64 * 1024;
constexpr size_t PORTION = 256 * 1024;  // of what was unpacked
constexpr size_t MAGIC = 3;             // "BZh"
constexpr const char* DAMAGE = "the bzip2 data is damaged";

// Looks at the first bytes and hands everything on, unpacked or as it is.
class Bzip2Source : public ByteSource {
 public:
  Bzip2Source(std::unique_ptr<ByteSource> bytes, std::string name)
      : bytes(std::move(bytes)), name(std::move(name)), input(CHUNK) {}
  Bzip2Source(const Bzip2Source&) = delete;
  Bzip2Source& operator=(const Bzip2Source&) = delete;
  ~Bzip2Source() override { EndStream(); }

  Result<size_t> Read(uint8_t* out, size_t size) override;
  std::optional<uint64_t> InputSize() const override { return bytes->InputSize(); }
  uint64_t InputRead() const override { return bytes->InputRead(); }

 private:
  enum State { UNKNOWN, PLAIN, BETWEEN, WITHIN };

  Result<bool> Fill(size_t least);
  Result<size_t> ReadPlain(uint8_t* out, size_t size);
  Result<size_t> Unpack(uint8_t* out, size_t size);
  void FillPortion();
  std::optional<Fault> UnpackSome(size_t& got);
  Fault Damaged(const std::string& reason) const;
  void EndStream() {
    if (state == WITHIN) {
      BZ2_bzDecompressEnd(&stream);
      state = BETWEEN;
    }
  }

  std::unique_ptr<ByteSource> bytes;
  const std::string name;
  std::vector<uint8_t> input;
  size_t next = 0;
  size_t filled = 0;
  State state = UNKNOWN;
  bz_stream stream = {};
  std::vector<uint8_t> plain;  // a portion
  size_t nextPlain = 0;
  std::optional<Fault> end;  // behind the portion; no fault where all was read
};

Fault Bzip2Source::Damaged(const std::string& reason) const {
  Fault fault;
  fault.kind = Fault::DAMAGED_INPUT;
  fault.file = name;
  fault.reason = reason;
  fault.remedy = "copy the file again: what came before it was read";
  return fault;
}

// Whether at least so many bytes are at hand, but for the end of the input.
Result<bool> Bzip2Source::Fill(size_t least) {
  std::memmove(input.data(), input.data() + next, filled - next);
  filled -= next;
  next = 0;
  while (filled < least) {
    const Result<size_t> got = bytes->Read(input.data() + filled, input.size() - filled);
    if (!got) {
      return got.Why();
    }
    if (*got == 0) {
      return false;
    }
    filled += *got;
  }
  return true;
}

Result<size_t> Bzip2Source::Read(uint8_t* out, size_t size) {
  if (state == UNKNOWN) {
    const Result<bool> there = Fill(MAGIC);
    if (!there) {
      return there.Why();
    }
    state = *there && std::memcmp(input.data(), "BZh", MAGIC) == 0 ? BETWEEN : PLAIN;
  }
  return state == PLAIN ? ReadPlain(out, size) : Unpack(out, size);
}

Result<size_t> Bzip2Source::ReadPlain(uint8_t* out, size_t size) {
  if (next == filled) {
    return bytes->Read(out, size);
  }
  const size_t part = std::min(size, filled - next);
  std::memcpy(out, input.data() + next, part);
  next += part;
  return part;
}

// Whole portions are unpacked before any of their bytes are handed on, so that the same bytes come
// before damage however much is asked for at a time.
Result<size_t> Bzip2Source::Unpack(uint8_t* out, size_t size) {
  if (nextPlain == plain.size() && !end) {
    FillPortion();
  }
  if (nextPlain == plain.size()) {
    return *end ? Result<size_t>(*end) : Result<size_t>(size_t{0});
  }
  const size_t part = std::min(size, plain.size() - nextPlain);
  std::memcpy(out, plain.data() + nextPlain, part);
  nextPlain += part;
  return part;
}

// What is damaged is noticed behind what it spoils, so the portion in which it is goes as a whole.
void Bzip2Source::FillPortion() {
  plain.resize(PORTION);
  nextPlain = 0;
  size_t got = 0;
  while (got < PORTION && !end) {
    const Result<bool> there = next < filled ? Result<bool>(true) : Fill(1);
    if (!there) {
      end = there.Why();
    } else if (!*there) {
      end = state == WITHIN ? Damaged("the bzip2 data ends within a stream") : Fault();
    } else {
      end = UnpackSome(got);
    }
  }
  plain.resize(end && end->reason == DAMAGE ? 0 : got);
}

// Unpacks behind the first `got` bytes of the portion; nothing where it can go on.
std::optional<Fault> Bzip2Source::UnpackSome(size_t& got) {
  if (state == BETWEEN) {
    stream = {};
    if (BZ2_bzDecompressInit(&stream, 0, 0) != BZ_OK) {
      return Damaged("the bzip2 data cannot be unpacked");
    }
    state = WITHIN;
  }
  stream.next_in = reinterpret_cast<char*>(input.data() + next);
  stream.avail_in = static_cast<unsigned>(filled - next);
  stream.next_out = reinterpret_cast<char*>(plain.data() + got);
  stream.avail_out = static_cast<unsigned>(PORTION - got);
  const int result = BZ2_bzDecompress(&stream);
  next = filled - stream.avail_in;
  got = PORTION - stream.avail_out;
  if (result == BZ_STREAM_END) {
    EndStream();
    return std::nullopt;
  }
  return result == BZ_OK ? std::nullopt : std::optional<Fault>(Damaged(DAMAGE));
}

}  // namespace

std::unique_ptr<ByteSource> UnpackBzip2(std::unique_ptr<ByteSource> bytes,
                                        const std::string& name) {
  return std::make_unique<Bzip2Source>(std::move(bytes), name);
}

}  // namespace marrowfin
