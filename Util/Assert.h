#ifndef UTIL_ASSERT_H
#define UTIL_ASSERT_H

// A check that stays in every build type: its report is part of the programs' behaviour, so neither
// NDEBUG nor the wording of the C library's assert may touch it.
//
// The argument is turned into text here and not through a second macro: a nested macro would expand
// it first, and `offset < INT_MAX` would be reported with a number.
#define SIM_ASSERT(expression)                          \
  do {                                                  \
    if (!(expression)) {                                \
      AssertionFailed(__FILE__, __LINE__, #expression); \
    }                                                   \
  } while (false)

// Writes "FILE:LINE: failed assertion `EXPRESSION'" and a line feed to standard error, flushes it
// and aborts.
[[noreturn]] void AssertionFailed(const char* file, unsigned line, const char* expression);

#endif
