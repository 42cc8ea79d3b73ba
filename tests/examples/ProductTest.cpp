// Whether what the array computes is right, and whether the program notices when it is not.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>

#include "Product.h"
#include "tests/examples/Example.h"

namespace marrowfin::testing {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

class ProductOfShape : public ::testing::TestWithParam<Shape> {};

INSTANTIATE_TEST_SUITE_P(Shapes, ProductOfShape, ::testing::ValuesIn(Shapes()),
                         [](const auto& test) { return test.param.Name(); });

TEST_P(ProductOfShape, EveryProductIsComputedAndFoundRight) {
  const CommandResult result = RunExample(GetParam().Arguments());
  EXPECT_EQ(0, result.exitStatus);
  EXPECT_EQ("", result.err);
  EXPECT_THAT(result.out, EndsWith("STATISTICS DONE\nRegression PASSED\n"));
  auto statistics = StatisticsIn(result.out);
  EXPECT_EQ(std::to_string(GetParam().threads * GetParam().products),
            statistics["array/host/rightProducts"]);
  EXPECT_EQ("0", statistics["array/host/wrongProducts"]);
}

// Breaks one PE of a 4 x 4 array that computes a 3 x 2 product.
CommandResult RunWithFaultyPe(unsigned row, unsigned column) {
  char pe[100];
  snprintf(pe, sizeof(pe), "-array/c%u_%u/d0_0/pe%u_%u/faulty", column / 2, row / 2, column % 2,
           row % 2);
  Words arguments = Shape{2, 1, 2, 3, 5, 2, 1, 1, 0}.Arguments();
  arguments.insert(arguments.end(), {pe, "true"});
  return RunExample(arguments);
}

TEST(FaultTest, AFaultInAnyPeThatComputesFailsTheRunAndNamesItsElement) {
  for (unsigned row = 0; row < 3; ++row) {
    for (unsigned column = 0; column < 2; ++column) {
      const CommandResult result = RunWithFaultyPe(row, column);
      EXPECT_EQ(1, result.exitStatus);
      const size_t verdict = result.out.find("Regression FAILED: ");
      ASSERT_NE(std::string::npos, verdict) << result.out;
      unsigned foundRow = 99;
      unsigned foundColumn = 99;
      long long computed = 0;
      long long expected = 0;
      EXPECT_EQ(4, sscanf(result.out.c_str() + verdict,
                          "Regression FAILED: product 0 of thread 0: "
                          "row %u, column %u is %lld instead of %lld\n",
                          &foundRow, &foundColumn, &computed, &expected))
          << result.out;
      EXPECT_EQ(row, foundRow);
      EXPECT_EQ(column, foundColumn);
      // A faulty PE's products are one too large, and an element here is the sum of five.
      EXPECT_EQ(expected + 5, computed);
      EXPECT_THAT(result.out, EndsWith("\n0 of 1 products are right, 0 unfinished\n\n"));
      EXPECT_EQ("1", StatisticsIn(result.out)["array/host/wrongProducts"]);
    }
  }
}

TEST(FaultTest, AFaultInAPeThatIsNotUsedChangesNothing) {
  EXPECT_EQ(0, RunWithFaultyPe(3, 0).exitStatus);
  EXPECT_EQ(0, RunWithFaultyPe(0, 2).exitStatus);
  EXPECT_EQ(0, RunWithFaultyPe(3, 3).exitStatus);
}

TEST(FaultTest, OnlyTheFirstWrongProductIsDescribed) {
  const CommandResult result = RunExample({"-c", "1", "-.*/threads", "2", "-.*/products", "3",
                                           "-array/c0_0/d0_0/pe0_0/faulty", "true"});
  EXPECT_EQ(1, result.exitStatus);
  const size_t first = result.out.find("instead of");
  ASSERT_NE(std::string::npos, first);
  EXPECT_EQ(std::string::npos, result.out.find("instead of", first + 1));
  EXPECT_THAT(result.out, HasSubstr("\n0 of 6 products are right, 0 unfinished\n"));
}

TEST(SeedTest, AnotherSeedMakesOtherMatricesAndTheSameSeedTheSame) {
  const Words arguments = {"-c", "1", "-array/c0_0/d0_0/pe0_0/faulty", "true", "-.*seed"};
  auto withSeed = [&](const std::string& seed) {
    Words words = arguments;
    words.push_back(seed);
    const std::string out = RunExample(words).out;
    return out.substr(out.find("Regression FAILED"));
  };
  EXPECT_EQ(withSeed("1"), withSeed("1"));
  EXPECT_NE(withSeed("1"), withSeed("2"));
}

class ProductUnderTest : public ::testing::Test {
 protected:
  ProductUnderTest() {
    shape.rows = 2;
    shape.inner = 3;
    shape.columns = 4;
  }

  // Stores the plain product.
  void StoreAll(systolic::Product& product) {
    for (unsigned row = 0; row < 2; ++row) {
      for (unsigned column = 0; column < 4; ++column) {
        EXPECT_FALSE(product.IsComplete());
        product.Store(row, column, Plain(product, row, column));
      }
    }
  }

  long long Plain(const systolic::Product& product, unsigned row, unsigned column) {
    return product.Left(row, 0) * product.Right(0, column) +
           product.Left(row, 1) * product.Right(1, column) +
           product.Left(row, 2) * product.Right(2, column);
  }

  systolic::Schedule shape;
};

TEST_F(ProductUnderTest, IsCompleteWithItsLastElementAndRight) {
  systolic::Product product(shape, 1, 0);
  StoreAll(product);
  EXPECT_TRUE(product.IsComplete());
  EXPECT_EQ("", product.Mistake());
}

TEST_F(ProductUnderTest, ReportsAnyElementThatIsOffByOne) {
  for (unsigned row = 0; row < 2; ++row) {
    for (unsigned column = 0; column < 4; ++column) {
      systolic::Product product(shape, 1, 0);
      StoreAll(product);
      const long long right = Plain(product, row, column);
      product.Store(row, column, right - 1);
      EXPECT_EQ("row " + std::to_string(row) + ", column " + std::to_string(column) + " is " +
                    std::to_string(right - 1) + " instead of " + std::to_string(right),
                product.Mistake());
    }
  }
}

TEST_F(ProductUnderTest, HasSmallElementsThatAreNotAllAlike) {
  shape.rows = shape.inner = 40;
  const systolic::Product product(shape, 1, 0);
  std::map<int, int> counts;
  for (unsigned row = 0; row < 40; ++row) {
    for (unsigned k = 0; k < 40; ++k) {
      ++counts[product.Left(row, k)];
    }
  }
  EXPECT_EQ(19U, counts.size());
  EXPECT_EQ(-9, counts.begin()->first);
  EXPECT_EQ(9, counts.rbegin()->first);
}

TEST_F(ProductUnderTest, HasElementsThatDependOnSeedAndNumber) {
  auto elements = [&](unsigned seed, unsigned long long number) {
    const systolic::Product product(shape, seed, number);
    std::vector<int> all;
    for (unsigned k = 0; k < 3; ++k) {
      for (unsigned i = 0; i < 2; ++i) {
        all.push_back(product.Left(i, k));
        all.push_back(product.Right(k, i));
      }
    }
    return all;
  };
  EXPECT_EQ(elements(1, 0), elements(1, 0));
  EXPECT_NE(elements(1, 0), elements(2, 0));
  EXPECT_NE(elements(1, 0), elements(1, 1));
  EXPECT_NE(elements(1, 0), elements(1, 1ULL << 32));
}

}  // namespace marrowfin::testing
