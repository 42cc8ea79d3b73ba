#include "convert/import/JsonEvents.h"

#include <nlohmann/json.hpp>

#include "convert/import/FoundNotes.h"
#include "convert/import/LineNumbers.h"
#include "convert/import/NamedEvent.h"

namespace marrowfin {
namespace {

using Json = nlohmann::ordered_json;  // attributes keep their order

class JsonStream : public EventStream {
 public:
  JsonStream(InputBytes& input, const StreamOptions& options) : input(input), options(options) {}

  Fault Begin(NotesWriter* writer) override {
    notes = FoundNotes(writer, options.renumbered);
    return names.Take(options, input.Name());
  }
  Result<bool> Next(StreamEvent& event, uint64_t record) override;
  void Describe(About& about) const override { found.Describe(about); }
  uint64_t NotesLeftOut() const override { return notes.LeftOut(); }

 private:
  std::string Take(const Json& object, StreamEvent& event, SkipReason& reason) const;
  void TakeNames(const Json& object, const StreamEvent& event);
  void TakeNotes(const Json& object, uint64_t record, StreamEvent& event);
  std::string TextOf(const Json& object, EventPart part) const;

  InputBytes& input;
  const StreamOptions options;
  EventPartNames names;
  FoundNotes notes;
  FoundNames found;
};

void TakeNumber(const Json& value, EventPart part, NamedEvent& event) {
  if (value.is_number_unsigned()) {
    event.numbers[part] = value.get<uint64_t>();
  } else if (!value.is_null()) {
    event.odd[part] = true;
  }
}

// A place that is a list of two numbers.
void TakePlace(const Json& object, const char* key, EventPart column, NamedEvent& event) {
  const auto place = object.find(key);
  if (place == object.end()) {
    return;
  }
  const bool isPair = place->is_array() && place->size() == 2;
  for (const int along : {0, 1}) {
    const auto part = static_cast<EventPart>(column + along);
    event.odd[part] = !isPair;
    if (isPair) {
      TakeNumber((*place)[static_cast<size_t>(along)], part, event);
    }
  }
}

Result<bool> JsonStream::Next(StreamEvent& event, uint64_t record) {
  std::string_view line;
  while (input.Line(line)) {
    if (line.find_first_not_of(" \t") == std::string_view::npos) {
      continue;
    }
    ++counts.read;
    SkipReason reason = SKIP_ODD_VALUE;
    const Json object = Json::parse(line, nullptr, false);
    const std::string wrong =
        object.is_object() ? Take(object, event, reason) : "what is no JSON object";
    if (wrong.empty()) {
      TakeNames(object, event);
      TakeNotes(object, record, event);
      return true;
    }
    if (Fault fault =
            Skip(options, input, reason, "line " + std::to_string(input.LineNumber()), wrong)) {
      return fault;
    }
  }
  if (Fault fault = input.Trouble() ? input.Trouble() : WhyNothing()) {
    return fault;
  }
  return false;
}

std::string JsonStream::TextOf(const Json& object, EventPart part) const {
  const auto text = object.find(names.NameOf(part));
  return text != object.end() && text->is_string() ? text->get<std::string>() : "";
}

std::string JsonStream::Take(const Json& object, StreamEvent& event, SkipReason& reason) const {
  NamedEvent parts;
  for (const EventPart part :
       {PART_CYCLE, PART_THREAD, PART_COLUMN, PART_ROW, PART_TO_COLUMN, PART_TO_ROW}) {
    const auto value = object.find(names.NameOf(part));
    if (value != object.end()) {
      TakeNumber(*value, part, parts);
    }
  }
  TakePlace(object, "at", PART_COLUMN, parts);
  TakePlace(object, "from", PART_COLUMN, parts);
  TakePlace(object, "to", PART_TO_COLUMN, parts);
  parts.type = TextOf(object, PART_TYPE);
  return parts.Finish(names, event, reason);
}

void JsonStream::TakeNames(const Json& object, const StreamEvent& event) {
  found.AddThread(event.thread, TextOf(object, PART_THREAD_NAME));
  if (event.type != SWITCH_RECORD) {
    found.AddPlace(event.at, TextOf(object, PART_PLACE));
  }
  if (event.type == SEND_RECORD) {
    const auto from = object.find("fromPlace");
    if (from != object.end() && from->is_string()) {
      found.AddPlace(event.at, from->get<std::string>());
    }
    found.AddPlace(event.to, TextOf(object, PART_TO_PLACE));
  }
}

// What notes can hold of a value; nothing else is left out but what is null.
std::optional<FoundNotes::Value> ValueOf(const Json& value) {
  if (value.is_number_unsigned()) {
    return value.get<uint64_t>();
  }
  if (value.is_number()) {
    return value.get<double>();
  }
  if (value.is_string()) {
    return value.get<std::string>();
  }
  if (value.is_boolean()) {
    return uint64_t{value.get<bool>() ? 1U : 0U};
  }
  if (!value.is_array()) {
    return std::nullopt;
  }
  std::vector<uint64_t> records;
  for (const Json& record : value) {
    records.push_back(record.is_number_unsigned() ? record.get<uint64_t>() : ~uint64_t{0});
  }
  return records;
}

void JsonStream::TakeNotes(const Json& object, uint64_t record, StreamEvent& event) {
  const auto noted = object.find("notes");
  if (noted == object.end() || !noted->is_object()) {
    return;
  }
  for (const auto& [name, value] : noted->items()) {
    if (const std::optional<FoundNotes::Value> known = ValueOf(value)) {
      notes.Add(name, *known, record, event);
    }
  }
}

}  // namespace

std::unique_ptr<EventStream> OpenJsonEvents(InputBytes& input, const StreamOptions& options) {
  return std::make_unique<JsonStream>(input, options);
}

}  // namespace marrowfin
