#ifndef UTIL_PRINTABLE_H
#define UTIL_PRINTABLE_H

#include <cstdio>
#include <string>

// The base of everything that describes itself as text. It holds nothing but its virtual
// operations, whose order is fixed: programs compiled apart rely on it, here and in the headers
// that say the same.
class Printable {
 public:
  // The text, in storage that is good until the calling thread asks any Printable for its text in
  // this form again. Code that keeps the text uses the form below.
  virtual const char* ToString();

  // Puts the text into `s` and returns s.c_str(). Subclasses replace what `s` held; this default
  // appends "UNDEFINED PRINT METHOD" to it.
  virtual const char* ToString(std::string& s) const;

  // Writes the text to `stream`. The text itself is the format, so a percent sign in it is read as
  // a directive of printf.
  virtual void Print(FILE* stream);

  virtual ~Printable();
};

#endif
