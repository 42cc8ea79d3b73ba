#ifndef MEASURE_EXPECT_MEASURETABLE_H
#define MEASURE_EXPECT_MEASURETABLE_H

#include <string>
#include <vector>

#include "measure/expect/Measure.h"

namespace marrowfin {

// The measures that rules can ask for, by name.

// All of them; of distributions the percentiles 50, 95 and 99.
const std::vector<MeasureEntry>& AllMeasures();

// The one of that name, which may have any percentile from p1 to p99; null where there is none.
MeasureEntry FindMeasure(const std::string& name);

bool IsPattern(const std::string& name);

// Whether a name meets a pattern, in which * stands for any letters, or none.
bool MeetsPattern(const std::string& name, const std::string& pattern);

}  // namespace marrowfin

#endif
