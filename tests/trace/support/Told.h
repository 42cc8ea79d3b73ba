#ifndef TESTS_TRACE_SUPPORT_TOLD_H
#define TESTS_TRACE_SUPPORT_TOLD_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "trace/base/Progress.h"

namespace marrowfin::testing {

// What a callback was told of records; it asks to stop at the `stopAt`-th call.
struct Told {
  ProgressCallback Callback() {
    return [this](const Progress& now) {
      values.push_back(now.done);
      wholes.push_back(now.all);
      EXPECT_EQ(now.unit, Progress::RECORDS);
      return values.size() < stopAt;
    };
  }

  void ExpectToRiseToTheWhole() const {
    ASSERT_GT(values.size(), 1U);
    EXPECT_TRUE(std::is_sorted(values.begin(), values.end()));
    EXPECT_EQ(std::vector<uint64_t>(wholes.size(), wholes[0]), wholes);
    EXPECT_EQ(values.back(), wholes.back());
  }

  size_t stopAt = ~size_t{0};
  std::vector<uint64_t> values;
  std::vector<uint64_t> wholes;
};

}  // namespace marrowfin::testing

#endif
