#include "Product.h"

#include <random>

#include "Util/AppendFormat.h"

namespace marrowfin::systolic {

namespace {

// By remainder and not by a distribution of the library: those differ from one library to the next,
// and a seed should mean the same everywhere.
std::vector<int> RandomMatrix(size_t size, std::mt19937& generator) {
  std::vector<int> matrix(size);
  for (int& element : matrix) {
    element = static_cast<int>(generator() % 19) - 9;
  }
  return matrix;
}

}  // namespace

Product::Product(const Schedule& shape, unsigned seed, unsigned long long number)
    : rows(shape.rows),
      inner(shape.inner),
      columns(shape.columns),
      result(1UL * shape.rows * shape.columns) {
  std::seed_seq seeds{seed, static_cast<unsigned>(number), static_cast<unsigned>(number >> 32)};
  std::mt19937 generator(seeds);
  left = RandomMatrix(1UL * rows * inner, generator);
  right = RandomMatrix(1UL * inner * columns, generator);
}

void Product::Store(unsigned row, unsigned column, long long value) {
  result[1UL * row * columns + column] = value;
  ++stored;
}

std::string Product::Mistake() const {
  std::string mistake;
  for (unsigned row = 0; row < rows; ++row) {
    for (unsigned column = 0; column < columns; ++column) {
      long long expected = 0;
      for (unsigned k = 0; k < inner; ++k) {
        expected += 1LL * Left(row, k) * Right(k, column);
      }
      const long long computed = result[1UL * row * columns + column];
      if (computed != expected) {
        AppendFormat(mistake, "row %u, column %u is %lld instead of %lld", row, column, computed,
                     expected);
        return mistake;
      }
    }
  }
  return mistake;
}

}  // namespace marrowfin::systolic
