#ifndef SQL_RUNTABLES_H
#define SQL_RUNTABLES_H

#include <memory>

#include "sql/SqlTable.h"

namespace marrowfin {

// Threads: any number may call these at a time; what they make is for one.

// The threads of a trace, and those that were named, with how often they did what; of very many
// threads those met last are not told apart, and stand together as the thread NULL.
std::unique_ptr<SqlTable> MakeThreadsTable(const SqlTrace* trace, SqlWork& work);

// Facts about trace and run, by their names.
std::unique_ptr<SqlTable> MakeAboutTable(const SqlTrace* trace, SqlWork& work);

// What is noted of events, a row for each value.
std::unique_ptr<SqlTable> MakeNotesTable(const SqlTrace* trace, SqlWork& work);

// The samples of counters, in the order in which they were taken.
std::unique_ptr<SqlTable> MakeCountersTable(const SqlTrace* trace, SqlWork& work);

}  // namespace marrowfin

#endif
