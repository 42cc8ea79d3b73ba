#include "trace/read/Packing.h"

#include <algorithm>
#include <iterator>

#include "trace/base/MfzFormat.h"

namespace marrowfin {

namespace {

constexpr uint8_t GZIP_START[] = {GZIP_FIRST, 0x8b};
constexpr uint8_t ZSTD_START[] = {0x28, 0xb5, 0x2f, 0xfd};

// A frame that holds no data but something for those who know it, such as how long the next one is
// for whoever unpacks many at a time. The lowest four bits of its first byte are free.
constexpr uint8_t SKIPPABLE_START[] = {0x50, 0x2a, 0x4d, 0x18};

}  // namespace

Packing PackingOf(const uint8_t* bytes, size_t size) {
  if (size >= sizeof(GZIP_START) && std::equal(GZIP_START, std::end(GZIP_START), bytes)) {
    return Packing::GZIP;
  }
  if (size < PACKED_START) {
    return Packing::NONE;
  }
  if (std::equal(MFZ_MAGIC, MFZ_MAGIC + PACKED_START, bytes)) {
    return Packing::MFZ;
  }
  const bool frame = std::equal(ZSTD_START, std::end(ZSTD_START), bytes);
  const bool skippable = (bytes[0] & 0xf0) == SKIPPABLE_START[0] &&
                         std::equal(SKIPPABLE_START + 1, std::end(SKIPPABLE_START), bytes + 1);
  return frame || skippable ? Packing::ZSTD : Packing::NONE;
}

}  // namespace marrowfin
