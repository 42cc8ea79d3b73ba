#include "sql/NumberedRows.h"

#include <algorithm>
#include <string>

#include "sql/SqlTrace.h"

namespace marrowfin {

namespace {

bool IsNumberFromZero(sqlite3_value* value) {
  switch (sqlite3_value_numeric_type(value)) {
    case SQLITE_INTEGER:
      return sqlite3_value_int64(value) >= 0;
    case SQLITE_FLOAT:
      return sqlite3_value_double(value) >= 0;
    default:
      return sqlite3_value_type(value) == SQLITE_NULL;
  }
}

}  // namespace

Fault WrongArgument(const SqlTrace& trace, const SqlQuestion& question, size_t column,
                    const char* name) {
  Fault fault;
  const auto wrong = std::find_if(question.conditions.begin(), question.conditions.end(),
                                  [&](const SqlCondition& condition) {
                                    return condition.column == column && !condition.isSet &&
                                           condition.comparison == SQLITE_INDEX_CONSTRAINT_EQ &&
                                           !IsNumberFromZero(condition.value);
                                  });
  if (wrong != question.conditions.end()) {
    const unsigned char* const text = sqlite3_value_text(wrong->value);
    fault.kind = Fault::OUT_OF_RANGE;
    fault.file = trace.file.Name();
    fault.reason = std::string("the argument ") + name + " is a number from 0 on, and not " +
                   (text == nullptr ? "that" : reinterpret_cast<const char*>(text));
    fault.remedy = "give such a number; max(0, ...) makes one of what may be less";
  }
  return fault;
}

}  // namespace marrowfin
