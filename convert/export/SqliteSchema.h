#ifndef CONVERT_EXPORT_SQLITESCHEMA_H
#define CONVERT_EXPORT_SQLITESCHEMA_H

#include <string>

#include "convert/export/EventLines.h"

namespace marrowfin {

// The statements that make the tables and views of a database of events, and its indexes, which are
// made behind all rows: that takes less than keeping them up to date.
std::string SqliteTables(const EventNaming& naming);
std::string SqliteIndexes();

// Puts a row into `events`: record, cycle, step, type, thread, col, row, to_col, to_row, and what
// each attribute of the notes has to say.
std::string SqliteEventInsert(const EventNaming& naming);

}  // namespace marrowfin

#endif
