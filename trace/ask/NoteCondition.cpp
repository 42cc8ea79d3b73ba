#include "trace/ask/NoteCondition.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <optional>

namespace marrowfin {

namespace {

Fault NoSuch(const std::string& file, std::string reason, std::string remedy) {
  Fault fault;
  fault.kind = Fault::OUT_OF_RANGE;
  fault.file = file;
  fault.reason = std::move(reason);
  fault.remedy = std::move(remedy);
  return fault;
}

std::string_view Trim(std::string_view text) {
  const size_t begin = text.find_first_not_of(" \t");
  return begin == text.npos ? "" : text.substr(begin, text.find_last_not_of(" \t") - begin + 1);
}

template <class Number>
std::optional<Number> Parsed(std::string_view text) {
  Number number = 0;
  const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number);
  const bool whole = parsed.ec == std::errc() && parsed.ptr == text.data() + text.size();
  return whole ? std::optional(number) : std::nullopt;
}

std::optional<uint64_t> ParseValue(const NoteAttribute& attribute, std::string_view text) {
  if (attribute.type == NoteType::REAL) {
    const std::optional<double> real = Parsed<double>(text);
    return real ? std::optional(std::bit_cast<uint64_t>(*real)) : std::nullopt;
  }
  for (const auto& [value, name] : attribute.names) {
    if (name == text) {
      return value;
    }
  }
  return Parsed<uint64_t>(text);
}

// "a, b, c"; of many the first ones.
template <class Range, class NameOf>
std::string Listed(const Range& range, NameOf nameOf) {
  constexpr size_t MOST = 20;
  std::string list;
  size_t count = 0;
  for (const auto& element : range) {
    if (++count > MOST) {
      return list + ", ...";
    }
    list += (list.empty() ? "" : ", ") + nameOf(element);
  }
  return list;
}

Fault NoAttribute(const NoteDeclarations& declarations, std::string_view name,
                  const std::string& file) {
  const std::string list =
      Listed(declarations.attributes, [](const NoteAttribute& a) { return a.name; });
  return NoSuch(file, "the notes have no attribute \"" + std::string(name) + "\"",
                list.empty() ? "they have none at all" : "they have " + list);
}

Fault NoValue(const NoteAttribute& attribute, std::string_view text, const std::string& file) {
  const std::string list = Listed(attribute.names, [](const auto& named) { return named.second; });
  return NoSuch(file, "\"" + std::string(text) + "\" is no value of " + attribute.name,
                list.empty() ? "give a number" : "it has " + list);
}

struct Written {
  std::string_view sign;
  NoteCondition::Comparison comparison;
};

// Those with two letters first.
constexpr Written SIGNS[] = {{"!=", NoteCondition::NOT_EQUAL}, {"<=", NoteCondition::AT_MOST},
                             {">=", NoteCondition::AT_LEAST},  {"=", NoteCondition::EQUAL},
                             {"<", NoteCondition::BELOW},      {">", NoteCondition::ABOVE},
                             {"~", NoteCondition::CONTAINS}};

const Written* SignAt(std::string_view text) {
  for (const Written& written : SIGNS) {
    if (text.starts_with(written.sign)) {
      return &written;
    }
  }
  return nullptr;
}

Fault ParseValues(std::string_view text, const NoteAttribute& attribute, const std::string& file,
                  NoteCondition& condition) {
  std::optional<uint64_t> value = ParseValue(attribute, text);
  const size_t dots = text.find("..");
  if (!value && dots != text.npos && condition.comparison == NoteCondition::EQUAL) {
    const std::optional<uint64_t> last = ParseValue(attribute, Trim(text.substr(dots + 2)));
    value = ParseValue(attribute, Trim(text.substr(0, dots)));
    condition.comparison = NoteCondition::BETWEEN;
    condition.last = last.value_or(0);
    value = last ? value : std::nullopt;
  }
  condition.value = value.value_or(0);
  return value ? Fault() : NoValue(attribute, text, file);
}

// Clears the marks of records whose only value is not as asked.
template <class Test>
void MarkEach(const NoteValues& values, std::span<uint8_t> marks, Test test) {
  for (size_t i = 0; i < marks.size(); ++i) {
    marks[i] = static_cast<uint8_t>(marks[i] != 0 && values.Has(i) && test(values.Value(i)));
  }
}

template <class Number>
void MarkCompared(const NoteCondition& condition, const NoteValues& values,
                  std::span<uint8_t> marks) {
  const Number value = std::bit_cast<Number>(condition.value);
  const Number last = std::bit_cast<Number>(condition.last);
  const auto number = [](uint64_t bits) { return std::bit_cast<Number>(bits); };
  switch (condition.comparison) {
    case NoteCondition::EQUAL:
      return MarkEach(values, marks, [&](uint64_t bits) { return number(bits) == value; });
    case NoteCondition::NOT_EQUAL:
      return MarkEach(values, marks, [&](uint64_t bits) { return number(bits) != value; });
    case NoteCondition::BELOW:
      return MarkEach(values, marks, [&](uint64_t bits) { return number(bits) < value; });
    case NoteCondition::AT_MOST:
      return MarkEach(values, marks, [&](uint64_t bits) { return number(bits) <= value; });
    case NoteCondition::ABOVE:
      return MarkEach(values, marks, [&](uint64_t bits) { return number(bits) > value; });
    case NoteCondition::AT_LEAST:
      return MarkEach(values, marks, [&](uint64_t bits) { return number(bits) >= value; });
    case NoteCondition::BETWEEN:
      return MarkEach(values, marks,
                      [&](uint64_t bits) { return number(bits) >= value && number(bits) <= last; });
    default:
      return MarkEach(values, marks, [](uint64_t) { return false; });
  }
}

}  // namespace

