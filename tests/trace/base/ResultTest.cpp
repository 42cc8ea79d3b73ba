#include "trace/base/Result.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace marrowfin::testing {
namespace {

Fault Broken() {
  Fault fault;
  fault.kind = Fault::DAMAGED_INPUT;
  fault.reason = "broken";
  return fault;
}

TEST(ResultTest, ValueComesWithoutAFault) {
  const Result<int> result(7);
  ASSERT_TRUE(result);
  EXPECT_EQ(*result, 7);
  EXPECT_FALSE(result.Why());
}

TEST(ResultTest, FaultComesWithoutAValue) {
  const Result<int> result(Broken());
  EXPECT_FALSE(result);
  EXPECT_EQ(result.Why().kind, Fault::DAMAGED_INPUT);
  EXPECT_EQ(result.Why().reason, "broken");
}

TEST(ResultTest, NothingOfAFaultIsLeftInAVariableThatGetsAValue) {
  Result<int> result(Broken());
  result = Result<int>(3);
  ASSERT_TRUE(result);
  EXPECT_EQ(*result, 3);
  EXPECT_FALSE(result.Why());
}

TEST(ResultTest, ValueThatCannotBeCopiedIsTakenOut) {
  Result<std::unique_ptr<int>> result(std::make_unique<int>(5));
  const std::unique_ptr<int> taken = std::move(result).Take();
  EXPECT_EQ(*taken, 5);
}

// Results are made for each batch of records.
TEST(ResultTest, ResultOfANumberIsNoLargerThanANumberItsPresenceAndAPointer) {
  EXPECT_LE(sizeof(Result<uint64_t>), 3 * sizeof(uint64_t));
}

}  // namespace
}  // namespace marrowfin::testing
