#ifndef TRACE_EDIT_MERGEDNOTES_H
#define TRACE_EDIT_MERGEDNOTES_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "trace/base/NotesFormat.h"

namespace marrowfin {

// What the notes of several traces declare together, and how what each of them says is said there.
// Threads: one adds, any number asks.
class MergedNotes {
 public:
  // The traces in order, also those without notes (null).
  void Add(const NoteDeclarations* declarations);

  const NoteDeclarations& Declarations() const { return all; }

  // The attribute of trace number `trace` in all; nothing where there were too many.
  std::optional<uint32_t> Attribute(size_t trace, uint32_t attribute) const {
    return traces[trace].attributes[attribute];
  }

  // A value of it; nothing where another value has that number.
  std::optional<uint64_t> Value(size_t trace, uint32_t attribute, uint64_t value) const;

  std::optional<uint32_t> Counter(size_t trace, uint32_t counter) const {
    return traces[trace].counters[counter];
  }

 private:
  struct Of {
    std::vector<std::optional<uint32_t>> attributes;
    std::vector<std::map<uint64_t, uint64_t>> values;  // those that have names
    std::vector<std::optional<uint32_t>> counters;
  };

  std::optional<uint32_t> Place(const NoteAttribute& attribute);
  std::map<uint64_t, uint64_t> PlaceNames(const NoteAttribute& attribute, uint32_t number);

  NoteDeclarations all;
  std::vector<Of> traces;
};

}  // namespace marrowfin

#endif
