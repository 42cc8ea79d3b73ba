#include "trace/Unpack.h"

#include <zlib.h>
#include <zstd.h>

#include <vector>

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

  size_t Read(uint8_t* bytes, size_t wanted, Fault& fault) override {
    size_t got = 0;
    while (got == 0 && !done) {
      if (used == filled && !pending) {
        filled = source->Read(block.data(), block.size(), fault);
        used = 0;
        if (filled == 0) {
          done = true;
          if (!fault && !between) {
            Damage(fault, "the packed data ends early");
          }
          return 0;
        }
      }
      got = Unpack(bytes, wanted, fault);
      pending = got == wanted && !between;
      done = done || static_cast<bool>(fault);
    }
    return got;
  }

 protected:
  // Unpacks from block[used, filled) and moves `used`; sets `between` where a member or frame is
  // complete. Returns the bytes put out.
  virtual size_t Unpack(uint8_t* bytes, size_t wanted, Fault& fault) = 0;

  void Damage(Fault& fault, const std::string& reason) {
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
  bool done = false;
};

class GzipUnpacker : public Unpacker {
 public:
  GzipUnpacker(std::unique_ptr<ByteSource> source, const std::string& name)
      : Unpacker(std::move(source), name) {
    inflateInit2(&stream, 15 + 16);
  }
  ~GzipUnpacker() override { inflateEnd(&stream); }

 protected:
  size_t Unpack(uint8_t* bytes, size_t wanted, Fault& fault) override {
    if (between) {
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
    if (result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR) {
      Damage(fault, std::string("gzip: ") + (stream.msg != nullptr ? stream.msg : zError(result)));
    }
    return wanted - stream.avail_out;
  }

 private:
  z_stream stream = {};
};

class ZstdUnpacker : public Unpacker {
 public:
  ZstdUnpacker(std::unique_ptr<ByteSource> source, const std::string& name)
      : Unpacker(std::move(source), name), stream(ZSTD_createDStream()) {}
  ~ZstdUnpacker() override { ZSTD_freeDStream(stream); }

 protected:
  size_t Unpack(uint8_t* bytes, size_t wanted, Fault& fault) override {
    ZSTD_inBuffer in = {block.data(), filled, used};
    ZSTD_outBuffer out = {bytes, wanted, 0};
    const size_t result = ZSTD_decompressStream(stream, &out, &in);
    used = in.pos;
    between = result == 0;
    if (ZSTD_isError(result)) {
      Damage(fault, std::string("zstd: ") + ZSTD_getErrorName(result));
    }
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
