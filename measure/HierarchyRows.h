#ifndef MEASURE_HIERARCHYROWS_H
#define MEASURE_HIERARCHYROWS_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "trace/base/ArrayShape.h"
#include "trace/base/Place.h"

namespace marrowfin {

// The elements of an array in one line, so that what belongs together stands together: cluster by
// cluster, in each domain by domain, in each of those element by element, every level row by row
// from (0, 0) on. The line is cut into rows of equally many elements.
//
// A number in that line has a digit for each axis of each level. Rows end where a digit does, or at
// a part of one that divides it: so none of them has elements of two domains unless it has all of
// the first, and a column and a row of the array each tell a part of the row that add up.
class HierarchyRows {
 public:
  // As many rows as there can be, `most` (at least 1) at most.
  HierarchyRows(const ArrayShape& shape, size_t most);

  const ArrayShape& Shape() const { return shape; }

  // Elements a row, and how many rows there are.
  size_t Elements() const { return elements; }
  size_t Count() const { return shape.Elements() / elements; }

  // The row of an element of the array.
  size_t RowOf(Place element) const { return ofColumn[element.column] + ofRow[element.row]; }

  // The first element of a row: that of the lowest number in the line.
  Place FirstOf(size_t row) const;

 private:
  ArrayShape shape;
  size_t elements = 1;
  std::vector<size_t> ofColumn;  // what a column of the array adds to the number of the row
  std::vector<size_t> ofRow;
};

}  // namespace marrowfin

#endif
