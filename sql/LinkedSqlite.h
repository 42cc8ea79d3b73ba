#ifndef SQL_LINKEDSQLITE_H
#define SQL_LINKEDSQLITE_H

namespace marrowfin {

// The functions of the SQLite that the program is linked with, as that hands them to extensions
// (sqlite3_api_routines); null where it cannot even open a database in memory. Threads: any number
// may call it at a time.
const void* LinkedSqlite();

}  // namespace marrowfin

#endif
