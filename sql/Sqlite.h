#ifndef SQL_SQLITE_H
#define SQL_SQLITE_H

// SQLite as its extensions know it: every call goes through the table of functions that it hands
// over. So the same objects serve a program that is linked with SQLite and a shell that brings one
// of its own; calling by name was rejected, since there may then be two in one process.
#include <sqlite3ext.h>

SQLITE_EXTENSION_INIT3

namespace marrowfin {

// The oldest SQLite that tells what is asked of it here: what the values of IN are, and whether a
// constant is compared with.
constexpr int OLDEST_SQLITE = 3038000;

// Takes the functions that SQLite handed over; false where it is too old. Threads: any number may
// call it at a time.
bool TakeSqlite(const sqlite3_api_routines* functions);

}  // namespace marrowfin

#endif
