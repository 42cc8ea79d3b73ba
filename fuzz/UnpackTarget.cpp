#include <memory>
#include <string>
#include <vector>

#include "fuzz/Fuzz.h"
#include "trace/read/Unpack.h"

// Bytes as packed data: what comes out, and the fault behind it, must not depend on the portions in
// which data goes in and comes out.

namespace marrowfin::fuzz {

namespace {

// A small input may unpack to any amount.
constexpr size_t ENOUGH = 256 << 10;

struct Outcome {
  std::vector<uint8_t> bytes;
  Fault fault;
};

Outcome UnpackAll(std::unique_ptr<ByteSource> packed, bool zstd, size_t portion) {
  const std::unique_ptr<ByteSource> source =
      zstd ? UnpackZstd(std::move(packed), "t") : UnpackGzip(std::move(packed), "t");
  Outcome result;
  std::vector<uint8_t> block(portion);
  bool more = true;
  while (more && result.bytes.size() < ENOUGH) {
    const Result<size_t> got = source->Read(block.data(), block.size());
    result.fault = got.Why();
    more = got && *got > 0;
    if (more) {
      Require(*got <= block.size(), "no more is read than there is room for");
      result.bytes.insert(result.bytes.end(), block.begin(),
                          block.begin() + static_cast<ptrdiff_t>(*got));
    }
  }
  return result;
}

void Try(Input input) {
  const bool zstd = (input.Byte() & 1) != 0;
  const size_t most = input.Byte();
  const size_t portion = 1 + input.Byte() * size_t{16};
  const uint8_t* data = input.Rest();
  const size_t size = input.Left();
  Outcome small = UnpackAll(std::make_unique<Trickle>(data, size, most), zstd, portion);
  Outcome large = UnpackAll(std::make_unique<Trickle>(data, size, 0), zstd, 256 << 10);
  if (small.bytes.size() < ENOUGH && large.bytes.size() < ENOUGH) {
    // That a frame is shorter than its header says hides behind an empty last block, but where the
    // zstd library has all of the frame at once.
    const bool hidden = zstd && !small.fault && large.fault;
    Require(small.fault.kind == large.fault.kind || hidden, "damage is damage in any portions");
  }
  // How much is put out before damage is noticed is the unpacker's own affair.
  const size_t common = std::min(small.bytes.size(), large.bytes.size());
  small.bytes.resize(common);
  large.bytes.resize(common);
  Require(small.bytes == large.bytes, "the same bytes come out in any portions");
}

}  // namespace

}  // namespace marrowfin::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  marrowfin::fuzz::Try(marrowfin::fuzz::Input(data, size));
  return 0;
}
