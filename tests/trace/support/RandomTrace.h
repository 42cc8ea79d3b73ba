#ifndef TESTS_TRACE_SUPPORT_RANDOMTRACE_H
#define TESTS_TRACE_SUPPORT_RANDOMTRACE_H

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "trace/base/ArrayShape.h"
#include "trace/base/Record.h"

namespace marrowfin::testing {

struct Event {
  uint32_t type = FIRE_RECORD;
  uint64_t cycle = 0;
  uint32_t thread = 0;
  Place at;
  Place to;
  friend bool operator==(const Event&, const Event&) = default;
};

// What kind of trace Random makes.
struct RandomTraceOptions {
  size_t records = 1000;
  ArrayShape shape = {};
  uint64_t firstCycle = 0;
  unsigned perCycle = 4;  // events per cycle on average
  unsigned threads = 9;
  bool falling = false;  // whether cycles sometimes fall
};

// A trace of thousands of steps, most of them between keyframes.
inline RandomTraceOptions ManyKeyframes() {
  RandomTraceOptions options;
  options.shape = {2, 2, 4};
  options.records = 200000;
  options.perCycle = 100;
  return options;
}

std::vector<Event> RandomEvents(std::mt19937& random, const RandomTraceOptions& options);

// The bytes of a trace, shifted out by hand.
std::string Encode(const std::vector<Event>& events);

}  // namespace marrowfin::testing

#endif
