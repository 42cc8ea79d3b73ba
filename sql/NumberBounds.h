#ifndef SQL_NUMBERBOUNDS_H
#define SQL_NUMBERBOUNDS_H

#include <algorithm>
#include <cstdint>

#include "sql/Sqlite.h"

namespace marrowfin {

// Numbers of 64 bits as SQL has them. Its integers end before 2^63: what is larger is told as a
// real, which rounds it to 53 bits. That keeps the order, so ranges mean what they say up to the
// rounding.
void TellNumber(sqlite3_context* to, uint64_t number);

// The numbers, `first` to `last` included, that may meet comparisons: all that do are among them,
// so that SQLite, which compares again, loses none. Threads: a value, which one thread writes or
// any number read.
struct NumberBounds {
  uint64_t first = 0;
  uint64_t last = ~uint64_t{0};

  static NumberBounds None() { return {1, 0}; }

  bool IsEmpty() const { return first > last; }
  bool IsEverything() const { return first == 0 && last == ~uint64_t{0}; }

  // Leaves out what cannot be `comparison` (a SQLITE_INDEX_CONSTRAINT) to `value`.
  void Narrow(int comparison, sqlite3_value* value);

  // Leaves out what is in none of the values of IN.
  void NarrowToSet(sqlite3_value* set);

  void Meet(const NumberBounds& other) {
    first = std::max(first, other.first);
    last = std::min(last, other.last);
  }

  friend bool operator==(const NumberBounds&, const NumberBounds&) = default;

 private:
  // Takes in what lies between as well.
  void Join(const NumberBounds& other);
};

}  // namespace marrowfin

#endif
