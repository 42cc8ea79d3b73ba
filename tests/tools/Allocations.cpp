#include "tests/tools/Allocations.h"

#include <cstdint>
#include <cstdlib>
#include <new>

namespace marrowfin {

size_t largestAllocation = SIZE_MAX;

}  // namespace marrowfin

void* operator new(size_t size) {
  void* const memory = size <= marrowfin::largestAllocation ? std::malloc(size) : nullptr;
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, size_t) noexcept { std::free(memory); }
