#ifndef TESTS_EXAMPLES_EXAMPLE_H
#define TESTS_EXAMPLES_EXAMPLE_H

#include <compare>
#include <cstdint>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "tests/support/Command.h"

namespace marrowfin::testing {

using Words = std::vector<std::string>;

// Runs the example with these arguments, in `directory` if one is given.
CommandResult RunExample(const Words& arguments, const std::string& directory = "");

// The records of a trace, read from its bytes and not by the library.
enum EventType : uint32_t { TRANSMIT = 2, FIRE = 3, SEND = 4 };

struct Position {
  uint32_t row;
  uint32_t column;
  auto operator<=>(const Position&) const = default;
};

struct Event {
  uint32_t type;
  uint64_t cycle;
  uint32_t thread;
  Position at;  // of a message: where it was sent
  Position to;  // of a message: to where; else the same as `at`
  auto operator<=>(const Event&) const = default;
};

// Throws std::runtime_error where the bytes are no whole number of records of the three types.
std::vector<Event> EventsIn(const std::string& traceBytes);

// The shape of an array and of what it computes, as the options say it.
struct Shape {
  unsigned clusters = 1;
  unsigned domains = 1;
  unsigned pes = 1;
  unsigned rows = 1;
  unsigned inner = 1;
  unsigned columns = 1;
  unsigned threads = 1;
  unsigned products = 1;
  unsigned gap = 0;

  unsigned ClusterSide() const { return domains * pes; }
  unsigned Side() const { return clusters * ClusterSide(); }
  Words Arguments() const;
  std::string Name() const;
};

// For the reports of parameterised tests.
void PrintTo(const Shape& shape, std::ostream* stream);

// Shapes with tiles that fill the array, that do not, that are one PE wide, with clusters of odd
// sizes, with more threads than colours, with tiles that follow each other at once.
const std::vector<Shape>& Shapes();

// The statistics report in `text`: its lines by name.
std::map<std::string, std::string> StatisticsIn(const std::string& text);

// The sum of the counters whose names end in `suffix`.
uint64_t SumOf(const std::map<std::string, std::string>& statistics, const std::string& suffix);

}  // namespace marrowfin::testing

#endif
