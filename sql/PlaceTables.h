#ifndef SQL_PLACETABLES_H
#define SQL_PLACETABLES_H

#include <memory>

#include "sql/SqlTable.h"

namespace marrowfin {

// Threads: any number may call these at a time; what they make is for one.

// The processing elements of the array, with their clusters and domains; none where no array shows
// the trace.
std::unique_ptr<SqlTable> MakePesTable(const SqlTrace* trace, SqlWork& work);

// How often each unit was active: over all cycles, or those from one to another, which are the
// arguments. Told by the index where it counts all of it, else out of the records.
std::unique_ptr<SqlTable> MakeActivityTable(const SqlTrace* trace, SqlWork& work);

// What the viewer shows of each unit and message after a step, or up to a cycle.
std::unique_ptr<SqlTable> MakeStateTable(const SqlTrace* trace, SqlWork& work);

}  // namespace marrowfin

#endif
