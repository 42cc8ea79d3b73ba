#ifndef UTIL_APPENDFORMAT_H
#define UTIL_APPENDFORMAT_H

#include <cstdarg>
#include <string>

// Appends the text that printf would print. Pieces of up to 1,023 characters are formatted on the
// stack; longer ones are appended whole as well, from the heap.
[[gnu::format(printf, 2, 3)]] void AppendFormat(std::string& text, const char* format, ...);

// The same with a list of arguments, which is left as vsnprintf leaves it.
[[gnu::format(printf, 2, 0)]] void AppendFormatList(std::string& text, const char* format,
                                                    va_list args);

#endif
