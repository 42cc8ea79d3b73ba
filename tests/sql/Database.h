#ifndef TESTS_SQL_DATABASE_H
#define TESTS_SQL_DATABASE_H

#include <cstdint>
#include <string>
#include <vector>

#include "sql/Sqlite.h"

namespace marrowfin::testing {

// A database in memory for tests: what a statement tells is text, with the type before each value
// ("i:5", "r:0.5", "t:fire", "n:").
class Database {
 public:
  typedef std::vector<std::vector<std::string>> Rows;

  Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;
  ~Database();

  sqlite3* Get() const { return database; }

  // Throws std::runtime_error with SQLite's words where it refuses.
  Rows Ask(const std::string& sql) const;

 private:
  sqlite3* database = nullptr;
};

}  // namespace marrowfin::testing

#endif
