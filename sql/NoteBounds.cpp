#include "sql/NoteBounds.h"

#include <algorithm>
#include <charconv>
#include <string>

namespace marrowfin {

namespace {

std::string TextOf(sqlite3_value* value) {
  const auto* const text = reinterpret_cast<const char*>(sqlite3_value_text(value));
  return text == nullptr ? "" : std::string(text, static_cast<size_t>(sqlite3_value_bytes(value)));
}

// The numbers that are told as a text: those of that name, and the number that has no name and is
// written so. With those between, where there are several.
NumberBounds Named(const NoteAttribute& attribute, const std::string& text) {
  NumberBounds bounds = NumberBounds::None();
  const auto add = [&bounds](uint64_t number) {
    bounds = bounds.IsEmpty()
                 ? NumberBounds{number, number}
                 : NumberBounds{std::min(bounds.first, number), std::max(bounds.last, number)};
  };
  for (const auto& [value, name] : attribute.names) {
    if (name == text) {
      add(value);
    }
  }
  uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error == std::errc() && end == text.data() + text.size()) {
    add(number);
  }
  return bounds;
}

NoteCondition ConditionOf(uint32_t attribute, const NumberBounds& bounds) {
  if (bounds.first == bounds.last) {
    return {attribute, NoteCondition::EQUAL, bounds.first, 0};
  }
  if (bounds.IsEverything()) {
    return {attribute, NoteCondition::HAS, 0, 0};
  }
  return {attribute, NoteCondition::BETWEEN, bounds.first, bounds.last};
}

}  // namespace

bool NoteBounds::Narrows(NoteType type, int comparison) {
  return type == NoteType::NUMBER || type == NoteType::CYCLE ||
         (type == NoteType::NAME && comparison == SQLITE_INDEX_CONSTRAINT_EQ);
}

NoteBounds::NoteBounds(const EventColumns& table, const std::vector<NoteAttribute>& declared,
                       const SqlQuestion& question)
    : declared(declared) {
  for (const SqlCondition& condition : question.conditions) {
    if (table.Field(condition.column) == EventField::NOTE) {
      Take(table.Attribute(condition.column), condition);
    }
  }
}

// What is not noted is NULL, which meets no comparison: there is a value in any case.
void NoteBounds::Take(uint32_t attribute, const SqlCondition& condition) {
  NumberBounds& of = numbers[attribute];
  if (declared[attribute].type == NoteType::NAME) {
    TakeName(attribute, condition);
  } else if (condition.isSet) {
    of.NarrowToSet(condition.value);
  } else {
    of.Narrow(condition.comparison, condition.value);
  }
  isEmpty = isEmpty || of.IsEmpty();
}

// A value that is no text may become one in the eyes of SQLite. Sets of names are left to it.
void NoteBounds::TakeName(uint32_t attribute, const SqlCondition& condition) {
  if (condition.isSet) {
    return;
  }
  NumberBounds& of = numbers[attribute];
  const int type = sqlite3_value_type(condition.value);
  if (type == SQLITE_NULL) {
    of = NumberBounds::None();
  } else if (type == SQLITE_TEXT) {
    of.Meet(Named(declared[attribute], TextOf(condition.value)));
  }
}

bool NoteBounds::IsEmpty() const { return isEmpty; }

std::vector<NoteCondition> NoteBounds::Conditions() const {
  std::vector<NoteCondition> conditions;
  for (const auto& [attribute, bounds] : numbers) {
    conditions.push_back(ConditionOf(attribute, bounds));
  }
  return conditions;
}

}  // namespace marrowfin
