#ifndef SIM_RUNABOUT_H
#define SIM_RUNABOUT_H

#include <string>

#include "sim/Array.h"
#include "sim/Graph.h"
#include "sim/Placement.h"
#include "trace/base/About.h"

namespace marrowfin::sim {

// What the about file beside a trace tells of a run of `program` with so many threads: the array,
// its links, the threads, and which operations were placed on which processing element. Not what
// command it was.
About AboutRun(const std::string& program, const Graph& graph, const Placement& placement,
               const Array& array, uint32 threads);

}  // namespace marrowfin::sim

#endif
