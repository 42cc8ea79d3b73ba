#include "trace/edit/MergedNotes.h"

#include <algorithm>
#include <utility>

namespace marrowfin {

// The attribute in all: the one of its name and type, else a new one, which has a number behind its
// name where an attribute of another type has that.
std::optional<uint32_t> MergedNotes::Place(const NoteAttribute& attribute) {
  std::string name = attribute.name;
  for (int count = 2;; ++count) {
    const std::optional<uint32_t> taken = all.Attribute(name);
    if (taken && all.attributes[*taken].type == attribute.type) {
      return taken;
    }
    if (!taken) {
      break;
    }
    name = attribute.name + " " + std::to_string(count);
  }
  if (all.attributes.size() == NOTES_MOST_ATTRIBUTES) {
    return std::nullopt;
  }
  all.attributes.push_back({attribute.type, name, attribute.unit, {}});
  return static_cast<uint32_t>(all.attributes.size() - 1);
}

std::map<uint64_t, uint64_t> MergedNotes::PlaceNames(const NoteAttribute& attribute,
                                                     uint32_t number) {
  std::map<uint64_t, std::string>& names = all.attributes[number].names;
  std::map<uint64_t, uint64_t> values;
  for (const auto& named : attribute.names) {
    const uint64_t value = named.first;
    const auto same = std::find_if(names.begin(), names.end(),
                                   [&](const auto& taken) { return taken.second == named.second; });
    if (same != names.end()) {
      values[value] = same->first;
      continue;
    }
    const uint64_t free =
        names.empty() || !names.contains(value) ? value : names.rbegin()->first + 1;
    names[free] = named.second;
    values[value] = free;
  }
  return values;
}

void MergedNotes::Add(const NoteDeclarations* declarations) {
  Of of;
  if (declarations != nullptr) {
    for (const NoteAttribute& attribute : declarations->attributes) {
      const std::optional<uint32_t> number = Place(attribute);
      of.attributes.push_back(number);
      of.values.push_back(number ? PlaceNames(attribute, *number) : std::map<uint64_t, uint64_t>());
    }
    for (const NoteCounter& counter : declarations->counters) {
      std::optional<uint32_t> number = all.Counter(counter.name);
      if (!number && all.counters.size() < NOTES_MOST_COUNTERS) {
        number = static_cast<uint32_t>(all.counters.size());
        all.counters.push_back(counter);
      }
      of.counters.push_back(number);
    }
  }
  traces.push_back(std::move(of));
}

std::optional<uint64_t> MergedNotes::Value(size_t trace, uint32_t attribute, uint64_t value) const {
  const Of& of = traces[trace];
  const std::optional<uint32_t> number = of.attributes[attribute];
  if (!number || all.attributes[*number].type != NoteType::NAME) {
    return value;
  }
  const auto named = of.values[attribute].find(value);
  if (named != of.values[attribute].end()) {
    return named->second;
  }
  return all.attributes[*number].names.contains(value) ? std::nullopt : std::optional(value);
}

}  // namespace marrowfin
