#ifndef CONVERT_EXPORT_SQLITEFILE_H
#define CONVERT_EXPORT_SQLITEFILE_H

#include <cstdint>
#include <memory>
#include <string>

#include "trace/base/Fault.h"

struct sqlite3;
struct sqlite3_stmt;

namespace marrowfin {

// A database that is filled once, in one transaction and without a journal: whoever is interrupted
// throws the file away. Calls do nothing behind the first fault. Threads: one at a time.
class SqliteFile {
 public:
  // `file` is opened, `name` is for messages.
  SqliteFile(const std::string& file, const std::string& name);

  void Do(const std::string& sql);

  // Ends the transaction and closes the file.
  void Close();

  const Fault& GetFault() const { return fault; }

 private:
  friend class SqliteInsert;

  struct Closer {
    void operator()(sqlite3* database) const;
  };
  bool Check(int result);

  std::string name;
  std::unique_ptr<sqlite3, Closer> database;
  Fault fault;
};

// A statement that puts rows into a table, each of its values bound in order. Goes before its file.
class SqliteInsert {
 public:
  // `sql` has a ? for each value.
  SqliteInsert(SqliteFile& file, const std::string& sql);

  SqliteInsert& Null();
  SqliteInsert& Number(uint64_t value);  // as a real where SQLite has no such number
  SqliteInsert& Real(double value);      // one that is no number is null, as SQLite has it
  SqliteInsert& Text(const std::string& value);

  // Puts the row.
  void Done();

  // What it was made for is over: a file that is closed must have none.
  void Finish() { statement.reset(); }

 private:
  struct Finalizer {
    void operator()(sqlite3_stmt* statement) const;
  };

  SqliteFile& file;
  std::unique_ptr<sqlite3_stmt, Finalizer> statement;
  int next = 1;
};

}  // namespace marrowfin

#endif
