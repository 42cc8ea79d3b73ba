#include "trace/ask/Region.h"

namespace marrowfin {

Region Region::Domain(const ArrayShape& shape, uint32_t column, uint32_t row) {
  const Place first = shape.FirstOfDomain({column, row});
  return {first, {first.column + shape.pes.columns - 1, first.row + shape.pes.rows - 1}};
}

Region Region::Cluster(const ArrayShape& shape, uint32_t column, uint32_t row) {
  const Place first = shape.FirstOfCluster({column, row});
  return {first, {first.column + shape.ClusterColumns() - 1, first.row + shape.ClusterRows() - 1}};
}

}  // namespace marrowfin
