#include "tests/sql/Database.h"

#include <memory>
#include <stdexcept>

#include "sql/LinkedSqlite.h"

namespace marrowfin::testing {

namespace {

std::string TextOf(sqlite3_stmt* statement, int column) {
  const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
  switch (sqlite3_column_type(statement, column)) {
    case SQLITE_INTEGER:
      return std::string("i:") + text;
    case SQLITE_FLOAT:
      return std::string("r:") + text;
    case SQLITE_TEXT:
      return std::string("t:") + text;
    default:
      return "n:";
  }
}

}  // namespace

Database::Database() {
  const auto* const functions = static_cast<const sqlite3_api_routines*>(LinkedSqlite());
  if (functions == nullptr || !TakeSqlite(functions) ||
      sqlite3_open(":memory:", &database) != SQLITE_OK) {
    throw std::runtime_error("SQLite does not start");
  }
}

Database::~Database() { sqlite3_close(database); }

Database::Rows Database::Ask(const std::string& sql) const {
  sqlite3_stmt* prepared = nullptr;
  if (sqlite3_prepare_v2(database, sql.c_str(), -1, &prepared, nullptr) != SQLITE_OK) {
    throw std::runtime_error(sql + ": " + sqlite3_errmsg(database));
  }
  const auto finalize = [](sqlite3_stmt* statement) { sqlite3_finalize(statement); };
  const std::unique_ptr<sqlite3_stmt, decltype(finalize)> statement(prepared, finalize);
  Rows rows;
  int rc = sqlite3_step(prepared);
  for (; rc == SQLITE_ROW; rc = sqlite3_step(prepared)) {
    std::vector<std::string>& row = rows.emplace_back();
    for (int i = 0; i < sqlite3_column_count(prepared); ++i) {
      row.push_back(TextOf(prepared, i));
    }
  }
  if (rc != SQLITE_DONE) {
    throw std::runtime_error(sql + ": " + sqlite3_errmsg(database));
  }
  return rows;
}

}  // namespace marrowfin::testing
