#ifndef SQL_SQLTABLE_H
#define SQL_SQLTABLE_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "sql/SqlTrace.h"
#include "sql/Sqlite.h"
#include "trace/base/Fault.h"
#include "trace/base/Result.h"

namespace marrowfin {

struct SqlColumn {
  std::string name;
  const char* type = "INTEGER";
  std::string meaning;      // a line for people
  bool isArgument = false;  // of the table as a function; such columns are hidden
};

// A comparison of a column with a value that is known when a table is read.
struct SqlCondition {
  size_t column = 0;
  int comparison = 0;  // a SQLITE_INDEX_CONSTRAINT: EQ, LT, LE, GT or GE
  sqlite3_value* value = nullptr;
  bool isSet = false;  // of IN: one of the values of a set
};

// What is asked of a table: rows that meet all conditions, and others, since SQLite compares again.
// Arguments are no such comparisons: it is what the table makes of them.
struct SqlQuestion {
  std::span<const SqlCondition> conditions;
  bool backwards = false;
  uint64_t columnsUsed = ~uint64_t{0};  // a bit each; the last one stands for all from there on

  bool Uses(size_t column) const { return (columnsUsed >> (column < 63 ? column : 63) & 1) != 0; }
};

// Goes through rows of a table. In one thread, as all that follows.
class SqlCursor {
 public:
  virtual ~SqlCursor() = default;

  // Stands at the first row of the answer, or at its end. Asked as often as SQLite likes.
  [[nodiscard]] virtual Fault Ask(const SqlTrace& trace, const SqlQuestion& question) = 0;
  [[nodiscard]] virtual Fault Next() = 0;
  virtual bool IsAtEnd() const = 0;

  // Tells a column of the row; nothing stands for NULL.
  [[nodiscard]] virtual Fault Tell(size_t column, sqlite3_context* to) = 0;
  virtual sqlite3_int64 RowNumber() const = 0;
};

// A table about a trace, of which it may be told more when it is read: `trace` is null where it is
// named only then, as the argument of a function.
class SqlTable {
 public:
  virtual ~SqlTable() = default;

  virtual const std::vector<SqlColumn>& Columns() const = 0;

  // Whether comparisons with a column may spare rows, and whether those of IN are wanted at once.
  virtual bool Narrows(size_t /*column*/, int /*comparison*/) const { return false; }
  virtual bool TakesSets(size_t /*column*/) const { return false; }

  // Whether rows come in ascending order of a column, and in descending order where they are asked
  // for backwards. All such columns ascend together.
  virtual bool Ascends(size_t /*column*/) const { return false; }

  // About how many rows there are, and which share of them a comparison leaves.
  virtual double Rows() const { return 1000; }
  virtual double Share(size_t /*column*/, int /*comparison*/) const { return 0.1; }

  // About how many rows are gone through at least to find those that a comparison leaves; 0 where
  // they are those.
  virtual double LeastRead(size_t /*column*/, int /*comparison*/) const { return 0; }

  virtual std::unique_ptr<SqlCursor> Open() const = 0;
};

// Makes a table of a trace; of one that is not known yet where `trace` is null. `work` outlives it.
typedef std::function<std::unique_ptr<SqlTable>(const SqlTrace* trace, SqlWork& work)>
    SqlTableMaker;

// The trace of a name, for tables whose argument it is.
typedef std::function<Result<std::shared_ptr<const SqlTrace>>(const std::string& name)>
    SqlTraceOpener;

// A table that a connection may read by its name, without anybody having created it.
struct SqlTableEntry {
  std::string name;
  SqlTableMaker make;
  std::shared_ptr<const SqlTrace> trace;  // null for a function, whose argument it is
  SqlTraceOpener open;                    // of such a function
  std::shared_ptr<SqlWork> work;
};

// Makes a table known to a connection. An SQLite result code.
int AddSqlTable(sqlite3* database, SqlTableEntry entry);

// A module of tables that are created: `create virtual table NAME using MODULE(ARGUMENTS)`. `make`
// is given the arguments, without quotes, when such a table is created or met again; its fault is
// what SQLite tells then. An SQLite result code.
typedef std::function<Result<SqlTableEntry>(const std::vector<std::string>& arguments)>
    SqlTableCreator;
int AddSqlModule(sqlite3* database, const std::string& name, SqlTableCreator make);

}  // namespace marrowfin

#endif
