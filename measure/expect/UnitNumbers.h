#ifndef MEASURE_EXPECT_UNITNUMBERS_H
#define MEASURE_EXPECT_UNITNUMBERS_H

#include <vector>

#include "measure/expect/Measure.h"

namespace marrowfin {

// The measures of which each unit of the array has one.
std::vector<Measure> UnitMeasures();

}  // namespace marrowfin

#endif
