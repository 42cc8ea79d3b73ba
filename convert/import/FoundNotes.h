#ifndef CONVERT_IMPORT_FOUNDNOTES_H
#define CONVERT_IMPORT_FOUNDNOTES_H

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "convert/import/EventStream.h"
#include "trace/base/NotesFormat.h"
#include "trace/write/NotesWriter.h"

namespace marrowfin {

// Attributes that nobody declared: each gets the type that the readers of notes know for its name,
// or that of the first value that is met. Values that do not fit it are left out, and so is what
// goes beyond the limits of notes. Threads: one at a time.
class FoundNotes {
 public:
  // `writer` may be null: then nothing is noted. With `renumbered`, numbers of records mean nothing
  // and are left out.
  explicit FoundNotes(NotesWriter* writer = nullptr, bool renumbered = false)
      : writer(writer), renumbered(renumbered) {}

  typedef std::variant<uint64_t, double, std::string, std::vector<uint64_t>> Value;

  // Notes a value of the event that becomes record `record`; names are UTF-8.
  void Add(std::string_view name, const Value& value, uint64_t record, StreamEvent& event);

  // The same of a text, as a table has it: a number, a real, several numbers with blanks between
  // where the attribute names records, else a name.
  void AddText(std::string_view name, std::string_view text, uint64_t record, StreamEvent& event);

  uint64_t LeftOut() const { return leftOut; }

 private:
  static constexpr size_t MOST_NAMES = 65536;  // of values, in all
  static constexpr size_t LONGEST_NAME = 256;  // bytes

  struct Attribute {
    uint32_t number;
    NoteType type;
    std::map<std::string, uint64_t, std::less<>> names;
  };

  Attribute* Find(std::string_view name, const Value& first);
  bool Put(Attribute& attribute, const Value& value, uint64_t record, StreamEvent& event);
  bool PutName(Attribute& attribute, const std::string& name, StreamEvent& event);

  NotesWriter* writer;
  bool renumbered;
  std::map<std::string, Attribute, std::less<>> attributes;
  size_t names = 0;
  uint64_t leftOut = 0;
};

}  // namespace marrowfin

#endif
