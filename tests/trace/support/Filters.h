#ifndef TESTS_TRACE_SUPPORT_FILTERS_H
#define TESTS_TRACE_SUPPORT_FILTERS_H

#include <cstdint>
#include <random>
#include <vector>

#include "tests/trace/support/Opened.h"
#include "tests/trace/support/RandomTrace.h"
#include "trace/ask/EventFilter.h"

namespace marrowfin::testing {

// What a filter lets through, by looking at every event: the numbers of the records.
std::vector<uint64_t> Expected(const std::vector<Event>& events, const EventFilter& filter);

// Conditions of all kinds that some of the events meet; places lie on an array of side x side.
EventFilter RandomFilter(std::mt19937& random, const std::vector<Event>& events, uint32_t side);

// Events in phases, in each of which two threads, of many, touch a part of the array of side x
// side: most threads and places have nothing for long.
std::vector<Event> PhasedEvents(std::mt19937& random, size_t records, uint32_t side);

// Indexes a trace anew, with segments and a sparse table of other lengths.
void IndexAnew(Opened& opened, IndexLimits limits);

}  // namespace marrowfin::testing

#endif
