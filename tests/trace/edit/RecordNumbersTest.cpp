// Numbers of records that do not fit into memory.

#include "trace/edit/RecordNumbers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <vector>

#include "tests/trace/support/Opened.h"

namespace marrowfin::testing {
namespace {

std::optional<uint64_t> Of(RecordNumbers& numbers, uint64_t record) {
  std::optional<uint64_t> number;
  EXPECT_TRUE(Take(numbers.Of(record), number));
  return number;
}

TEST(RecordNumbersTest, ARecordHasTheNumberThatItWasGivenAndElseNone) {
  RecordNumbers numbers;
  EXPECT_EQ(Of(numbers, 0), std::nullopt);
  ASSERT_TRUE(IsFine(numbers.Put(7, 0)));
  ASSERT_TRUE(IsFine(numbers.Put(uint64_t{1} << 33, 5)));
  EXPECT_EQ(Of(numbers, 7), 0U);
  EXPECT_EQ(Of(numbers, 8), std::nullopt);
  EXPECT_EQ(Of(numbers, uint64_t{1} << 33), 5U);
  EXPECT_EQ(Of(numbers, uint64_t{1} << 34), std::nullopt);
}

TEST(RecordNumbersTest, MoreThanFitIntoMemoryAreFoundInAnyOrder) {
  constexpr size_t RECORDS = 1 << 20;  // of which half a million fit
  RecordNumbers numbers;
  for (uint64_t i = 0; i < RECORDS; i += 2) {
    ASSERT_TRUE(IsFine(numbers.Put(i, 3 * i)));
  }
  std::mt19937 random(1);
  for (int round = 0; round < 20000; ++round) {
    const uint64_t record = random() % RECORDS;
    ASSERT_EQ(Of(numbers, record), record % 2 == 0 ? std::optional(3 * record) : std::nullopt);
  }
}

TEST(RecordNumbersTest, AFolderThatTakesNoFileIsNamed) {
  const std::string before = getenv("TMPDIR") == nullptr ? "" : getenv("TMPDIR");
  setenv("TMPDIR", "/nowhere", 1);
  RecordNumbers numbers;
  Fault fault;
  for (uint64_t page = 0; !fault && page < 1000; ++page) {
    fault = numbers.Put(page << 12, 1);
  }
  before.empty() ? unsetenv("TMPDIR") : setenv("TMPDIR", before.c_str(), 1);
  EXPECT_EQ(fault.kind, Fault::SYSTEM);
  EXPECT_EQ(fault.file, "/nowhere");
}

}  // namespace
}  // namespace marrowfin::testing
