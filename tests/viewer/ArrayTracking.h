#ifndef TESTS_VIEWER_ARRAYTRACKING_H
#define TESTS_VIEWER_ARRAYTRACKING_H

#include <cstddef>

namespace marrowfin::testing {

// Linking ArrayTracking.cpp replaces the program's new[] and delete[], so that a test can ask what
// became of an array. At most 64 arrays are remembered, the latest ones.

// How many bytes were asked for at `array`, which is not released; 0 for any other pointer.
size_t ArrayBytes(const void* array);

// Whether the latest array that was allocated at this address has been released.
bool ArrayReleased(const void* array);

}  // namespace marrowfin::testing

#endif
