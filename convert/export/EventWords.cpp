#include "convert/export/EventWords.h"

#include <algorithm>
#include <charconv>

#include "trace/base/Record.h"

namespace marrowfin {

namespace {

void AppendNamed(const EventNaming& naming, Place place, std::string& out) {
  AppendPlace(place, " ", out);
  if (const std::string* const name = NameOfPlace(naming, place)) {
    out += " (" + OnOneLine(*name) + ")";
  }
}

}  // namespace

void AppendNumber(uint64_t number, std::string& out) {
  char digits[20];
  out.append(digits, std::to_chars(digits, digits + sizeof(digits), number).ptr);
}

void AppendPlace(Place place, const char* between, std::string& out) {
  AppendNumber(place.column, out);
  out += between;
  AppendNumber(place.row, out);
}

std::optional<Place> ClusterOf(const EventNaming& naming, const TraceEvent& event) {
  const bool known =
      event.type == SWITCH_RECORD && naming.shape && naming.shape->HasSwitch(event.at);
  return known ? std::optional(naming.shape->ClusterOfSwitch(event.at)) : std::nullopt;
}

const std::string* NameOfThread(const EventNaming& naming, uint32_t thread) {
  if (naming.about == nullptr) {
    return nullptr;
  }
  const auto found = naming.about->threads.find(thread);
  return found == naming.about->threads.end() ? nullptr : &found->second.name;
}

const std::string* NameOfPlace(const EventNaming& naming, Place place) {
  if (naming.about == nullptr) {
    return nullptr;
  }
  const auto found = naming.about->places.find(place);
  return found == naming.about->places.end() ? nullptr : &found->second;
}

bool HasThreadNames(const EventNaming& naming) {
  return naming.about != nullptr && !naming.about->threads.empty();
}

bool HasPlaceNames(const EventNaming& naming) {
  return naming.about != nullptr && !naming.about->places.empty();
}

std::span<const NoteAttribute> Attributes(const EventNaming& naming) {
  return naming.notes == nullptr ? std::span<const NoteAttribute>()
                                 : std::span<const NoteAttribute>(naming.notes->attributes);
}

std::string OnOneLine(std::string name) {
  std::replace_if(
      name.begin(), name.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
  return name;
}

void AppendEvent(const EventNaming& naming, const TraceEvent& event, std::string& out) {
  if (event.type == FIRE_RECORD) {
    out += "element ";
    AppendNamed(naming, event.at, out);
  } else if (event.type == SEND_RECORD) {
    out += "message ";
    AppendNamed(naming, event.at, out);
    out += " to ";
    AppendNamed(naming, event.to, out);
  } else {
    out += "switch ";
    if (const std::optional<Place> cluster = ClusterOf(naming, event)) {
      out += "of cluster ";
      AppendPlace(*cluster, " ", out);
      out += ' ';
    }
    out += "at ";
    AppendPlace(event.at, " ", out);
  }
}

}  // namespace marrowfin
