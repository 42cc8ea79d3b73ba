#include "convert/import/FoundNotes.h"

#include <algorithm>
#include <bit>

#include "convert/import/LineNumbers.h"
#include "trace/base/Utf8.h"

namespace marrowfin {
namespace {

bool NamesRecords(std::string_view name) {
  return name == CONSUMES_ATTRIBUTE || name == PRODUCED_BY_ATTRIBUTE;
}

NoteType TypeOf(std::string_view name, const FoundNotes::Value& first) {
  if (name == KIND_ATTRIBUTE) {
    return NoteType::NAME;
  }
  if (name == CREATED_ATTRIBUTE) {
    return NoteType::CYCLE;
  }
  if (NamesRecords(name)) {
    return NoteType::RECORDS;
  }
  constexpr NoteType TYPES[] = {NoteType::NUMBER, NoteType::REAL, NoteType::NAME,
                                NoteType::RECORDS};
  return TYPES[first.index()];
}

}  // namespace

FoundNotes::Attribute* FoundNotes::Find(std::string_view name, const Value& first) {
  const auto known = attributes.find(name);
  if (known != attributes.end()) {
    return &known->second;
  }
  if (attributes.size() == NOTES_MOST_ATTRIBUTES || name.empty() || name.size() > LONGEST_NAME) {
    return nullptr;
  }
  const NoteType type = TypeOf(name, first);
  const uint32_t number = writer->Attribute(name, type);
  return &attributes.emplace(std::string(name), Attribute{number, type, {}}).first->second;
}

void FoundNotes::Add(std::string_view name, const Value& value, uint64_t record,
                     StreamEvent& event) {
  if (writer == nullptr) {
    return;
  }
  Attribute* const attribute = Find(name, value);
  if (attribute == nullptr || !Put(*attribute, value, record, event)) {
    ++leftOut;
  }
}

void FoundNotes::AddText(std::string_view name, std::string_view text, uint64_t record,
                         StreamEvent& event) {
  if (text.empty()) {
    return;
  }
  if (const auto number = WholeNumber<uint64_t>(text); number && !NamesRecords(name)) {
    return Add(name, *number, record, event);
  }
  if (NamesRecords(name)) {
    std::vector<std::string_view> words;
    SplitAtBlanks(text, words);
    std::vector<uint64_t> records;
    for (const std::string_view word : words) {
      records.push_back(WholeNumber<uint64_t>(word).value_or(~uint64_t{0}));
    }
    return Add(name, records, record, event);
  }
  if (const auto real = WholeNumber<double>(text)) {
    return Add(name, *real, record, event);
  }
  Add(name, std::string(text), record, event);
}

bool FoundNotes::Put(Attribute& attribute, const Value& value, uint64_t record,
                     StreamEvent& event) {
  const uint64_t* const number = std::get_if<uint64_t>(&value);
  const double* const real = std::get_if<double>(&value);
  switch (attribute.type) {
    case NoteType::NUMBER:
    case NoteType::CYCLE:
      if (number != nullptr) {
        event.notes.push_back({attribute.number, *number});
      }
      return number != nullptr;
    case NoteType::REAL:
      if (number == nullptr && real == nullptr) {
        return false;
      }
      event.notes.push_back(
          {attribute.number,
           std::bit_cast<uint64_t>(real != nullptr ? *real : static_cast<double>(*number))});
      return true;
    case NoteType::NAME:
      if (number != nullptr) {
        return PutName(attribute, std::to_string(*number), event);
      }
      return std::holds_alternative<std::string>(value) &&
             PutName(attribute, std::get<std::string>(value), event);
    case NoteType::RECORDS:
      break;
  }
  const auto* const records = std::get_if<std::vector<uint64_t>>(&value);
  const auto isLater = [record](uint64_t of) { return of >= record; };
  if (renumbered || records == nullptr || std::any_of(records->begin(), records->end(), isLater)) {
    return false;
  }
  for (const uint64_t of : *records) {
    event.notes.push_back({attribute.number, of});
  }
  return true;
}

bool FoundNotes::PutName(Attribute& attribute, const std::string& name, StreamEvent& event) {
  auto known = attribute.names.find(name);
  if (known == attribute.names.end()) {
    if (names == MOST_NAMES || name.empty() || name.size() > LONGEST_NAME) {
      return false;
    }
    ++names;
    known = attribute.names.emplace(name, attribute.names.size()).first;
    writer->NameValue(attribute.number, known->second, AsUtf8(name));
  }
  event.notes.push_back({attribute.number, known->second});
  return true;
}

}  // namespace marrowfin
