#ifndef MEASURE_WAYS_H
#define MEASURE_WAYS_H

#include <cstdint>
#include <string>
#include <vector>

#include "trace/base/ArrayShape.h"
#include "trace/base/Place.h"

namespace marrowfin {

// Ways of messages that are alike: what can be told of a message without its route. Of a larger
// number no message is quicker than the quickest of a smaller one.
//
// In an array of several domains: 0 within a domain, 1 within a cluster, then 1 and the distance of
// the clusters. In one that is a single domain: the distance of the elements. Distances are columns
// and rows together, the shorter way round where links join the edges. Ways from or to outside the
// array are the longest. Threads: a value, which one thread writes or any number read.
class Ways {
 public:
  static constexpr uint32_t MOST = 4096;  // longer ones are counted with the longest

  explicit Ways(const ArrayShape& shape, bool wrapColumns = false, bool wrapRows = false);

  uint32_t Between(Place from, Place to) const {
    if (from.column >= columns.size() || to.column >= columns.size() || from.row >= rows.size() ||
        to.row >= rows.size()) {
      return MOST - 1;
    }
    const Unit& fromColumn = columns[from.column];
    const Unit& fromRow = rows[from.row];
    const Unit& toColumn = columns[to.column];
    const Unit& toRow = rows[to.row];
    if (!flat && fromColumn.domain == toColumn.domain && fromRow.domain == toRow.domain) {
      return 0;
    }
    const uint32_t links = Apart(fromColumn.node, toColumn.node, aroundColumns) +
                           Apart(fromRow.node, toRow.node, aroundRows);
    const uint32_t way = flat ? links : 1 + links;
    return way < MOST ? way : MOST - 1;
  }

  // "within a domain", "within a cluster", "3 clusters away", "3 links away".
  std::string Text(uint32_t way) const;

 private:
  // Of a column or a row.
  struct Unit {
    uint32_t domain;
    uint32_t node;  // between which distances are: clusters, or the elements themselves
  };

  static std::vector<Unit> UnitsAlong(uint32_t clusters, uint32_t domains, uint32_t pes, bool flat);

  // `around` is the number of nodes of a ring, 0 where there is none.
  static uint32_t Apart(uint32_t from, uint32_t to, uint32_t around) {
    const uint32_t direct = from < to ? to - from : from - to;
    return around - direct < direct && around != 0 ? around - direct : direct;
  }

  bool flat;
  std::vector<Unit> columns;
  std::vector<Unit> rows;
  uint32_t aroundColumns;
  uint32_t aroundRows;
};

}  // namespace marrowfin

#endif
