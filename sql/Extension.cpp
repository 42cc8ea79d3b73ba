// The extension with which any shell of SQLite, and any language that has one, reads traces:
// `.load ./marrowfin_sqlite`. SQLite finds the function by the name of the file.
#include "sql/Sqlite.h"
#include "sql/TraceTables.h"

extern "C" __attribute__((visibility("default"))) int sqlite3_marrowfinsqlite_init(
    sqlite3* database, char** error, const sqlite3_api_routines* functions) {
  if (!marrowfin::TakeSqlite(functions)) {
    *error =
        sqlite3_mprintf("marrowfin: SQLite %s is too old: use 3.38 or later", sqlite3_libversion());
    return SQLITE_ERROR;
  }
  return marrowfin::AddTraceFunctions(database);
}
