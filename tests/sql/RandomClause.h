#ifndef TESTS_SQL_RANDOMCLAUSE_H
#define TESTS_SQL_RANDOMCLAUSE_H

#include <random>
#include <string>
#include <vector>

#include "tests/trace/support/RandomTrace.h"

namespace marrowfin::testing {

// Makes conditions of SQL on the columns of a table of events: mostly such that leave some of the
// events of a trace, with values of every kind that SQL lets one compare with.
class RandomClause {
 public:
  // Also on what is noted of events, where `noted`.
  RandomClause(std::mt19937& random, const std::vector<Event>& events, bool noted = false)
      : random(random), events(events), noted(noted) {}

  // Conditions on up to four columns of a table, joined by and, or and not.
  std::string Where(const std::string& table);

  // Nothing, or by which columns rows are put in order; then the number of the record comes last.
  std::string Order();

 private:
  size_t Below(size_t end) { return random() % end; }
  template <class T, size_t N>
  const T& One(const T (&of)[N]) {
    return of[Below(N)];
  }

  std::string Column(const std::string& table);
  std::string Value(const std::string& column);
  std::string Number(const std::string& column);
  std::string Condition(const std::string& table);

  std::mt19937& random;
  const std::vector<Event>& events;
  const bool noted;
};

}  // namespace marrowfin::testing

#endif
