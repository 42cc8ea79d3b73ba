#ifndef BENCH_TRACE_TABLE_H
#define BENCH_TRACE_TABLE_H

#include <string>

namespace marrowfin::bench {

// A line of the result, `what` measured as `value` (with its unit), which ought to be at least or
// at most `bar`.
void AtLeast(const std::string& what, double value, const std::string& unit, double bar);
void AtMost(const std::string& what, double value, const std::string& unit, double bar);

// A line that is only told.
void Note(const std::string& what, double value, const std::string& unit);

void Heading(const std::string& text);

// How many lines did not meet their bar so far.
int NotMet();

}  // namespace marrowfin::bench

#endif
