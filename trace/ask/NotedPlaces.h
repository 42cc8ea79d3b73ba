#ifndef TRACE_ASK_NOTEDPLACES_H
#define TRACE_ASK_NOTEDPLACES_H

#include <cstdint>
#include <map>

#include "trace/ask/NotedCursor.h"
#include "trace/ask/NotesOfTrace.h"
#include "trace/base/About.h"
#include "trace/base/Place.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/index/Index.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

typedef std::map<Place, uint64_t, InRowOrder> EventsAtPlaces;

// How many of the events that a filter lets through each place has: where they fired or
// transmitted, and of sends the sender. Where an element spent its time waiting is
// `kind=wait`. Reads what NotedCursor reads, and has its faults; memory follows the places. `notes`
// serves one thread at a time.
[[nodiscard]] Result<EventsAtPlaces> CountAtPlaces(const TraceSource& trace, const Index& index,
                                                   NotesOfTrace& notes, const NotedFilter& filter,
                                                   const ProgressCallback& progress = {});

}  // namespace marrowfin

#endif
