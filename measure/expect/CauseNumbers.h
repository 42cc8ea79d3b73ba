#ifndef MEASURE_EXPECT_CAUSENUMBERS_H
#define MEASURE_EXPECT_CAUSENUMBERS_H

#include <vector>

#include "measure/expect/Measure.h"

namespace marrowfin {

// The measures of what led to the end of a run, by the names that `why --json` has for them: the
// critical path, how early the run could have ended, slack. All of them need causes.
std::vector<Measure> CauseMeasures();

}  // namespace marrowfin

#endif
