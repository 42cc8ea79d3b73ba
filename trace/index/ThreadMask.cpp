#include "trace/index/ThreadMask.h"

#include <algorithm>

namespace marrowfin {

namespace {

constexpr uint8_t EVERYTHING = 0xFF;

// A side of the array that was halved so often; one position is left of any side but none at all.
uint32_t Halved(uint32_t side, unsigned times) {
  return times >= 32 || side >> times == 0 ? std::min(side, 1U) : side >> times;
}

// Whether so many bytes are about what the packed mask takes: empty and full ones take next to
// nothing.
bool IsWorthItsRoom(const std::vector<uint8_t>& bits, uint64_t records) {
  constexpr uint64_t RECORDS_PER_BYTE = 16;
  const auto mixed = bits.size() - static_cast<size_t>(std::count(bits.begin(), bits.end(), 0)) -
                     static_cast<size_t>(std::count(bits.begin(), bits.end(), EVERYTHING));
  return mixed * RECORDS_PER_BYTE <= records;
}

// Puts each two by two positions together.
std::vector<uint8_t> Halve(const std::vector<uint8_t>& bits, uint32_t columns, uint32_t rows) {
  const uint32_t fewer = Halved(columns, 1);
  std::vector<uint8_t> halved(static_cast<size_t>(fewer) * Halved(rows, 1));
  const unsigned acrossShift = columns > 1 ? 1 : 0;
  const unsigned downShift = rows > 1 ? 1 : 0;
  for (uint32_t row = 0; row < rows; ++row) {
    const uint8_t* from = bits.data() + static_cast<size_t>(row) * columns;
    uint8_t* to = halved.data() + static_cast<size_t>(row >> downShift) * fewer;
    for (uint32_t column = 0; column < columns; ++column) {
      to[column >> acrossShift] = static_cast<uint8_t>(to[column >> acrossShift] | from[column]);
    }
  }
  return halved;
}

// Where the bytes of a section stand for which positions.
struct Layout {
  Layout(std::span<const uint8_t> section, uint32_t columns, uint32_t rows) {
    const unsigned times = section.empty() ? 32 : section[0];
    known = times < 32 &&
            section.size() == 1 + static_cast<size_t>(Halved(columns, times)) * Halved(rows, times);
    across = Halved(columns, times);
    acrossShift = ShiftOf(columns, across);
    downShift = ShiftOf(rows, Halved(rows, times));
  }

  static unsigned ShiftOf(uint32_t side, uint32_t halved) {
    unsigned shift = 0;
    for (; side >> shift > halved; ++shift) {
    }
    return shift;
  }

  bool known;
  uint32_t across;
  unsigned acrossShift;
  unsigned downShift;
};

}  // namespace

std::vector<uint8_t> ThreadMask::Encode(std::vector<uint8_t> bits, uint32_t columns, uint32_t rows,
                                        uint64_t records) {
  uint8_t times = 0;
  while (bits.size() > 1 && !IsWorthItsRoom(bits, records)) {
    bits = Halve(bits, columns, rows);
    columns = Halved(columns, 1);
    rows = Halved(rows, 1);
    ++times;
  }
  bits.insert(bits.begin(), times);
  return bits;
}

uint8_t ThreadMask::Gather(std::span<const uint8_t> section, uint32_t columns, uint32_t rows,
                           Place first, Place last) {
  const Layout layout(section, columns, rows);
  if (!layout.known) {
    return EVERYTHING;
  }
  unsigned all = 0;
  if (first.column >= columns || first.row >= rows) {
    return 0;
  }
  const Place from = {first.column >> layout.acrossShift, first.row >> layout.downShift};
  const Place to = {std::min(last.column, columns - 1) >> layout.acrossShift,
                    std::min(last.row, rows - 1) >> layout.downShift};
  for (size_t row = from.row; row <= to.row; ++row) {
    for (size_t column = from.column; column <= to.column; ++column) {
      all |= section[1 + row * layout.across + column];
    }
  }
  return static_cast<uint8_t>(all);
}

void ThreadMask::Restrict(std::span<const uint8_t> section, uint32_t columns, uint32_t rows,
                          std::span<uint8_t> bits) {
  const Layout layout(section, columns, rows);
  if (!layout.known) {
    return;
  }
  for (size_t row = 0; row < rows; ++row) {
    const uint8_t* from = section.data() + 1 + (row >> layout.downShift) * layout.across;
    for (size_t column = 0; column < columns; ++column) {
      uint8_t& to = bits[row * columns + column];
      to = static_cast<uint8_t>(to & from[column >> layout.acrossShift]);
    }
  }
}

}  // namespace marrowfin
