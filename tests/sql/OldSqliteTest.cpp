// The extension in a shell whose SQLite is too old for it.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sqlite3ext.h>

#include <cstdarg>
#include <cstdio>
#include <string>

namespace marrowfin {
namespace {

std::string printed;

char* Print(const char* format, ...) {
  char text[200];
  va_list args;
  va_start(args, format);
  vsnprintf(text, sizeof text, format, args);
  va_end(args);
  printed = text;
  return printed.data();
}

TEST(OldSqliteTest, AnSqliteThatIsTooOldIsRefusedAndToldWhichWouldDo) {
  sqlite3_api_routines old = {};  // whoever calls another of its functions ends here
  old.libversion_number = [] { return 3037002; };
  old.libversion = [] { return "3.37.2"; };
  old.mprintf = Print;
  void* const extension = dlopen(MARROWFIN_SQLITE, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(nullptr, extension) << dlerror();
  typedef int Enter(sqlite3*, char**, const sqlite3_api_routines*);
  auto* const enter = reinterpret_cast<Enter*>(dlsym(extension, "sqlite3_marrowfinsqlite_init"));
  ASSERT_NE(nullptr, enter);
  char* error = nullptr;
  EXPECT_EQ(SQLITE_ERROR, enter(nullptr, &error, &old));
  EXPECT_STREQ("marrowfin: SQLite 3.37.2 is too old: use 3.38 or later", error);
}

}  // namespace
}  // namespace marrowfin
