#ifndef TESTS_TRACE_SUPPORT_READEVENTS_H
#define TESTS_TRACE_SUPPORT_READEVENTS_H

#include <string>
#include <vector>

#include "tests/trace/support/RandomTrace.h"

namespace marrowfin::testing {

enum class Ending { WHOLE, ANY };  // ANY: the trace may break off

// The whole records of a trace, packed or not, as the trace engine reads them.
std::vector<Event> ReadEvents(const std::string& name, Ending ending = Ending::WHOLE);

}  // namespace marrowfin::testing

#endif
