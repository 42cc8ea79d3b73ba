#include "tests/viewer/GlCalls.h"

#include <utility>

#include "tests/viewer/RecordingGl.h"

namespace marrowfin::testing {

namespace {

std::vector<std::string> calls;

}  // namespace

void RecordCall(const std::string& call) { calls.push_back(call); }

std::vector<std::string> TakeGlCalls() { return std::exchange(calls, {}); }

}  // namespace marrowfin::testing
