#ifndef UTIL_SIMOUTPUT_H
#define UTIL_SIMOUTPUT_H

#include "Util/File.h"

// The one place through which the library and the programs print: ordinary output, errors, debug
// and trace lines, warnings and fatal crashes. There are no objects of it. Constructors and
// destructors of a program's static objects may use it.
//
// All operations return the result of the last print, or 0 where their File has no stream. The
// underscore operations are called through the macros below, which add the source file and line.
class SimOutput {
 public:
  static File err;    // standard error
  static File out;    // standard output
  static File debug;  // standard error
  static File trace;  // standard error

  // To `out` and `err`, as printf: no line is completed.
  [[gnu::format(printf, 1, 2)]] static int Print(const char* format, ...);
  [[gnu::format(printf, 1, 2)]] static int PrintError(const char* format, ...);

  // To `debug` with the prefix "[FILE:LINE]:  ", and to `trace` without one. Where `newline` is
  // true and `format` (not the text made of it) does not end in a line feed, a line feed is added.
  [[gnu::format(printf, 4, 5)]] static int _Debug(bool newline, const char* file, int line,
                                                  const char* format, ...);
  [[gnu::format(printf, 4, 5)]] static int _Trace(bool newline, const char* file, int line,
                                                  const char* format, ...);

  // To `err` with the prefix "WARN[FILE:LINE]:  ". A `format` without a final line feed always gets
  // one, whatever `newline` says.
  [[gnu::format(printf, 4, 5)]] static int _Warn(bool newline, const char* file, int line,
                                                 const char* format, ...);

  // To `err` with the prefix "CRASH[FILE:LINE]:  ", completed as a warning is; then marks the run
  // failed and aborts.
  [[noreturn, gnu::format(printf, 4, 5)]] static int _Crash(bool newline, const char* file,
                                                            int line, const char* format, ...);
};

#define SIM_DEBUG(...) SimOutput::_Debug(true, __FILE__, __LINE__, __VA_ARGS__)
#define SIM_TRACE(...) SimOutput::_Trace(true, __FILE__, __LINE__, __VA_ARGS__)
#define SIM_WARN(...) SimOutput::_Warn(true, __FILE__, __LINE__, __VA_ARGS__)
#define SIM_CRASH(...) SimOutput::_Crash(true, __FILE__, __LINE__, __VA_ARGS__)

#endif
