#include "trace/write/ZstdSink.h"

#include <zstd.h>

#include <new>

namespace marrowfin {

namespace {

constexpr uint64_t FRAME = 4 << 20;  // raw bytes, about

}  // namespace

struct ZstdSink::Context {
  explicit Context(int level) : stream(ZSTD_createCCtx()) {
    if (stream == nullptr) {
      throw std::bad_alloc();
    }
    ZSTD_CCtx_setParameter(stream, ZSTD_c_compressionLevel, level);
    ZSTD_CCtx_setParameter(stream, ZSTD_c_checksumFlag, 1);
  }
  Context(const Context&) = delete;
  Context& operator=(const Context&) = delete;
  ~Context() { ZSTD_freeCCtx(stream); }

  ZSTD_CCtx* stream;
};

ZstdSink::ZstdSink(ByteSink& below, int level)
    : below(below), context(std::make_unique<Context>(level)), out(ZSTD_CStreamOutSize()) {}

ZstdSink::~ZstdSink() { static_cast<void>(Flush()); }

// Hands on what comes out, until all bytes are in and, at the end of a frame, all of it is out.
Fault ZstdSink::Pack(const uint8_t* bytes, size_t size, bool end) {
  ZSTD_inBuffer in = {bytes, size, 0};
  for (bool done = false; !done && !fault;) {
    ZSTD_outBuffer buffer = {out.data(), out.size(), 0};
    const size_t left =
        ZSTD_compressStream2(context->stream, &buffer, &in, end ? ZSTD_e_end : ZSTD_e_continue);
    if (ZSTD_isError(left) != 0) {
      fault.kind = Fault::SYSTEM;
      fault.reason = std::string("cannot pack: ") + ZSTD_getErrorName(left);
      break;
    }
    done = end ? left == 0 : in.pos == in.size;
    if (buffer.pos > 0) {
      Written written = below.Write(out.data(), buffer.pos);
      packed += written.taken;
      fault = std::move(written.fault);
    }
  }
  return fault;
}

ByteSink::Written ZstdSink::Write(const uint8_t* bytes, size_t size) {
  if (!fault && !Pack(bytes, size, false)) {
    raw += size;
    inFrame += size;
    if (inFrame >= FRAME) {
      static_cast<void>(Flush());
    }
  }
  return fault ? Written{0, fault} : Written{size, {}};
}

Fault ZstdSink::Flush() {
  if (!fault && inFrame > 0) {
    inFrame = 0;
    static_cast<void>(Pack(nullptr, 0, true));
  }
  return fault;
}

}  // namespace marrowfin
