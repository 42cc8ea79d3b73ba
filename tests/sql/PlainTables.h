#ifndef TESTS_SQL_PLAINTABLES_H
#define TESTS_SQL_PLAINTABLES_H

#include <vector>

#include "sql/Sqlite.h"
#include "tests/trace/support/NotedTrace.h"
#include "tests/trace/support/RandomTrace.h"
#include "trace/base/ArrayShape.h"

namespace marrowfin::testing {

// Fills a database with tables like those of a trace, events, fires, sends and switches, of which
// SQLite goes through every row: what is in them was worked out here, event by event.
void FillPlainTables(sqlite3* database, const std::vector<Event>& events, const ArrayShape& shape);

// The same with columns for what is noted of each event, as RandomNotes has it: lists of records
// aside.
void FillPlainTables(sqlite3* database, const NotedEvents& noted, const ArrayShape& shape);

}  // namespace marrowfin::testing

#endif
