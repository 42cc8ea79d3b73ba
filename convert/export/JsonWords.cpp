#include "convert/export/JsonWords.h"

#include <bit>
#include <cmath>
#include <nlohmann/json.hpp>

#include "convert/export/EventWords.h"
#include "trace/ask/NoteCondition.h"

namespace marrowfin {

namespace {

void AppendValue(const NoteAttribute& attribute, uint64_t value, std::string& out) {
  if (attribute.type == NoteType::NAME && attribute.names.contains(value)) {
    AppendJsonText(NoteValueText(attribute, value), out);
  } else if (attribute.type == NoteType::REAL && !std::isfinite(std::bit_cast<double>(value))) {
    out += "null";
  } else {
    out += NoteValueText(attribute, value);
  }
}

void AppendValues(const NoteAttribute& attribute, std::span<const uint64_t> values,
                  std::string& out) {
  if (attribute.type != NoteType::RECORDS) {
    AppendValue(attribute, values.front(), out);
    return;
  }
  out += '[';
  for (size_t i = 0; i < values.size(); ++i) {
    out += i == 0 ? "" : ",";
    AppendNumber(values[i], out);
  }
  out += ']';
}

}  // namespace

void AppendJsonText(const std::string& text, std::string& out) {
  out += nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

void AppendJsonNotes(const EventNaming& naming, const NotedSelection& from, size_t i,
                     std::string& out) {
  const char* before = "{";
  const auto attributes = Attributes(naming);
  for (size_t a = 0; a < attributes.size(); ++a) {
    if (from.notes[a]->Has(i)) {
      out += before;
      AppendJsonText(attributes[a].name, out);
      out += ':';
      AppendValues(attributes[a], from.notes[a]->All(i), out);
      before = ",";
    }
  }
  out += *before == '{' ? "{}" : "}";
}

}  // namespace marrowfin
