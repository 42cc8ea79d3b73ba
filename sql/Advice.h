#ifndef SQL_ADVICE_H
#define SQL_ADVICE_H

#include <cstddef>
#include <string>

#include "sql/SqlSchema.h"

namespace marrowfin {

// Where a byte of a text is: "line 2, column 7", both counted from 1, columns in characters.
std::string PlaceInText(const std::string& text, size_t byte);

// What may be meant where SQLite says that there is no such column, table or function: the nearest
// name, or the tables that have it. Empty where there is nothing to say. Threads: any number may
// call these at a time.
std::string AdviceOn(const std::string& message, const SqlSchema& schema);

}  // namespace marrowfin

#endif
