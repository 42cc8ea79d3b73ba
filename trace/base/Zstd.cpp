#include "trace/base/Zstd.h"

#include <zstd.h>

#include <memory>
#include <mutex>
#include <new>

namespace marrowfin {

namespace {

constexpr int LEVEL = 1;

// Contexts are large: each is kept for the next that needs one. They are not kept by thread, since
// the system ends the process where it has no memory to note that a thread has something to free.
template <class Context, Context* (*Create)(), size_t (*Free)(Context*)>
class Contexts {
 public:
  // Calls `use` with a context of its own.
  template <class Use>
  size_t With(Use use) {
    Owner context = Take();
    const size_t result = use(context.get());
    const std::lock_guard lock(mutex);
    kept.push_back(std::move(context));
    return result;
  }

 private:
  struct Release {
    void operator()(Context* context) const { Free(context); }
  };
  using Owner = std::unique_ptr<Context, Release>;

  Owner Take() {
    const std::lock_guard lock(mutex);
    Owner context;
    if (kept.empty()) {
      context.reset(Create());
    } else {
      context = std::move(kept.back());
      kept.pop_back();
    }
    if (!context) {
      throw std::bad_alloc();
    }
    return context;
  }

  std::mutex mutex;
  std::vector<Owner> kept;
};

Contexts<ZSTD_CCtx, ZSTD_createCCtx, ZSTD_freeCCtx> packing;
Contexts<ZSTD_DCtx, ZSTD_createDCtx, ZSTD_freeDCtx> unpacking;

}  // namespace

std::vector<uint8_t> Pack(std::span<const uint8_t> raw) {
  std::vector<uint8_t> packed(ZSTD_compressBound(raw.size()));
  const size_t size = packing.With([&](ZSTD_CCtx* context) {
    ZSTD_CCtx_setParameter(context, ZSTD_c_compressionLevel, LEVEL);
    ZSTD_CCtx_setParameter(context, ZSTD_c_checksumFlag, 1);
    return ZSTD_compress2(context, packed.data(), packed.size(), raw.data(), raw.size());
  });
  // There is room for whatever comes out, so that nothing but memory can be missing.
  if (ZSTD_isError(size) != 0) {
    throw std::bad_alloc();
  }
  packed.resize(size);
  return packed;
}

bool Unpack(std::span<const uint8_t> packed, size_t rawSize, std::vector<uint8_t>& raw) {
  if (ZSTD_getFrameContentSize(packed.data(), packed.size()) != rawSize) {
    return false;
  }
  raw.resize(rawSize);
  const size_t size = unpacking.With([&](ZSTD_DCtx* context) {
    return ZSTD_decompressDCtx(context, raw.data(), raw.size(), packed.data(), packed.size());
  });
  return size == rawSize;
}

}  // namespace marrowfin
