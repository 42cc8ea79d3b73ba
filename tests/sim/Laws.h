#ifndef TESTS_SIM_LAWS_H
#define TESTS_SIM_LAWS_H

#include <string>
#include <vector>

#include "sim/Context.h"
#include "sim/Graph.h"
#include "sim/Shape.h"

namespace marrowfin::sim::testing {

// What of a trace contradicts the machine; empty if nothing does. Records have whole headers and
// payloads, cycles never fall, and every event lies where the viewer files a piece.
std::vector<std::string> BrokenTraceLaws(const std::string& trace, const Shape& shape);

// How many records of each type a trace has, by type.
std::vector<size_t> RecordCounts(const std::string& trace);

// What of a log contradicts the machine; empty if nothing does. Every arrival has a send, and every
// send an arrival; messages follow links from unit to unit, and hops equal the routing distance; no
// link carries two messages in one cycle, or one that it has no credit for, or one in less than its
// latency; a processing element fires once a cycle at most; every
// fire consumes one operand for each port that takes a token, which came to that element for that
// operation, port, thread and iteration; and no operand is used twice or left over.
std::vector<std::string> BrokenLogLaws(const std::string& log, const Graph& graph,
                                       const Settings& settings);

}  // namespace marrowfin::sim::testing

#endif
