#include "sql/LinkedSqlite.h"

#include <sqlite3.h>

namespace marrowfin {

namespace {

const void* handedOver = nullptr;

int TakeFunctions(sqlite3* /*database*/, const char** /*error*/, const void* functions) {
  handedOver = functions;
  return SQLITE_OK;
}

// SQLite hands its functions to what is asked for with every database that is opened.
const void* Ask() {
  const auto extension = reinterpret_cast<void (*)()>(TakeFunctions);
  sqlite3* database = nullptr;
  sqlite3_auto_extension(extension);
  sqlite3_open(":memory:", &database);
  sqlite3_cancel_auto_extension(extension);
  sqlite3_close(database);
  return handedOver;
}

}  // namespace

const void* LinkedSqlite() {
  static const void* const functions = Ask();
  return functions;
}

}  // namespace marrowfin
