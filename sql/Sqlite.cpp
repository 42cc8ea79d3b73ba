#include "sql/Sqlite.h"

#include <mutex>

SQLITE_EXTENSION_INIT1

namespace marrowfin {

bool TakeSqlite(const sqlite3_api_routines* functions) {
  static std::mutex mutex;
  const std::lock_guard<std::mutex> lock(mutex);
  SQLITE_EXTENSION_INIT2(functions);
  return sqlite3_libversion_number() >= OLDEST_SQLITE;
}

}  // namespace marrowfin