Result<NoteCondition> ParseNoteCondition(std::string_view text,
                                         const NoteDeclarations& declarations,
                                         const std::string& file) {
  text = Trim(text);
  NoteCondition condition;
  if (text.starts_with('!')) {
    condition.comparison = NoteCondition::HAS_NOT;
    text = Trim(text.substr(1));
  }
  size_t at = 0;
  while (at < text.size() && SignAt(text.substr(at)) == nullptr) {
    ++at;
  }
  const Written* sign = at < text.size() ? SignAt(text.substr(at)) : nullptr;
  const std::string_view name = Trim(text.substr(0, at));
  const std::optional<uint32_t> attribute = declarations.Attribute(name);
  if (!attribute) {
    return NoAttribute(declarations, name, file);
  }
  condition.attribute = *attribute;
  if (sign != nullptr && condition.comparison == NoteCondition::HAS_NOT) {
    return NoSuch(file, "\"!" + std::string(text) + "\" is no condition",
                  "\"!\" stands before an attribute alone");
  }
  if (sign != nullptr) {
    condition.comparison = sign->comparison;
    if (Fault fault = ParseValues(Trim(text.substr(at + sign->sign.size())),
                                  declarations.attributes[*attribute], file, condition)) {
      return fault;
    }
  }
  if (Fault fault = CheckNoteCondition(condition, declarations, file)) {
    return fault;
  }
  return condition;
}

Fault CheckNoteCondition(const NoteCondition& condition, const NoteDeclarations& declarations,
                         const std::string& file) {
  if (condition.attribute >= declarations.attributes.size()) {
    return NoAttribute(declarations, std::to_string(condition.attribute), file);
  }
  const NoteAttribute& attribute = declarations.attributes[condition.attribute];
  const bool lists = attribute.type == NoteType::RECORDS;
  const bool any =
      condition.comparison == NoteCondition::HAS || condition.comparison == NoteCondition::HAS_NOT;
  if (any || lists == (condition.comparison == NoteCondition::CONTAINS)) {
    return {};
  }
  return lists ? NoSuch(file, attribute.name + " has lists of records, which are not compared",
                        "ask whether one contains a record: " + attribute.name + "~NUMBER")
               : NoSuch(file, attribute.name + " has single values, which contain nothing",
                        "compare it: " + attribute.name + "=VALUE");
}

std::string NoteValueText(const NoteAttribute& attribute, uint64_t value) {
  if (attribute.type == NoteType::REAL) {
    char text[32];
    const auto written =
        std::to_chars(std::begin(text), std::end(text), std::bit_cast<double>(value));
    return {text, written.ptr};
  }
  const auto name = attribute.names.find(value);
  return name != attribute.names.end() ? name->second : std::to_string(value);
}

void MarkNotes(const NoteCondition& condition, NoteType type, const NoteValues& values,
               std::span<uint8_t> marks) {
  const bool wanted = condition.comparison != NoteCondition::HAS_NOT;
  if (condition.comparison == NoteCondition::HAS || !wanted) {
    for (size_t i = 0; i < marks.size(); ++i) {
      marks[i] =
          static_cast<uint8_t>(marks[i] != 0 && values.IsKnown(i) && values.Has(i) == wanted);
    }
  } else if (condition.comparison == NoteCondition::CONTAINS) {
    for (size_t i = 0; i < marks.size(); ++i) {
      const std::span<const uint64_t> all = values.All(i);
      marks[i] = static_cast<uint8_t>(
          marks[i] != 0 && std::find(all.begin(), all.end(), condition.value) != all.end());
    }
  } else if (type == NoteType::REAL) {
    MarkCompared<double>(condition, values, marks);
  } else {
    MarkCompared<uint64_t>(condition, values, marks);
  }
}

}  // namespace marrowfin
