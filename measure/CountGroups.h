#ifndef MEASURE_COUNTGROUPS_H
#define MEASURE_COUNTGROUPS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "measure/Distribution.h"
#include "measure/Timeline.h"
#include "trace/ask/EventFilter.h"
#include "trace/ask/NoteCondition.h"
#include "trace/ask/NotesOfTrace.h"
#include "trace/base/About.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/index/Index.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// What a group of events did: those of a thread, or with the same value of a named attribute.
struct GroupTraffic {
  uint64_t value = 0;
  std::string name;  // of the value; empty where it has none
  uint64_t fires = 0;
  uint64_t sends = 0;
  uint64_t transmissions = 0;
  ValueCounts distances;   // of its messages: columns and rows between their ends
  ValueCounts sendToFire;  // cycles from each of its messages to the fires that consumed it
  ValueCounts latencies;   // of the packets that entered with one of its events

  uint64_t Events() const { return fires + sends + transmissions; }
};

// The events of a run in groups.
struct GroupedTraffic {
  // Groups that are told apart, those that come first in the trace.
  static constexpr size_t MOST_GROUPS = 256;

  std::string by;                    // THREAD, or the name of an attribute
  std::vector<GroupTraffic> groups;  // by value, ascending
  GroupTraffic others;               // all that are not told apart
  GroupTraffic without;              // events without a value
};

struct GroupQuestion {
  static constexpr char THREAD[] = "thread";
  static constexpr size_t MOST = 4;

  EventFilter filter;

  // By what: THREAD, or attributes of the type NAME; at most MOST.
  std::vector<std::string> by;

  bool packets = false;            // whether there are any to follow
  bool packetsAreThreads = false;  // and whether each thread is one, else the notes tell them

  // What notes of the events must meet as well: of pairs those of the message, of packets those of
  // the event with which they entered.
  std::vector<NoteCondition> conditions = {};
};

// Gives threads the names that the run gave them; `about` may be null.
void NameThreads(const About* about, std::vector<GroupedTraffic>& groups);

// All messages of a grouping from their sends to the fires that consumed them.
ValueCounts SendToFireOf(const GroupedTraffic& grouped);

// The threads, and all named attributes of the notes, as far as MOST goes: by what a run can be
// told. Without notes by threads.
std::vector<std::string> GroupingsOf(const NotesOfTrace* notes);

// Counts the events that a filter lets through by group, in one pass; `notes` is null where there
// are none. Times from sends to fires are counted where notes tell what fires consumed, and both
// ends are in what was asked for; of messages that were consumed more than a million messages later
// they are not known.
//
// OUT_OF_RANGE where the notes have no named attribute that is asked for; other faults where the
// trace cannot be read, or `progress`, which counts records, asked to stop.
[[nodiscard]] Result<std::vector<GroupedTraffic>> CountGroups(
    const TraceSource& trace, const Index& index, NotesOfTrace* notes,
    const GroupQuestion& question, const ProgressCallback& progress = {});

}  // namespace marrowfin

#endif
