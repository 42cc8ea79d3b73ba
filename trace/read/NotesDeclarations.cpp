#include "trace/read/NotesDeclarations.h"

#include "trace/base/Bytes.h"
#include "trace/base/Utf8.h"

namespace marrowfin {

std::string NotesDeclarations::Add(std::span<const uint8_t> body) {
  // Packed, many names take few bytes: nobody who means well needs so many.
  if (body.size() > NOTES_LARGEST_BODY - bytes) {
    return "there are more declarations than there may be";
  }
  const size_t attributes = all.attributes.size();
  const size_t counters = all.counters.size();
  named.clear();
  std::string wrong = AddEntries(body);
  if (wrong.empty()) {
    bytes += body.size();
  } else {
    TakeBack(attributes, counters);
  }
  return wrong;
}

std::string NotesDeclarations::AddEntries(std::span<const uint8_t> body) {
  ByteReader reader(body.data(), body.size());
  std::vector<uint8_t> entry;
  while (!reader.AtEnd()) {
    entry.resize(reader.Count(body.size()));
    if (!reader.Raw(entry.data(), entry.size()) || !reader.Good()) {
      return "a declaration is cut";
    }
    ByteReader fields(entry.data(), entry.size());
    std::string wrong = AddEntry(fields);
    if (!wrong.empty()) {
      return wrong;
    }
  }
  return "";
}

void NotesDeclarations::TakeBack(size_t attributes, size_t counters) {
  for (const auto& [attribute, value] : named) {
    all.attributes[attribute].names.erase(value);
  }
  all.attributes.resize(attributes);
  for (size_t number = counters; number < all.counters.size(); ++number) {
    counterNames.erase(all.counters[number].name);
  }
  all.counters.resize(counters);
}

// Entries of a kind that is not known are passed over.
std::string NotesDeclarations::AddEntry(ByteReader& entry) {
  switch (entry.Number()) {
    case 1:
      return AddAttribute(entry);
    case 2:
      return AddValueName(entry);
    case 3:
      return AddCounter(entry);
    default:
      return entry.Good() ? "" : "a declaration is empty";
  }
}

std::string NotesDeclarations::AddAttribute(ByteReader& entry) {
  const uint64_t number = entry.Number();
  const uint64_t type = entry.Number();
  NoteAttribute attribute;
  attribute.name = entry.Text();
  attribute.unit = entry.Text();
  if (!entry.Good() || number > all.attributes.size() || number >= NOTES_MOST_ATTRIBUTES ||
      type < 1 || type > 5 || attribute.name.empty() || !IsUtf8(attribute.name) ||
      !IsUtf8(attribute.unit)) {
    return "an attribute is not declared as attributes are";
  }
  attribute.type = static_cast<NoteType>(type);
  if (number < all.attributes.size()) {
    const NoteAttribute& known = all.attributes[static_cast<size_t>(number)];
    return known.type == attribute.type && known.name == attribute.name &&
                   known.unit == attribute.unit
               ? ""
               : "attribute " + std::to_string(number) + " is declared twice, in different ways";
  }
  if (all.Attribute(attribute.name)) {
    return "two attributes have one name";
  }
  all.attributes.push_back(std::move(attribute));
  return "";
}

std::string NotesDeclarations::AddValueName(ByteReader& entry) {
  const uint64_t number = entry.Number();
  const uint64_t value = entry.Number();
  const std::string name = entry.Text();
  if (!entry.Good() || number >= all.attributes.size() || name.empty() || !IsUtf8(name) ||
      all.attributes[static_cast<size_t>(number)].type != NoteType::NAME) {
    return "the name of a value is not declared as such names are";
  }
  NoteAttribute& attribute = all.attributes[static_cast<size_t>(number)];
  const auto [known, isNew] = attribute.names.try_emplace(value, name);
  if (isNew) {
    named.emplace_back(static_cast<uint32_t>(number), value);
  }
  return known->second == name ? "" : "a value of " + attribute.name + " has two names";
}

std::string NotesDeclarations::AddCounter(ByteReader& entry) {
  const uint64_t number = entry.Number();
  NoteCounter counter;
  counter.name = entry.Text();
  counter.unit = entry.Text();
  if (!entry.Good() || number > all.counters.size() || number >= NOTES_MOST_COUNTERS ||
      counter.name.empty() || !IsUtf8(counter.name) || !IsUtf8(counter.unit)) {
    return "a counter is not declared as counters are";
  }
  if (number < all.counters.size()) {
    return counter == all.counters[static_cast<size_t>(number)]
               ? ""
               : "counter " + std::to_string(number) + " is declared twice, in different ways";
  }
  if (!counterNames.insert(counter.name).second) {
    return "two counters have one name";
  }
  all.counters.push_back(std::move(counter));
  return "";
}

}  // namespace marrowfin
