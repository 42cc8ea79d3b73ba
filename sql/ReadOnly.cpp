#include "sql/ReadOnly.h"

#include <algorithm>
#include <iterator>
#include <new>
#include <string_view>

namespace marrowfin {

namespace {

// Settings that tell of tables and functions, and change nothing.
constexpr std::string_view PRAGMAS[] = {
    "collation_list", "compile_options", "database_list", "function_list", "module_list",
    "pragma_list",    "table_info",      "table_list",    "table_xinfo",
};

constexpr std::string_view FORBIDDEN_FUNCTION = "load_extension";

std::string_view Text(const char* text) { return text == nullptr ? "" : text; }

bool IsReadingPragma(std::string_view name) {
  return std::find(std::begin(PRAGMAS), std::end(PRAGMAS), name) != std::end(PRAGMAS);
}

// What a statement would do; all else changes tables, views, triggers or indexes.
std::string Deed(int action, std::string_view first) {
  switch (action) {
    case SQLITE_PRAGMA:
      return "for pragma " + std::string(first);
    case SQLITE_ATTACH:
    case SQLITE_DETACH:
      return "to attach or detach another database";
    case SQLITE_TRANSACTION:
    case SQLITE_SAVEPOINT:
      return "a transaction";
    case SQLITE_FUNCTION:
      return "to load an extension";
    default:
      return "to write";
  }
}

}  // namespace

std::span<const std::string_view> ReadOnly::Settings() { return PRAGMAS; }

void ReadOnly::Guard(sqlite3* database) { sqlite3_set_authorizer(database, Decide, this); }

bool ReadOnly::Allows(int action, const char* first, const char* second) {
  switch (action) {
    case SQLITE_SELECT:
    case SQLITE_READ:
    case SQLITE_RECURSIVE:
      return true;
    case SQLITE_FUNCTION:
      return Text(second) != FORBIDDEN_FUNCTION;
    case SQLITE_PRAGMA:
      return IsReadingPragma(Text(first));
    default:
      return false;
  }
}

int ReadOnly::Decide(void* self, int action, const char* first, const char* second,
                     const char* /*third*/, const char* /*fourth*/) {
  auto& guard = *static_cast<ReadOnly*>(self);
  if (guard.Allows(action, first, second)) {
    return SQLITE_OK;
  }
  try {
    guard.refused = Deed(action, Text(first));
  } catch (const std::bad_alloc&) {
    return SQLITE_DENY;
  }
  return SQLITE_DENY;
}

}  // namespace marrowfin
