#ifndef TESTS_TOOLS_ALLOCATIONS_H
#define TESTS_TOOLS_ALLOCATIONS_H

#include <cstddef>

namespace marrowfin {

// An allocation of more bytes than this fails as one does when memory has run out. The operators
// are those of the whole test program.
extern size_t largestAllocation;

}  // namespace marrowfin

#endif
