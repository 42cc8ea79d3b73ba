#ifndef TESTS_MEASURE_MEASUREDTRACE_H
#define TESTS_MEASURE_MEASUREDTRACE_H

#include <vector>

#include "measure/RunMeasures.h"
#include "tests/trace/support/Opened.h"
#include "tests/trace/support/RandomTrace.h"

namespace marrowfin::testing {

// A trace of these events that was counted and measured.
struct MeasuredTrace {
  MeasuredTrace(const std::vector<Event>& events, const ArrayShape& shape)
      : opened(Encode(events)), counts(Count(shape)), measures(MeasuresOf(counts)) {}

  RunCounts Count(const ArrayShape& shape) {
    question.shape = shape;
    Result<RunCounts> counted = CountRun(*opened.trace, opened.index.get(), question);
    EXPECT_TRUE(counted) << counted.Why().Text();
    return std::move(counted).Take();
  }

  Opened opened;
  RunQuestion question;
  RunCounts counts;
  RunMeasures measures;
};

}  // namespace marrowfin::testing

#endif
