#include "convert/export/SqliteFile.h"

#include <sqlite3.h>

#include <limits>
#include <new>

namespace marrowfin {

SqliteFile::SqliteFile(const std::string& file, const std::string& name) : name(name) {
  sqlite3* opened = nullptr;
  const int result =
      sqlite3_open_v2(file.c_str(), &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
  database.reset(opened);
  if (Check(result)) {
    Do("PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF; PRAGMA locking_mode=EXCLUSIVE; BEGIN");
  }
}

void SqliteFile::Closer::operator()(sqlite3* open) const { sqlite3_close(open); }

void SqliteFile::Do(const std::string& sql) {
  if (!fault) {
    Check(sqlite3_exec(database.get(), sql.c_str(), nullptr, nullptr, nullptr));
  }
}

void SqliteFile::Close() {
  Do("COMMIT");
  if (!fault && Check(sqlite3_close(database.get()))) {
    static_cast<void>(database.release());
  }
}

bool SqliteFile::Check(int result) {
  if (result == SQLITE_OK || result == SQLITE_DONE || fault) {
    return !fault;
  }
  if (result == SQLITE_NOMEM) {
    throw std::bad_alloc();
  }
  const int number = database ? sqlite3_system_errno(database.get()) : 0;
  if (number != 0) {
    fault = SystemFault(name, "cannot write", number);
  } else {
    fault.kind = Fault::SYSTEM;
    fault.file = name;
    fault.reason = std::string("cannot write: ") + sqlite3_errstr(result);
  }
  fault.remedy = "make room there, or choose another place";
  return false;
}

SqliteInsert::SqliteInsert(SqliteFile& file, const std::string& sql) : file(file) {
  if (!file.fault) {
    sqlite3_stmt* prepared = nullptr;
    file.Check(sqlite3_prepare_v2(file.database.get(), sql.c_str(), -1, &prepared, nullptr));
    statement.reset(prepared);
  }
}

void SqliteInsert::Finalizer::operator()(sqlite3_stmt* prepared) const {
  sqlite3_finalize(prepared);
}

SqliteInsert& SqliteInsert::Null() {
  if (!file.fault) {
    file.Check(sqlite3_bind_null(statement.get(), next++));
  }
  return *this;
}

SqliteInsert& SqliteInsert::Number(uint64_t value) {
  if (value > static_cast<uint64_t>(std::numeric_limits<int64_t>::max())) {
    return Real(static_cast<double>(value));
  }
  if (!file.fault) {
    file.Check(sqlite3_bind_int64(statement.get(), next++, static_cast<sqlite3_int64>(value)));
  }
  return *this;
}

SqliteInsert& SqliteInsert::Real(double value) {
  if (!file.fault) {
    file.Check(sqlite3_bind_double(statement.get(), next++, value));
  }
  return *this;
}

SqliteInsert& SqliteInsert::Text(const std::string& value) {
  if (!file.fault) {
    file.Check(sqlite3_bind_text64(statement.get(), next++, value.data(), value.size(),
                                   SQLITE_TRANSIENT, SQLITE_UTF8));
  }
  return *this;
}

void SqliteInsert::Done() {
  next = 1;
  if (!file.fault) {
    file.Check(sqlite3_step(statement.get()));
    sqlite3_reset(statement.get());
  }
}

}  // namespace marrowfin
