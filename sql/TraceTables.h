#ifndef SQL_TRACETABLES_H
#define SQL_TRACETABLES_H

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "sql/SqlTable.h"
#include "sql/SqlTrace.h"
#include "sql/Sqlite.h"

namespace marrowfin {

// What SQL knows of a trace.
struct TraceTable {
  const char* name;
  const char* meaning;  // a line for people
  std::unique_ptr<SqlTable> (*make)(const SqlTrace* trace, SqlWork& work);
};

// All tables, the most asked for first. Threads: any number may call it at a time.
std::span<const TraceTable> TraceTables();

// Makes the tables of a trace known to a connection under their names. `work` is that of the
// connection. An SQLite result code.
int AddTraceTables(sqlite3* database, const std::shared_ptr<const SqlTrace>& trace,
                   const std::shared_ptr<SqlWork>& work);

// Makes them known as functions of the name of a trace, "marrowfin_" before theirs, and the module
// "marrowfin" with which one is created as a table: its arguments are the trace and the table,
// which is events where there is none. Traces stay open while they stay what they are, up to
// MOST_OPEN of them. An SQLite result code.
constexpr size_t MOST_OPEN = 8;
int AddTraceFunctions(sqlite3* database);

}  // namespace marrowfin

#endif
