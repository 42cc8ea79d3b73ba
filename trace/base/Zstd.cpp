#include "trace/base/Zstd.h"

#include <zstd.h>

#include <memory>

namespace marrowfin {

namespace {

constexpr int LEVEL = 1;

struct FreeContext {
  void operator()(ZSTD_CCtx* context) const { ZSTD_freeCCtx(context); }
};

// Contexts are large: each thread keeps one.
ZSTD_CCtx* PackContext() {
  static thread_local std::unique_ptr<ZSTD_CCtx, FreeContext> context;
  if (!context) {
    context.reset(ZSTD_createCCtx());
    ZSTD_CCtx_setParameter(context.get(), ZSTD_c_compressionLevel, LEVEL);
    ZSTD_CCtx_setParameter(context.get(), ZSTD_c_checksumFlag, 1);
  }
  return context.get();
}

}  // namespace

std::vector<uint8_t> Pack(std::span<const uint8_t> raw) {
  std::vector<uint8_t> packed(ZSTD_compressBound(raw.size()));
  const size_t size =
      ZSTD_compress2(PackContext(), packed.data(), packed.size(), raw.data(), raw.size());
  packed.resize(size);
  return packed;
}

bool Unpack(std::span<const uint8_t> packed, size_t rawSize, std::vector<uint8_t>& raw) {
  if (ZSTD_getFrameContentSize(packed.data(), packed.size()) != rawSize) {
    return false;
  }
  raw.resize(rawSize);
  return ZSTD_decompress(raw.data(), raw.size(), packed.data(), packed.size()) == rawSize;
}

}  // namespace marrowfin
