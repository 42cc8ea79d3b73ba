#ifndef CONVERT_EXPORT_EVENTWORDS_H
#define CONVERT_EXPORT_EVENTWORDS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "convert/export/EventLines.h"
#include "trace/ask/EventFilter.h"
#include "trace/base/Place.h"

namespace marrowfin {

// What all forms of lists share.

void AppendNumber(uint64_t number, std::string& out);

// The column and the row.
void AppendPlace(Place place, const char* between, std::string& out);

// The cluster whose switch transmitted, where that is known.
std::optional<Place> ClusterOf(const EventNaming& naming, const TraceEvent& event);

// What the run called a thread or a position; null where it did not. Places of switches are no
// positions.
const std::string* NameOfThread(const EventNaming& naming, uint32_t thread);
const std::string* NameOfPlace(const EventNaming& naming, Place place);
bool HasThreadNames(const EventNaming& naming);
bool HasPlaceNames(const EventNaming& naming);

// A name on one line.
std::string OnOneLine(std::string name);

// The event in words: "element 7 2", "switch of cluster 0 0 at 4 4", "message 7 2 to 0 1", with
// what the run called the positions.
void AppendEvent(const EventNaming& naming, const TraceEvent& event, std::string& out);

// What is declared; empty where nothing is.
std::span<const NoteAttribute> Attributes(const EventNaming& naming);

}  // namespace marrowfin

#endif
