#ifndef TRACE_BASE_PLACE_H
#define TRACE_BASE_PLACE_H

#include <cstdint>

namespace marrowfin {

// A position in the array, in the order in which records store it. Threads: a value, which one
// thread writes or any number read.
struct Place {
  uint32_t column = 0;
  uint32_t row = 0;

  friend bool operator==(const Place&, const Place&) = default;
};

}  // namespace marrowfin

#endif
