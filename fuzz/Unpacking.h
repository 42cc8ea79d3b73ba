#ifndef FUZZ_UNPACKING_H
#define FUZZ_UNPACKING_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "fuzz/Fuzz.h"

// Bytes as packed data: what comes out, and the fault behind it, must not depend on the portions in
// which data goes in and comes out.

namespace marrowfin::fuzz {

using Unpacker = std::unique_ptr<ByteSource> (*)(std::unique_ptr<ByteSource> packed,
                                                 const std::string& name);

// A small input may unpack to any amount.
constexpr size_t ENOUGH = 256 << 10;

struct Unpacked {
  std::vector<uint8_t> bytes;
  Fault fault;
};

inline Unpacked UnpackAll(std::unique_ptr<ByteSource> packed, Unpacker unpack, size_t portion) {
  const std::unique_ptr<ByteSource> source = unpack(std::move(packed), "t");
  Unpacked result;
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

// The next bytes of `input` tell the portions, the rest is packed. `mayHide` says that a fault may
// be seen by an unpacker alone that has all of the data at once.
inline void TryUnpacking(Input input, Unpacker unpack, bool mayHide) {
  const size_t most = input.Byte();
  const size_t portion = 1 + input.Byte() * size_t{16};
  const uint8_t* data = input.Rest();
  const size_t size = input.Left();
  Unpacked small = UnpackAll(std::make_unique<Trickle>(data, size, most), unpack, portion);
  Unpacked large = UnpackAll(std::make_unique<Trickle>(data, size, 0), unpack, 256 << 10);
  if (small.bytes.size() < ENOUGH && large.bytes.size() < ENOUGH) {
    const bool hidden = mayHide && !small.fault && large.fault;
    Require(small.fault.kind == large.fault.kind || hidden, "damage is damage in any portions");
  }
  // How much is put out before damage is noticed is the unpacker's own affair.
  const size_t common = std::min(small.bytes.size(), large.bytes.size());
  small.bytes.resize(common);
  large.bytes.resize(common);
  Require(small.bytes == large.bytes, "the same bytes come out in any portions");
}

}  // namespace marrowfin::fuzz

#endif
