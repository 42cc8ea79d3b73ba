#include "explorer/core/Question.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace marrowfin {
namespace {

using Json = nlohmann::json;

constexpr uint64_t MOST_NUMBER = uint64_t{1} << 53;

std::optional<uint64_t> Digits(const std::string& text) {
  uint64_t value = 0;
  for (const char digit : text) {
    const bool isDigit = digit >= '0' && digit <= '9';
    const auto number = static_cast<uint64_t>(digit - '0');
    if (!isDigit || value > (~uint64_t{0} - number) / 10) {
      return std::nullopt;
    }
    value = value * 10 + number;
  }
  return text.empty() ? std::nullopt : std::optional(value);
}

// Parsers take the last of several members of one name: nobody would know which was meant.
class TwiceFinder {
 public:
  bool operator()(int /*depth*/, Json::parse_event_t event, Json& parsed) {
    if (event == Json::parse_event_t::object_start) {
      names.emplace_back();
    } else if (event == Json::parse_event_t::object_end) {
      names.pop_back();
    } else if (event == Json::parse_event_t::key &&
               !names.back().insert(parsed.get_ref<const std::string&>()).second) {
      twice = parsed.get<std::string>();
    }
    return true;
  }

  std::vector<std::set<std::string>> names;
  std::optional<std::string> twice;
};

}  // namespace

bool Members::Has(const char* name) const {
  return object != nullptr && object->contains(name) && !object->at(name).is_null();
}

void Members::Refuse(const std::string& message, const std::string& remedy) {
  if (!trouble) {
    trouble = BadQuestion(message, remedy);
  }
}

std::string Members::Named(std::string_view name) const {
  return '`' + path + (path.empty() ? "" : ".") + std::string(name) + '`';
}

// A member that is null is one that is not there.
const Json* Members::Find(const char* name, bool needed) {
  taken.insert(name);
  if (Has(name)) {
    return &object->at(name);
  }
  if (needed && object != nullptr) {
    Refuse(Named(name) + " is missing");
  }
  return nullptr;
}

std::optional<uint64_t> Members::AsNumber(const Json& value) const {
  const bool fits = value.is_number_unsigned() && value.get<uint64_t>() <= MOST_NUMBER;
  return fits ? std::optional(value.get<uint64_t>()) : std::nullopt;
}

std::optional<uint64_t> Members::AsWide(const Json& value) const {
  return value.is_string() ? Digits(value.get_ref<const std::string&>()) : std::nullopt;
}

uint64_t Members::Number(const char* name, std::optional<uint64_t> other) {
  return NumberUpTo(name, MOST_NUMBER, other);
}

uint64_t Members::NumberUpTo(const char* name, uint64_t most, std::optional<uint64_t> other) {
  const Json* const value = Find(name, !other);
  if (value == nullptr) {
    return other.value_or(0);
  }
  const std::optional<uint64_t> number = AsNumber(*value);
  if (!number || *number > most) {
    Refuse(Named(name) + " is no whole number from 0 to " + std::to_string(most));
    return other.value_or(0);
  }
  return *number;
}

uint64_t Members::Wide(const char* name, std::optional<uint64_t> other) {
  const Json* const value = Find(name, !other);
  if (value == nullptr) {
    return other.value_or(0);
  }
  const std::optional<uint64_t> number = AsWide(*value);
  if (!number) {
    Refuse(Named(name) + " is no string of decimal digits of at most 64 bits");
  }
  return number.value_or(0);
}

std::string Members::Text(const char* name, std::optional<std::string> other) {
  const Json* const value = Find(name, !other);
  if (value != nullptr && !value->is_string()) {
    Refuse(Named(name) + " is no text");
  }
  return value != nullptr && value->is_string() ? value->get<std::string>()
                                                : std::move(other).value_or("");
}

bool Members::Flag(const char* name, bool other) {
  const Json* const value = Find(name, false);
  if (value != nullptr && !value->is_boolean()) {
    Refuse(Named(name) + " is neither true nor false");
  }
  return value != nullptr && value->is_boolean() ? value->get<bool>() : other;
}

std::optional<Place> Members::PlaceIfAny(const char* name) {
  if (!Has(name)) {
    taken.insert(name);
    return std::nullopt;
  }
  const std::vector<uint64_t> pair = Numbers(name, 2);
  constexpr uint64_t MOST = ~uint32_t{0};
  if (pair.size() == 2 && pair[0] <= MOST && pair[1] <= MOST) {
    return Place{static_cast<uint32_t>(pair[0]), static_cast<uint32_t>(pair[1])};
  }
  Refuse(Named(name) + " is no place: [column, row]");
  return std::nullopt;
}

std::vector<std::string> Members::Texts(const char* name) {
  const Json* const value = Find(name, false);
  std::vector<std::string> texts;
  if (value == nullptr) {
    return texts;
  }
  for (const Json& text : value->is_array() ? *value : Json::array({Json()})) {
    if (!text.is_string()) {
      Refuse(Named(name) + " is no list of texts");
      return {};
    }
    texts.push_back(text.get<std::string>());
  }
  return texts;
}

