#include "Marrowfin/Location.h"

#include "Util/AppendFormat.h"

const uint32 Location::MAX_ROW = 0xFFFFFFFF;
const uint32 Location::MAX_COLUMN = 0xFFFFFFFF;

namespace {

uint32 Distance(uint32 a, uint32 b) { return a < b ? b - a : a - b; }

}  // namespace

Location::Location(unsigned row, unsigned column) : row(row), column(column) {}

Location::Location(const Location& other) : Printable(), row(other.row), column(other.column) {}

Location& Location::operator=(const Location& other) = default;

Location::~Location() = default;

bool Location::operator==(const Location& other) const {
  return row == other.row && column == other.column;
}

bool Location::operator<(const Location& other) const {
  if (other.row < row) {
    return true;
  }
  if (other.row > row) {
    return false;
  }
  return other.column < column;
}

unsigned Location::ManhattanDistance(const Location& other) const {
  return Distance(row, other.row) + Distance(column, other.column);
}

const char* Location::ToString(std::string& s) const {
  s.clear();
  AppendFormat(s, "(%5u, %5u)", column, row);
  return s.c_str();
}
