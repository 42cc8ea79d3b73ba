#ifndef SQL_SQLTEXT_H
#define SQL_SQLTEXT_H

#include <string>

#include "sql/Sqlite.h"
#include "trace/base/Place.h"

namespace marrowfin {

// Values of columns. Threads: any number may call these at a time, each for a connection of its
// own.

inline void TellText(const std::string& text, sqlite3_context* to) {
  sqlite3_result_text64(to, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
}

// Of two columns that tell a place, the first is its column.
inline void TellAxis(Place place, bool isRow, sqlite3_context* to) {
  sqlite3_result_int64(to, isRow ? place.row : place.column);
}

}  // namespace marrowfin

#endif
