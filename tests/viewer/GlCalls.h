#ifndef TESTS_VIEWER_GLCALLS_H
#define TESTS_VIEWER_GLCALLS_H

#include <string>
#include <vector>

namespace marrowfin::testing {

// The OpenGL calls recorded since the last TakeGlCalls, in order.
std::vector<std::string> TakeGlCalls();

}  // namespace marrowfin::testing

#endif
