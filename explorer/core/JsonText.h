#ifndef EXPLORER_CORE_JSONTEXT_H
#define EXPLORER_CORE_JSONTEXT_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "trace/base/Place.h"

namespace marrowfin {

// Writes JSON as it is told, without a tree of values in memory: heads of answers may list ten
// thousand places. Whoever writes keeps the order: a key before each value of an object.
//
// Threads: one that writes.
class JsonText {
 public:
  JsonText& Key(std::string_view name);

  // An object or an array until End.
  JsonText& Object() { return Begin('{'); }
  JsonText& Array() { return Begin('['); }
  JsonText& End();

  JsonText& Number(uint64_t number) { return Value(std::to_string(number)); }
  JsonText& Real(double number);  // null where it is no number

  // Numbers that a reader may not be able to hold as a number: decimal digits in a string.
  JsonText& Wide(uint64_t number) { return Value('"' + std::to_string(number) + '"'); }

  JsonText& Text(std::string_view text);  // bytes that are no UTF-8 are replaced
  JsonText& Flag(bool flag) { return Value(flag ? "true" : "false"); }
  JsonText& Null() { return Value("null"); }
  JsonText& At(Place place);  // [column, row]

  const std::string& Get() const { return text; }

 private:
  JsonText& Begin(char bracket);
  JsonText& Value(std::string_view value);
  void Separate();

  std::string text;
  std::vector<char> open;  // the brackets that End writes
  bool first = true;       // whether nothing was written in the innermost one yet
  bool keyed = false;      // whether a key waits for its value
};

}  // namespace marrowfin

#endif
