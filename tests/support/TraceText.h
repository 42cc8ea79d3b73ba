#ifndef TESTS_SUPPORT_TRACETEXT_H
#define TESTS_SUPPORT_TRACETEXT_H

#include <string>

namespace marrowfin::testing {

// Turns a readable trace into the bytes of a trace file. The bytes are shifted by hand here, so
// that a mistake in the library's own writer shows.
//
// One record a line; blank lines and lines that start with # are ignored:
//   fire CYCLE THREAD COLUMN ROW
//   switch CYCLE THREAD COLUMN ROW
//   send CYCLE THREAD FROM_COLUMN FROM_ROW TO_COLUMN TO_ROW
//   raw TYPE CYCLE THREAD LENGTH HEXBYTES...
// Numbers are decimal. `raw` writes any header, with any payload behind it: LENGTH is what the
// header says, the payload is the hexadecimal digits that follow, spaced as you like between whole
// bytes.
//
// Malformed text throws std::invalid_argument, which names the line.
std::string TraceBytes(const std::string& text);

}  // namespace marrowfin::testing

#endif
