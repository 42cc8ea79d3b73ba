#ifndef CONVERT_IMPORT_NAMEDEVENT_H
#define CONVERT_IMPORT_NAMEDEVENT_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "convert/import/EventStream.h"
#include "trace/base/About.h"

namespace marrowfin {

// What lines of events call their parts: the names that `events` and `export` write, unless the
// user tells others.
enum EventPart {
  PART_CYCLE,
  PART_THREAD,
  PART_TYPE,
  PART_COLUMN,
  PART_ROW,
  PART_TO_COLUMN,
  PART_TO_ROW,
  PART_THREAD_NAME,
  PART_PLACE,
  PART_TO_PLACE,
  PART_RECORD,  // which says nothing: records are numbered as they come
  EVENT_PARTS
};

class EventPartNames {
 public:
  // A refusal of names that are none of these.
  [[nodiscard]] Fault Take(const StreamOptions& options, const std::string& input);

  // The part of that name; EVENT_PARTS for another.
  EventPart PartOf(std::string_view name) const;
  const std::string& NameOf(EventPart part) const { return names[part]; }

 private:
  std::array<std::string, EVENT_PARTS> names;
};

// An event while its parts come in, as texts or numbers.
struct NamedEvent {
  std::array<std::optional<uint64_t>, PART_TO_ROW + 1> numbers;  // without the type
  std::array<bool, PART_TO_ROW + 1> odd = {};                    // given, and no such number
  std::string type;

  // Makes the event of them. Or tells what is wrong, and why it is to be skipped.
  std::string Finish(const EventPartNames& names, StreamEvent& event, SkipReason& reason) const;
};

// Gathers what lines call threads and places, for the companion.
class FoundNames {
 public:
  void AddThread(uint32_t thread, std::string_view name);
  void AddPlace(Place place, std::string_view name);
  void Describe(About& about) const;

 private:
  static constexpr size_t MOST = 65536;  // of each; those beyond go without
  static constexpr size_t LONGEST = 256;

  std::map<uint32_t, AboutThread> threads;
  std::map<Place, std::string, InRowOrder> places;
};

}  // namespace marrowfin

#endif
