#include "measure/SameBytes.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "trace/read/BusGuard.h"

namespace marrowfin {
namespace {

// What is compared at once: small enough that the bytes are still at hand when the first that
// differs is looked for.
constexpr uint64_t PIECE = 1 << 12;

// What is read of one trace at once. Its bytes are copied also where it is mapped: a page that
// nobody has looked at is fetched no quicker than it is copied, and only one of two mapped files
// can be guarded at a time.
constexpr uint64_t BLOCK = 1 << 16;

uint64_t SamePrefix(const uint8_t* a, const uint8_t* b, uint64_t length) {
  uint64_t same = 0;
  while (same < length) {
    const uint64_t piece = std::min(PIECE, length - same);
    if (std::memcmp(a + same, b + same, static_cast<size_t>(piece)) != 0) {
      break;
    }
    same += piece;
  }
  while (same < length && a[same] == b[same]) {
    ++same;
  }
  return same;
}

// How many bytes of `trace` from byte `offset` on are those at `block`.
Result<uint64_t> SameAs(const TraceSource& trace, uint64_t offset, const uint8_t* block,
                        uint64_t length, std::vector<uint8_t>& copy) {
  if (trace.Bytes() == nullptr) {
    copy.resize(BLOCK);
    if (Fault fault = trace.Copy(offset, static_cast<size_t>(length), copy.data())) {
      return fault;
    }
    return SamePrefix(copy.data(), block, length);
  }
  trace.File().AboutToRead(offset);
  uint64_t same = 0;
  const uint8_t* const bytes = trace.Bytes();
  const bool whole = BusGuard::Run(bytes, static_cast<size_t>(trace.Size()),
                                   [&] { same = SamePrefix(bytes + offset, block, length); });
  return whole ? Result<uint64_t>(same) : trace.Changed(offset);
}

}  // namespace

Result<uint64_t> SameBytes(const TraceSource& a, uint64_t inA, const TraceSource& b, uint64_t inB,
                           uint64_t length) {
  std::vector<uint8_t> block(static_cast<size_t>(std::min(BLOCK, length)));
  std::vector<uint8_t> copy;
  for (uint64_t done = 0; done < length;) {
    const uint64_t piece = std::min(BLOCK, length - done);
    if (Fault fault = b.Copy(inB + done, static_cast<size_t>(piece), block.data())) {
      return fault;
    }
    const Result<uint64_t> same = SameAs(a, inA + done, block.data(), piece, copy);
    if (!same) {
      return same.Why();
    }
    done += *same;
    if (*same < piece) {
      return done;
    }
  }
  return length;
}

}  // namespace marrowfin
