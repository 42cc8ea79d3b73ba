#ifndef MEASURE_NUMBERTABLE_H
#define MEASURE_NUMBERTABLE_H

#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace marrowfin {

// A number, a name, or nothing: what cannot be told.
using NumberCell = std::variant<std::monostate, uint64_t, double, std::string>;

// Numbers in rows, for whoever goes on with them: not rounded, names in camel case.
struct NumberTable {
  std::string name;                  // of all of it, in camel case
  std::vector<std::string> columns;  // their names
  std::vector<NumberCell> cells;     // row by row

  // `row` has a cell for each column.
  void Add(std::initializer_list<NumberCell> row) { cells.insert(cells.end(), row); }
  size_t Rows() const { return columns.empty() ? 0 : cells.size() / columns.size(); }
};

// What is behind a picture: single numbers by name, and tables, of which the first has what is
// drawn.
struct PlotNumbers {
  std::vector<std::pair<std::string, NumberCell>> facts;
  std::vector<NumberTable> tables;
};

}  // namespace marrowfin

#endif