std::vector<uint64_t> Members::Numbers(const char* name, size_t count) {
  const Json* const value = Find(name, true);
  std::vector<uint64_t> numbers;
  if (value == nullptr) {
    return numbers;
  }
  for (size_t i = 0; value->is_array() && i < value->size(); ++i) {
    if (const std::optional<uint64_t> number = AsNumber((*value)[i])) {
      numbers.push_back(*number);
    }
  }
  if (numbers.size() != count || value->size() != count) {
    Refuse(Named(name) + " is no list of " + std::to_string(count) + " whole numbers");
    return {};
  }
  return numbers;
}

std::vector<uint64_t> Members::Wides(const char* name, size_t count) {
  const Json* const value = Find(name, true);
  std::vector<uint64_t> numbers;
  if (value == nullptr) {
    return numbers;
  }
  for (size_t i = 0; value->is_array() && i < value->size(); ++i) {
    if (const std::optional<uint64_t> number = AsWide((*value)[i])) {
      numbers.push_back(*number);
    }
  }
  if (numbers.size() != count || value->size() != count) {
    Refuse(Named(name) + " is no list of " + std::to_string(count) + " strings of decimal digits");
    return {};
  }
  return numbers;
}

std::vector<Members::NumberPair> Members::Pairs(const char* name, size_t most) {
  const Json* const value = Find(name, true);
  std::vector<NumberPair> pairs;
  const bool fits = value != nullptr && value->is_array() && value->size() <= most;
  for (size_t i = 0; fits && i < value->size(); ++i) {
    const Json& pair = (*value)[i];
    const bool isPair = pair.is_array() && pair.size() == 2;
    const std::optional<uint64_t> first = isPair ? AsNumber(pair[0]) : std::nullopt;
    const std::optional<uint64_t> last = isPair ? AsNumber(pair[1]) : std::nullopt;
    if (first && last) {
      pairs.emplace_back(*first, *last);
    }
  }
  if (value != nullptr && (!fits || pairs.size() != value->size())) {
    Refuse(Named(name) + " is no list of at most " + std::to_string(most) +
           " pairs of whole numbers");
    return {};
  }
  return pairs;
}

std::optional<Members::LinkWords> Members::Link(const char* name) {
  const Json* const value = Find(name, true);
  if (value != nullptr && value->is_array() && value->size() == 3 && (*value)[2].is_string()) {
    const std::optional<uint64_t> column = AsNumber((*value)[0]);
    const std::optional<uint64_t> row = AsNumber((*value)[1]);
    if (column && row && *column <= ~0U && *row <= ~0U) {
      return LinkWords{{static_cast<uint32_t>(*column), static_cast<uint32_t>(*row)},
                       (*value)[2].get<std::string>()};
    }
  }
  Refuse(Named(name) + " is no link: [column, row, heading]");
  return std::nullopt;
}

Members Members::Within(const char* name) {
  const Json* value = Find(name, false);
  if (value != nullptr && !value->is_object()) {
    Refuse(Named(name) + " is no object");
    value = nullptr;
  }
  return {value, path + (path.empty() ? "" : ".") + name, trouble};
}

std::vector<Members> Members::Each(const char* name) {
  const Json* const value = Find(name, false);
  std::vector<Members> each;
  for (size_t i = 0; value != nullptr && value->is_array() && i < value->size(); ++i) {
    const Json& item = (*value)[i];
    each.emplace_back(item.is_object() ? &item : nullptr,
                      path + (path.empty() ? "" : ".") + name + '[' + std::to_string(i) + ']',
                      trouble);
  }
  if (value != nullptr &&
      (!value->is_array() ||
       std::any_of(each.begin(), each.end(), [](const Members& members) { return !members; }))) {
    Refuse(Named(name) + " is no list of objects");
    return {};
  }
  return each;
}

void Members::RefuseOthers() {
  if (object == nullptr) {
    return;
  }
  for (const auto& member : object->items()) {
    if (taken.count(member.key()) == 0) {
      Refuse("nobody knows " + Named(member.key().substr(0, 64)) + " here");
    }
  }
}

Question::Question(std::span<const uint8_t> bytes) : value(std::make_unique<Json>()) {
  if (bytes.size() > LARGEST) {
    trouble = Refusal{Refusal::TOO_LARGE,
                      "a question of " + std::to_string(bytes.size()) + " bytes",
                      {},
                      {},
                      "ask in at most " + std::to_string(LARGEST) + " bytes"};
  } else {
    TwiceFinder finder;
    *value = Json::parse(bytes.begin(), bytes.end(), std::ref(finder), false);
    if (!value->is_object()) {
      trouble = BadQuestion("the question is no JSON object in UTF-8");
    } else if (finder.twice) {
      trouble = BadQuestion("`" + finder.twice->substr(0, 64) + "` is there twice");
    }
  }
  all = std::make_unique<Members>(value->is_object() ? value.get() : nullptr, "", trouble);
}

Question::~Question() = default;

}  // namespace marrowfin
