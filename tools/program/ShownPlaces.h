#ifndef TOOLS_PROGRAM_SHOWNPLACES_H
#define TOOLS_PROGRAM_SHOWNPLACES_H

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

#include "convert/export/EventLines.h"
#include "tools/program/NotesInput.h"
#include "tools/program/Subcommand.h"
#include "tools/program/TraceInput.h"
#include "trace/ask/ArrayState.h"
#include "trace/ask/EventFilter.h"
#include "trace/ask/Region.h"
#include "trace/base/Fault.h"
#include "trace/base/Result.h"
#include "trace/read/NotesFile.h"

namespace marrowfin {

// A piece or a message that a state shows, with the event that it shows.
struct ShownPlace {
  TraceEvent event;
  uint64_t age = 0;    // steps since then
  bool rests = false;  // whether it may be more: colours that have come to rest tell it no more
  Color color;
  std::string kind;  // what is noted of the event; empty where nothing is
};

// What is to be told of a state.
struct PlacesQuestion {
  IndexedTrace& trace;
  const NotesFile* notes;  // null where there are none
  const ArrayState& state;
  Region region;
  uint64_t lastCycle;  // up to which events were applied
  const Console& console;
};

// Elements, switches and messages, in this order; of messages those with an end in the region.
[[nodiscard]] Result<NotedAnswer<std::vector<ShownPlace>>> FindShownPlaces(
    const PlacesQuestion& question);

// A line for each, in columns below their titles.
void PrintPlaces(const std::vector<ShownPlace>& places, const EventNaming& naming,
                 std::ostream& out);

// A JSON list of objects.
void PrintPlacesAsJson(const std::vector<ShownPlace>& places, const EventNaming& naming,
                       std::ostream& out);

}  // namespace marrowfin

#endif
