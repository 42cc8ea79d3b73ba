#ifndef MEASURE_GROUPDIFF_H
#define MEASURE_GROUPDIFF_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "measure/CountGroups.h"
#include "measure/RunDiff.h"

namespace marrowfin {

// What became of a group of events from one run to another.
struct GroupChange {
  std::optional<uint64_t> value;  // in the run that has it, A where both have; nothing of events
                                  // without a value, which are called "none"
  std::string name;               // empty where the value has none
  std::vector<Change> changes;    // of every measure of groups, always the same ones

  // By how much its events are more or fewer.
  double EventsMoved() const;
};

struct GroupedChanges {
  std::string by;  // as GroupedTraffic
  std::vector<GroupChange> groups;
};

// The changes under each grouping that both runs were counted by, in the order of A. Groups are the
// same where their names are, or, without names, their values; several of one name in their order.
// One that a run lacks had no events there, or is left out where it may be among what the run's
// groups do not tell apart (GroupedTraffic::others), which cannot be held against anything.
std::vector<GroupedChanges> GroupChangesOf(const std::vector<GroupedTraffic>& a,
                                           const std::vector<GroupedTraffic>& b);

}  // namespace marrowfin

#endif
