#include "sql/NumberBounds.h"

#include <cmath>

namespace marrowfin {

namespace {

constexpr uint64_t END = ~uint64_t{0};
constexpr double TWO_63 = 9223372036854775808.0;

// More than any rounding of a number of 64 bits to a real.
constexpr uint64_t ROUNDING = 4096;

// The numbers that may be equal to a value, and those right around it: a number below `low` is
// below the value, one above `high` above it.
struct Around {
  bool isBelowAll = false;  // the value is below every number
  bool isAboveAll = false;
  uint64_t low = 0;
  uint64_t high = 0;  // low - 1 where the value is between two numbers

  // Whether it is one of the numbers, and equal to no other.
  bool isNumber = false;
};

Around AroundInteger(sqlite3_int64 value) {
  Around around;
  around.isBelowAll = value < 0;
  around.isNumber = value >= 0;
  around.low = around.high = value < 0 ? 0 : static_cast<uint64_t>(value);
  return around;
}

Around AroundReal(double value) {
  Around around;
  around.isBelowAll = value < 0;
  around.isAboveAll = value > 2 * TWO_63;
  if (around.isBelowAll || around.isAboveAll) {
    return around;
  }
  if (value < TWO_63) {
    // Up to 2^63 numbers are compared as they are: what is between two of them equals none.
    around.low = static_cast<uint64_t>(std::ceil(value));
    around.high = static_cast<uint64_t>(std::floor(value));
    around.isNumber = around.low == around.high;
    return around;
  }
  const uint64_t middle = value >= 2 * TWO_63 ? END : static_cast<uint64_t>(value);
  around.low = middle - ROUNDING;
  around.high = middle > END - ROUNDING ? END : middle + ROUNDING;
  return around;
}

// Numbers of SQL's integers are below 2^63, so there is always one above them.
NumberBounds From(const Around& around, bool above) {
  return {around.low + (above && around.isNumber ? 1 : 0), END};
}

NumberBounds UpTo(const Around& around, bool below) {
  const bool without = below && around.isNumber;
  return without && around.high == 0 ? NumberBounds::None()
                                     : NumberBounds{0, around.high - (without ? 1 : 0)};
}

NumberBounds BoundsOf(int comparison, const Around& around) {
  switch (comparison) {
    case SQLITE_INDEX_CONSTRAINT_EQ:
      return around.isBelowAll || around.isAboveAll || around.low > around.high
                 ? NumberBounds::None()
                 : NumberBounds{around.low, around.high};
    case SQLITE_INDEX_CONSTRAINT_GT:
    case SQLITE_INDEX_CONSTRAINT_GE:
      return around.isAboveAll   ? NumberBounds::None()
             : around.isBelowAll ? NumberBounds()
                                 : From(around, comparison == SQLITE_INDEX_CONSTRAINT_GT);
    case SQLITE_INDEX_CONSTRAINT_LT:
    case SQLITE_INDEX_CONSTRAINT_LE:
      return around.isBelowAll   ? NumberBounds::None()
             : around.isAboveAll ? NumberBounds()
                                 : UpTo(around, comparison == SQLITE_INDEX_CONSTRAINT_LT);
    default:
      return {};
  }
}

}  // namespace

void TellNumber(sqlite3_context* to, uint64_t number) {
  if (number >> 63 != 0) {
    sqlite3_result_double(to, static_cast<double>(number));
  } else {
    sqlite3_result_int64(to, static_cast<sqlite3_int64>(number));
  }
}

void NumberBounds::Narrow(int comparison, sqlite3_value* value) {
  switch (sqlite3_value_numeric_type(value)) {
    case SQLITE_INTEGER:
      Meet(BoundsOf(comparison, AroundInteger(sqlite3_value_int64(value))));
      break;
    case SQLITE_FLOAT:
      Meet(BoundsOf(comparison, AroundReal(sqlite3_value_double(value))));
      break;
    case SQLITE_NULL:
      *this = None();
      break;
    default:
      break;
  }
}

void NumberBounds::Join(const NumberBounds& other) {
  if (IsEmpty()) {
    *this = other;
  } else if (!other.IsEmpty()) {
    first = std::min(first, other.first);
    last = std::max(last, other.last);
  }
}

void NumberBounds::NarrowToSet(sqlite3_value* set) {
  NumberBounds hull = None();
  sqlite3_value* value = nullptr;
  int rc = sqlite3_vtab_in_first(set, &value);
  for (; rc == SQLITE_OK && value != nullptr; rc = sqlite3_vtab_in_next(set, &value)) {
    NumberBounds one;
    one.Narrow(SQLITE_INDEX_CONSTRAINT_EQ, value);
    hull.Join(one);
  }
  if (rc == SQLITE_OK || rc == SQLITE_DONE) {
    Meet(hull);
  }
}

}  // namespace marrowfin
