#ifndef EXAMPLES_SYSTOLIC_MATMUL_PRODUCT_H
#define EXAMPLES_SYSTOLIC_MATMUL_PRODUCT_H

#include <string>
#include <vector>

#include "Schedule.h"

namespace marrowfin::systolic {

// Two matrices of small random numbers and, as the array computes them, the elements of their
// product.
class Product {
 public:
  // The numbers depend on nothing but the shape, the seed and the number of the product.
  Product(const Schedule& shape, unsigned seed, unsigned long long number);

  int Left(unsigned row, unsigned k) const { return left[1UL * row * inner + k]; }
  int Right(unsigned k, unsigned column) const { return right[1UL * k * columns + column]; }

  // Each element is stored once.
  void Store(unsigned row, unsigned column, long long value);
  bool IsComplete() const { return stored == result.size(); }

  // What differs from the plain product, or an empty text.
  std::string Mistake() const;

 private:
  unsigned rows;
  unsigned inner;
  unsigned columns;
  std::vector<int> left;
  std::vector<int> right;
  std::vector<long long> result;
  size_t stored = 0;  // elements of the result that have arrived
};

}  // namespace marrowfin::systolic

#endif
