#ifndef TRACE_INDEX_THREADMASK_H
#define TRACE_INDEX_THREADMASK_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "trace/base/Place.h"

namespace marrowfin {

// Which threads may have touched which processing elements in a stretch of a trace: fired there,
// sent from there or to there. Threads fall into eight classes, a bit each in the byte of a
// position, so that the eight threads below 8 are told apart; a bit that is not set means none of
// the class.
//
// Threads keep to few elements for long, so a mask is mostly empty and one of a long stretch hardly
// fuller than those of its parts; where threads are everywhere, it is found out soon that they are,
// and positions are put together by fours until what is left is worth its room. One bit for each
// thread was rejected: the room would grow with the number of threads.
class ThreadMask {
 public:
  static constexpr unsigned CLASSES = 8;

  // The class of a thread: thread * 585 / 512, rounded down, modulo 8; about the sum of its four
  // lowest groups of three bits, so that threads whose numbers are multiples of a power of two do
  // not fall into one class.
  static constexpr uint32_t ClassOf(uint32_t thread) { return thread * 585 / 512 % CLASSES; }
  static constexpr uint8_t BitOf(uint32_t thread) {
    return static_cast<uint8_t>(1U << ClassOf(thread));
  }

  // A section of an index: a byte that tells how often four positions were put together, and the
  // bytes that are left, row by row. `bits` has columns * rows of them, which are powers of two;
  // `records` is how many the stretch has, by which the size of the section is held.
  static std::vector<uint8_t> Encode(std::vector<uint8_t> bits, uint32_t columns, uint32_t rows,
                                     uint64_t records);

  // All bits of the positions of a rectangle, `first` to `last` included and cut to the array; all
  // there can be where the bytes are no mask of an array of columns * rows.
  static uint8_t Gather(std::span<const uint8_t> section, uint32_t columns, uint32_t rows,
                        Place first, Place last);

  // Clears those of `bits`, the bytes of columns * rows positions, that the section knows nothing
  // of.
  static void Restrict(std::span<const uint8_t> section, uint32_t columns, uint32_t rows,
                       std::span<uint8_t> bits);

  // The largest section of an array of so many positions.
  static constexpr uint64_t Largest(uint64_t positions) { return 1 + positions; }
};

}  // namespace marrowfin

#endif
