#include "Util/AppendFormat.h"

#include <cstdio>
#include <vector>

void AppendFormat(std::string& text, const char* format, ...) {
  va_list args;
  va_start(args, format);
  AppendFormatList(text, format, args);
  va_end(args);
}

void AppendFormatList(std::string& text, const char* format, va_list args) {
  va_list again;
  va_copy(again, args);
  char buf[1024];
  const int length = vsnprintf(buf, sizeof(buf), format, args);
  if (length >= 0 && static_cast<size_t>(length) < sizeof(buf)) {
    text.append(buf, static_cast<size_t>(length));
  } else if (length >= 0) {
    std::vector<char> whole(static_cast<size_t>(length) + 1);
    vsnprintf(whole.data(), whole.size(), format, again);
    text.append(whole.data(), static_cast<size_t>(length));
  }
  va_end(again);
}
