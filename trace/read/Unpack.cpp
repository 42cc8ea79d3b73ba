#include "trace/read/Unpack.h"

#include <zlib.h>
#include <zstd.h>
#include <zstd_errors.h>

#include <algorithm>
#include <new>
#include <vector>

#include "trace/read/Packing.h"

namespace marrowfin {

namespace {

constexpr size_t BLOCK = 256 << 10;

// What both formats share: a block of packed bytes that is refilled when it is used up.
class Unpacker : public ByteSource {
 public:
  Unpacker(std::unique_ptr<ByteSource> source, const std::string& name)
      : source(std::move(source)), name(name), block(BLOCK) {}

  std::optional<uint64_t> InputSize() const override { return source->InputSize(); }
  uint64_t InputRead() const override { return source->InputRead(); }

  Result<size_t> Read(uint8_t* bytes, size_t wanted) override {
    size_t got = 0;
    while (got == 0 && !done && !fault) {
      if (used == filled && !pending) {
        Refill();
        continue;
      }
      got = Unpack(bytes, wanted);
      pending = got == wanted && !between;
    }
    if (got == 0 && fault) {
      return fault;
    }
    return got;
  }

 protected:
  // Unpacks from block[used, filled) and moves `used`; sets `between` where a member or frame is
  // complete. Returns the bytes put out.
  virtual size_t Unpack(uint8_t* bytes, size_t wanted) = 0;

  // Ends the reading, behind what was put out so far.
  void Damage(const std::string& reason) {
    fault.kind = Fault::DAMAGED_INPUT;
    fault.file = name;
    fault.reason = reason;
    fault.remedy = "unpack it by hand to see how far it goes, or fetch it again";
  }

  std::unique_ptr<ByteSource> source;
  std::string name;
  std::vector<uint8_t> block;
  size_t used = 0;
  size_t filled = 0;
  bool between = false;
  bool pending = false;  // whether unpacked bytes may wait for room in the output

 private:
  void Refill() {
    const Result<size_t> got = source->Read(block.data(), block.size());
    filled = got ? *got : 0;
    used = 0;
    done = filled == 0;
    if (!got) {
      fault = got.Why();
    } else if (done && !between) {
      Damage("the packed data ends early");
    }
  }

  bool done = false;
  Fault fault;
};

class GzipUnpacker : public Unpacker {
 public:
  GzipUnpacker(std::unique_ptr<ByteSource> source, const std::string& name)
      : Unpacker(std::move(source), name) {
    // Nothing but memory can be missing.
    if (inflateInit2(&stream, 15 + 16) != Z_OK) {
      throw std::bad_alloc();
    }
  }
  ~GzipUnpacker() override { inflateEnd(&stream); }

 protected:
  size_t Unpack(uint8_t* bytes, size_t wanted) override {
    if (between) {
      SkipPadding();
      if (used == filled) {
        return 0;
      }
      if (padded || block[used] != GZIP_FIRST) {
        Damage("gzip: something that is no gzip data follows the packed data");
        return 0;
      }
      inflateReset(&stream);
      between = false;
    }
    stream.next_in = block.data() + used;
    stream.avail_in = static_cast<uInt>(filled - used);
    stream.next_out = bytes;
    stream.avail_out = static_cast<uInt>(wanted);
    const int result = inflate(&stream, Z_NO_FLUSH);
    used = filled - stream.avail_in;
    between = result == Z_STREAM_END;
    if (result == Z_MEM_ERROR) {
      throw std::bad_alloc();
    }
    if (result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR) {
      Damage(std::string("gzip: ") + (stream.msg != nullptr ? stream.msg : zError(result)));
    }
    return wanted - stream.avail_out;
  }

 private:
  void SkipPadding() {
    const auto* const first = block.data() + used;
    const auto* const end = block.data() + filled;
    const auto* const next = std::find_if(first, end, [](uint8_t byte) { return byte != 0; });
    padded = padded || next != first;
    used = filled - static_cast<size_t>(end - next);
  }

  z_stream stream = {};
  bool padded = false;  // whether zeros were met, which no further member follows
};

class ZstdUnpacker : public Unpacker {
 public:
  ZstdUnpacker(std::unique_ptr<ByteSource> source, const std::string& name)
      : Unpacker(std::move(source), name), stream(ZSTD_createDStream()) {
    if (stream == nullptr) {
      throw std::bad_alloc();
    }
  }
  ~ZstdUnpacker() override { ZSTD_freeDStream(stream); }

 protected:
  size_t Unpack(uint8_t* bytes, size_t wanted) override {
    ZSTD_inBuffer in = {block.data(), filled, used};
    ZSTD_outBuffer out = {bytes, wanted, 0};
    const size_t result = ZSTD_decompressStream(stream, &out, &in);
    used = in.pos;
    if (ZSTD_getErrorCode(result) == ZSTD_error_memory_allocation) {
      throw std::bad_alloc();
    }
    if (ZSTD_isError(result)) {
      Damage(between ? "zstd: something that is no zstd data follows the packed data"
                     : std::string("zstd: ") + ZSTD_getErrorName(result));
    }
    between = result == 0;
    return out.pos;
  }

 private:
  ZSTD_DStream* stream;
};

}  // namespace

std::unique_ptr<ByteSource> UnpackGzip(std::unique_ptr<ByteSource> packed,
                                       const std::string& name) {
  return std::make_unique<GzipUnpacker>(std::move(packed), name);
}

std::unique_ptr<ByteSource> UnpackZstd(std::unique_ptr<ByteSource> packed,
                                       const std::string& name) {
  return std::make_unique<ZstdUnpacker>(std::move(packed), name);
}

}  // namespace marrowfin
