#ifndef MEASURE_EXPECT_TRAFFICNUMBERS_H
#define MEASURE_EXPECT_TRAFFICNUMBERS_H

#include <vector>

#include "measure/expect/Measure.h"

namespace marrowfin {

// The measures of the matrix of what clusters send to clusters: of each two different ones, and of
// each by itself.
std::vector<Measure> TrafficMeasures();

// Whether the counts have that matrix, which arrays of too many clusters lack.
bool HasTraffic(const RunFacts& facts);

}  // namespace marrowfin

#endif
