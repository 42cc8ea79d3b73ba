#include "Util/SimOutput.h"

#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "Util/InitOrder.h"
#include "Util/Regression.h"

[[gnu::init_priority(INIT_OUTPUT)]] File SimOutput::err(stderr, false);
[[gnu::init_priority(INIT_OUTPUT)]] File SimOutput::out(stdout, false);
[[gnu::init_priority(INIT_OUTPUT)]] File SimOutput::debug(stderr, false);
[[gnu::init_priority(INIT_OUTPUT)]] File SimOutput::trace(stderr, false);

namespace {

// The format decides, not the text: an argument that ends in a line feed does not close the line.
bool EndsLine(const char* format) {
  const size_t length = strlen(format);
  return length > 0 && format[length - 1] == '\n';
}

// Where a printed line comes from; null where the operation has no prefix.
struct Prefix {
  const char* format;
  const char* file;
  int line;
};

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
[[gnu::format(printf, 4, 0)]] int PrintLine(File& file, const Prefix* prefix, bool complete,
                                            const char* format, va_list args) {
  if (file.GetFILE() == nullptr) {
    return 0;
  }
  if (prefix != nullptr) {
    file.Print(prefix->format, prefix->file, prefix->line);
  }
  int printed = file.Print(format, args);
  if (complete && !EndsLine(format)) {
    printed = file.Print("\n");
  }
  return printed;
}
#pragma GCC diagnostic pop

}  // namespace

int SimOutput::Print(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int printed = PrintLine(out, nullptr, false, format, args);
  va_end(args);
  return printed;
}

int SimOutput::PrintError(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int printed = PrintLine(err, nullptr, false, format, args);
  va_end(args);
  return printed;
}

int SimOutput::_Debug(bool newline, const char* file, int line, const char* format, ...) {
  const Prefix prefix = {"[%s:%d]:  ", file, line};
  va_list args;
  va_start(args, format);
  const int printed = PrintLine(debug, &prefix, newline, format, args);
  va_end(args);
  return printed;
}

int SimOutput::_Trace(bool newline, const char* /*file*/, int /*line*/, const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int printed = PrintLine(trace, nullptr, newline, format, args);
  va_end(args);
  return printed;
}

int SimOutput::_Warn(bool /*newline*/, const char* file, int line, const char* format, ...) {
  const Prefix prefix = {"WARN[%s:%d]:  ", file, line};
  va_list args;
  va_start(args, format);
  const int printed = PrintLine(err, &prefix, true, format, args);
  va_end(args);
  return printed;
}

int SimOutput::_Crash(bool /*newline*/, const char* file, int line, const char* format, ...) {
  const Prefix prefix = {"CRASH[%s:%d]:  ", file, line};
  va_list args;
  va_start(args, format);
  PrintLine(err, &prefix, true, format, args);
  va_end(args);
  Regression::Fail(nullptr);
  abort();
}
