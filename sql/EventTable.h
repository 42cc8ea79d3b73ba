#ifndef SQL_EVENTTABLE_H
#define SQL_EVENTTABLE_H

#include <cstddef>
#include <memory>
#include <vector>

#include "sql/EventColumns.h"
#include "sql/SqlTable.h"
#include "sql/SqlTrace.h"

namespace marrowfin {

// The events of a trace, or those of one type, a row each. Threads: one at a time.
class EventTable : public SqlTable {
 public:
  EventTable(EventSet set, const SqlTrace* trace, SqlWork& work);

  const std::vector<SqlColumn>& Columns() const override { return columns.All(); }
  bool Narrows(size_t column, int comparison) const override;
  bool TakesSets(size_t column) const override;
  bool Ascends(size_t column) const override;
  double Rows() const override { return rows; }
  double Share(size_t column, int comparison) const override;
  double LeastRead(size_t column, int comparison) const override;
  std::unique_ptr<SqlCursor> Open() const override;

 private:
  void Weigh(const SqlTrace& trace);

  const EventColumns columns;
  SqlWork& work;

  // What is known of the trace, or guessed where it is not.
  double rows = 1e6;
  double cycles = 1e4;
  double elements = 256;  // along each axis
  bool ordered = false;
};

}  // namespace marrowfin

#endif
