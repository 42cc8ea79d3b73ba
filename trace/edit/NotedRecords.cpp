#include "trace/edit/NotedRecords.h"

#include <optional>

#include "trace/base/Result.h"

namespace marrowfin {

NotedRecords::NotedRecords(const NoteDeclarations* declarations, NewTrace& made)
    : made(made), isNoted(declarations != nullptr) {
  if (isNoted) {
    for (const NoteAttribute& attribute : declarations->attributes) {
      namesRecords.push_back(attribute.type == NoteType::RECORDS);
      anyNamesRecords = anyNamesRecords || namesRecords.back();
    }
  }
}

Fault NotedRecords::Note(uint64_t number, std::span<const NotedValue> values) {
  if (anyNamesRecords) {
    if (Fault fault = numbers.Put(number, made.Records() - 1)) {
      return fault;
    }
  }
  for (const NotedValue& noted : values) {
    const auto attribute = static_cast<uint32_t>(noted.attribute);
    if (!namesRecords[attribute]) {
      made.Note(attribute, noted.value);
      continue;
    }
    const Result<std::optional<uint64_t>> named = numbers.Of(noted.value);
    if (!named) {
      return named.Why();
    }
    if (*named) {
      made.Note(attribute, **named);
    }
  }
  return made.GetFault();
}

}  // namespace marrowfin
