#ifndef SQL_NUMBEREDROWS_H
#define SQL_NUMBEREDROWS_H

#include <cstdint>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "sql/NumberBounds.h"
#include "sql/SqlTable.h"

namespace marrowfin {

// The rows of a small table, which are known by their numbers once it is asked. In one thread.
class NumberedRows : public SqlCursor {
 public:
  [[nodiscard]] Fault Ask(const SqlTrace& trace, const SqlQuestion& question) override {
    row = 0;
    const Result<uint64_t> found = Find(trace, question);
    rows = found ? *found : 0;
    return found.Why();
  }
  [[nodiscard]] Fault Next() override {
    ++row;
    return {};
  }
  bool IsAtEnd() const override { return row >= rows; }
  [[nodiscard]] Fault Tell(size_t column, sqlite3_context* to) override {
    TellOf(row, column, to);
    return {};
  }
  sqlite3_int64 RowNumber() const override { return static_cast<sqlite3_int64>(row); }

 private:
  // How many rows there are.
  virtual Result<uint64_t> Find(const SqlTrace& trace, const SqlQuestion& question) = 0;
  virtual void TellOf(uint64_t number, size_t column, sqlite3_context* to) const = 0;

  uint64_t row = 0;
  uint64_t rows = 0;
};

// A table that consists of its columns and of what goes through its rows.
template <class Cursor>
class SmallTable : public SqlTable {
 public:
  explicit SmallTable(std::vector<SqlColumn> columns, SqlWork& work)
      : columns(std::move(columns)), work(work) {}

  const std::vector<SqlColumn>& Columns() const override { return columns; }
  std::unique_ptr<SqlCursor> Open() const override { return std::make_unique<Cursor>(work); }

 private:
  const std::vector<SqlColumn> columns;
  SqlWork& work;
};

// What an argument of a table was given: all that are equal to it.
inline NumberBounds ArgumentOf(const SqlQuestion& question, size_t column) {
  NumberBounds bounds;
  for (const SqlCondition& condition : question.conditions) {
    if (condition.column == column) {
      bounds.Narrow(condition.comparison, condition.value);
    }
  }
  return bounds;
}

}  // namespace marrowfin

#endif
