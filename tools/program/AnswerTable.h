#ifndef TOOLS_PROGRAM_ANSWERTABLE_H
#define TOOLS_PROGRAM_ANSWERTABLE_H

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <variant>
#include <vector>

namespace marrowfin {

// An answer in rows, which is told in three forms. Of what is not known a cell holds nothing.
struct AnswerTable {
  typedef std::variant<std::monostate, uint64_t, double, std::string> Cell;

  std::vector<std::string> titles;
  std::vector<std::vector<Cell>> rows;  // of as many cells each as there are titles
};

// In columns below their titles: numbers at the right edge, with three digits that count where they
// are no whole ones; "-" for nothing.
std::string TableText(const AnswerTable& table);

// Titles and rows; reals with as many digits as tell them from all others.
std::string TableCsv(const AnswerTable& table);

// A list of objects by the titles; null for nothing, and for reals that JSON has no words for.
nlohmann::json TableJson(const AnswerTable& table);

}  // namespace marrowfin

#endif
