#ifndef MEASURE_EXPECT_WITNESSES_H
#define MEASURE_EXPECT_WITNESSES_H

#include "measure/expect/Measure.h"
#include "measure/expect/Verdict.h"

namespace marrowfin {

// Where to look for a number of the run that is `tooLarge`, or else too small.
Witness WitnessOf(const Measure& measure, const RunFacts& facts, bool tooLarge);

// The same of the number of a unit.
Witness WitnessOf(const Measure& measure, const RunFacts& facts, const PlacedNumber& number,
                  bool tooLarge);

}  // namespace marrowfin

#endif
