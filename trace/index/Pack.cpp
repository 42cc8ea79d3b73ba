#include "trace/index/Pack.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace marrowfin {

namespace {

unsigned WidthFor(uint64_t largest) {
  return largest == 0 ? 0 : std::bit_ceil(static_cast<unsigned>(std::bit_width(largest)));
}

size_t BytesFor(size_t count, unsigned width) { return (count * width + 7) / 8; }

// Adding and subtracting differ in bits, not in instructions: -x is ~x + 1.
uint64_t Signed(uint64_t value, uint64_t flip) { return (value ^ flip) - flip; }

template <class Word>
void AddWords(const uint8_t* bytes, uint64_t flip, std::span<uint64_t> sums) {
  for (size_t i = 0; i < sums.size(); ++i) {
    Word word;
    memcpy(&word, bytes + i * sizeof(Word), sizeof(Word));
    sums[i] += Signed(word, flip);
  }
}

template <unsigned WIDTH>
void AddBits(const uint8_t* bytes, uint64_t flip, std::span<uint64_t> sums) {
  constexpr size_t PER_BYTE = 8 / WIDTH;
  constexpr unsigned MASK = (1U << WIDTH) - 1;
  const size_t whole = sums.size() / PER_BYTE;
  for (size_t byte = 0; byte < whole; ++byte) {
    for (size_t i = 0; i < PER_BYTE; ++i) {
      sums[byte * PER_BYTE + i] += Signed(bytes[byte] >> i * WIDTH & MASK, flip);
    }
  }
  for (size_t i = whole * PER_BYTE; i < sums.size(); ++i) {
    sums[i] += Signed(bytes[whole] >> i % PER_BYTE * WIDTH & MASK, flip);
  }
}

template <unsigned WIDTH, class Count>
void PutBits(std::span<const Count> counts, uint8_t* out) {
  constexpr size_t PER_BYTE = 8 / WIDTH;
  const size_t whole = counts.size() / PER_BYTE;
  for (size_t byte = 0; byte < whole; ++byte) {
    Count bits = 0;
    for (size_t i = 0; i < PER_BYTE; ++i) {
      bits |= counts[byte * PER_BYTE + i] << i * WIDTH;
    }
    out[byte] = static_cast<uint8_t>(bits);
  }
  for (size_t i = whole * PER_BYTE; i < counts.size(); ++i) {
    out[whole] = static_cast<uint8_t>(out[whole] | counts[i] << i % PER_BYTE * WIDTH);
  }
}

template <class Word, class Count>
void PutWords(std::span<const Count> counts, uint8_t* out) {
  for (size_t i = 0; i < counts.size(); ++i) {
    const Word word = static_cast<Word>(counts[i]);
    memcpy(out + i * sizeof(Word), &word, sizeof(Word));
  }
}

template <class Count>
std::vector<uint8_t> NarrowCounts(std::span<const Count> counts) {
  Count all = 0;
  for (const Count count : counts) {
    all |= count;
  }
  const unsigned width = WidthFor(all);
  std::vector<uint8_t> out(1 + BytesFor(counts.size(), width));
  out[0] = static_cast<uint8_t>(width);
  uint8_t* bytes = out.data() + 1;
  switch (width) {
    case 1:
      PutBits<1>(counts, bytes);
      break;
    case 2:
      PutBits<2>(counts, bytes);
      break;
    case 4:
      PutBits<4>(counts, bytes);
      break;
    case 8:
      PutWords<uint8_t>(counts, bytes);
      break;
    case 16:
      PutWords<uint16_t>(counts, bytes);
      break;
    case 32:
      PutWords<uint32_t>(counts, bytes);
      break;
    case 64:
      PutWords<uint64_t>(counts, bytes);
      break;
    default:
      break;
  }
  return out;
}

}  // namespace

static_assert(std::endian::native == std::endian::little, "counts are stored as the host has them");

std::vector<uint8_t> Narrow(std::span<const uint64_t> counts) { return NarrowCounts(counts); }

std::vector<uint8_t> Narrow(std::span<const uint32_t> counts) { return NarrowCounts(counts); }

bool IsNarrow(std::span<const uint8_t> narrow, size_t count) {
  const unsigned width = narrow.empty() ? 1 : narrow[0];
  const bool known = width == 0 || (width <= 64 && std::has_single_bit(width));
  return known && narrow.size() == 1 + BytesFor(count, width);
}

uint64_t SumNarrow(std::span<const uint8_t> narrow, size_t first, size_t end) {
  const unsigned width = narrow[0];
  const uint8_t* bytes = narrow.data() + 1;
  uint64_t sum = 0;
  for (size_t i = first; i < end && width > 0; ++i) {
    uint64_t count = 0;
    if (width < 8) {
      count = bytes[i * width / 8] >> i * width % 8 & ((1U << width) - 1);
    } else {
      memcpy(&count, bytes + i * (width / 8), width / 8);
    }
    sum += count;
  }
  return sum;
}

bool AddNarrow(std::span<const uint8_t> narrow, int sign, std::span<uint64_t> sums) {
  if (!IsNarrow(narrow, sums.size())) {
    return false;
  }
  const unsigned width = narrow[0];
  const uint8_t* bytes = narrow.data() + 1;
  const uint64_t flip = sign < 0 ? ~uint64_t{0} : 0;
  switch (width) {
    case 1:
      AddBits<1>(bytes, flip, sums);
      break;
    case 2:
      AddBits<2>(bytes, flip, sums);
      break;
    case 4:
      AddBits<4>(bytes, flip, sums);
      break;
    case 8:
      AddWords<uint8_t>(bytes, flip, sums);
      break;
    case 16:
      AddWords<uint16_t>(bytes, flip, sums);
      break;
    case 32:
      AddWords<uint32_t>(bytes, flip, sums);
      break;
    case 64:
      AddWords<uint64_t>(bytes, flip, sums);
      break;
    default:
      break;
  }
  return true;
}

}  // namespace marrowfin
