#ifndef SIM_REMEDY_H
#define SIM_REMEDY_H

#include <functional>
#include <string>

#include "sim/Array.h"
#include "sim/Placement.h"

namespace marrowfin::sim {

// What to do where a program does not fit on an array: the options to raise, with values with which
// it does fit, as "-array/operandBuffer 80 would do". `place` places it, where each processing
// element holds so many operations, at least `share` of them.
std::string RemedyFor(const Array& array, const Graph& graph, uint32 threads, uint32 share,
                      const std::function<Placement(uint32 capacity)>& place);

}  // namespace marrowfin::sim

#endif
