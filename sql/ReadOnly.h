#ifndef SQL_READONLY_H
#define SQL_READONLY_H

#include <span>
#include <string>
#include <string_view>

#include "sql/Sqlite.h"

namespace marrowfin {

// Lets a connection read and nothing else: SQLite asks before each thing that a statement would do.
// Threads: one at a time, as the connection.
class ReadOnly {
 public:
  // From then on, while this lives.
  void Guard(sqlite3* database);

  // The settings that may be asked for (pragma): they tell of tables and functions.
  static std::span<const std::string_view> Settings();

  // What was refused last, in words for people; empty where nothing was.
  const std::string& Refused() const { return refused; }
  void Forget() { refused.clear(); }

 private:
  static int Decide(void* self, int action, const char* first, const char* second,
                    const char* third, const char* fourth);
  bool Allows(int action, const char* first, const char* second);

  std::string refused;
};

}  // namespace marrowfin

#endif
