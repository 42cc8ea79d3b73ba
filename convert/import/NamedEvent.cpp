#include "convert/import/NamedEvent.h"

#include <algorithm>

#include "convert/import/Refusal.h"
#include "trace/base/TypeNames.h"
#include "trace/base/Utf8.h"

namespace marrowfin {
namespace {

constexpr const char* KNOWN[EVENT_PARTS] = {"cycle", "thread",   "type",  "column",
                                            "row",   "toColumn", "toRow", "threadName",
                                            "place", "toPlace",  "record"};

}  // namespace

Fault EventPartNames::Take(const StreamOptions& options, const std::string& input) {
  std::copy(std::begin(KNOWN), std::end(KNOWN), names.begin());
  for (const auto& [known, theirs] : options.names) {
    const auto* const part = std::find(std::begin(KNOWN), std::end(KNOWN), known);
    if (part == std::end(KNOWN)) {
      return Refusal(input, "no event has a " + known,
                     "there are cycle, thread, type, column, row, toColumn, toRow, threadName, "
                     "place and toPlace");
    }
    names[static_cast<size_t>(part - KNOWN)] = theirs;
  }
  return {};
}

EventPart EventPartNames::PartOf(std::string_view name) const {
  return static_cast<EventPart>(std::find(names.begin(), names.end(), name) - names.begin());
}

std::string NamedEvent::Finish(const EventPartNames& names, StreamEvent& event,
                               SkipReason& reason) const {
  const auto is = [this](uint32_t code) { return type == RecordTypeName(code); };
  const bool isSend = type.empty() ? numbers[PART_TO_COLUMN].has_value() : is(SEND_RECORD);
  if (!type.empty() && !is(SEND_RECORD) && !is(FIRE_RECORD) && !is(SWITCH_RECORD)) {
    reason = SKIP_UNKNOWN_TYPE;
    return "a " + names.NameOf(PART_TYPE) + " that is not known";
  }
  event = StreamEvent();
  event.type = isSend ? SEND_RECORD : is(SWITCH_RECORD) ? SWITCH_RECORD : FIRE_RECORD;
  uint32_t words[PART_TO_ROW + 1] = {};
  for (const EventPart part :
       {PART_CYCLE, PART_THREAD, PART_COLUMN, PART_ROW, PART_TO_COLUMN, PART_TO_ROW}) {
    const bool isWanted = isSend || (part != PART_TO_COLUMN && part != PART_TO_ROW);
    const std::string& name = names.NameOf(part);
    if (odd[part] || (isWanted && part != PART_CYCLE && numbers[part].value_or(0) >> 32 != 0)) {
      reason = SKIP_ODD_VALUE;
      return "a " + name + " that is no such number";
    }
    if (isWanted && part != PART_THREAD && !numbers[part]) {
      reason = SKIP_INCOMPLETE;
      return "there is no " + name;
    }
    words[part] = static_cast<uint32_t>(numbers[part].value_or(0));
  }
  event.cycle = *numbers[PART_CYCLE];
  event.thread = words[PART_THREAD];
  event.at = {words[PART_COLUMN], words[PART_ROW]};
  if (isSend) {
    event.to = {words[PART_TO_COLUMN], words[PART_TO_ROW]};
  }
  return "";
}

void FoundNames::AddThread(uint32_t thread, std::string_view name) {
  if (!name.empty() && name.size() <= LONGEST && threads.size() < MOST) {
    threads.try_emplace(thread, AboutThread{AsUtf8(name), ""});
  }
}

void FoundNames::AddPlace(Place place, std::string_view name) {
  if (!name.empty() && name.size() <= LONGEST && places.size() < MOST) {
    places.try_emplace(place, AsUtf8(name));
  }
}

void FoundNames::Describe(About& about) const {
  about.threads.insert(threads.begin(), threads.end());
  about.places.insert(places.begin(), places.end());
}

}  // namespace marrowfin
