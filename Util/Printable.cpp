#include "Util/Printable.h"

const char* Printable::ToString() {
  static thread_local std::string text;
  text.clear();
  return ToString(text);
}

const char* Printable::ToString(std::string& s) const {
  s += "UNDEFINED PRINT METHOD";
  return s.c_str();
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
void Printable::Print(FILE* stream) {
  std::string text;
  fprintf(stream, ToString(text));
}
#pragma GCC diagnostic pop

Printable::~Printable() = default;
