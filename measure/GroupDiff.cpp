#include "measure/GroupDiff.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

namespace marrowfin {
namespace {

constexpr char WITHOUT[] = "none";
constexpr size_t COUNTS = 3;  // the first changes of a group: of its fires, sends, transmissions

std::vector<Change> ChangesOfGroup(const GroupTraffic& a, const GroupTraffic& b) {
  const auto count = [](uint64_t number) { return static_cast<double>(number); };
  std::vector<Change> changes = {
      {"fires", "fires", Quantity::COUNT, count(a.fires), count(b.fires)},
      {"sends", "messages", Quantity::COUNT, count(a.sends), count(b.sends)},
      {"transmissions", "transmissions", Quantity::COUNT, count(a.transmissions),
       count(b.transmissions)}};
  AddValueChanges("distance", "distance", Quantity::COUNT, a.distances, b.distances, changes);
  AddValueChanges("sendToFire", "from send to fire", Quantity::CYCLES, a.sendToFire, b.sendToFire,
                  changes);
  AddValueChanges("latency", "latency", Quantity::CYCLES, a.latencies, b.latencies, changes);
  return changes;
}

// By which groups of two runs are the same: a name, or a value without one.
typedef std::pair<std::string, uint64_t> Key;

Key KeyOf(const GroupTraffic& group) { return {group.name, group.name.empty() ? group.value : 0}; }

GroupedChanges Between(const GroupedTraffic& a, const GroupedTraffic& b) {
  std::map<Key, const GroupTraffic*> ofB;
  for (const GroupTraffic& group : b.groups) {
    ofB.emplace(KeyOf(group), &group);
  }
  const GroupTraffic none;
  GroupedChanges changes = {a.by, {}};
  for (const GroupTraffic& group : a.groups) {
    const auto found = ofB.find(KeyOf(group));
    const GroupTraffic& other = found == ofB.end() ? none : *found->second;
    changes.groups.push_back({group.value, group.name, ChangesOfGroup(group, other)});
    if (found != ofB.end()) {
      ofB.erase(found);
    }
  }
  for (const GroupTraffic& group : b.groups) {
    if (ofB.count(KeyOf(group)) > 0) {
      changes.groups.push_back({group.value, group.name, ChangesOfGroup(none, group)});
    }
  }
  if (a.without.Events() + b.without.Events() > 0) {
    changes.groups.push_back({std::nullopt, WITHOUT, ChangesOfGroup(a.without, b.without)});
  }
  return changes;
}

}  // namespace

double GroupChange::EventsMoved() const {
  double moved = 0;
  for (size_t i = 0; i < COUNTS; ++i) {
    moved += std::abs(changes[i].Difference().value_or(0));
  }
  return moved;
}

std::vector<GroupedChanges> GroupChangesOf(const std::vector<GroupedTraffic>& a,
                                           const std::vector<GroupedTraffic>& b) {
  std::vector<GroupedChanges> all;
  for (const GroupedTraffic& grouped : a) {
    const auto same = std::find_if(
        b.begin(), b.end(), [&](const GroupedTraffic& other) { return other.by == grouped.by; });
    if (same != b.end()) {
      all.push_back(Between(grouped, *same));
    }
  }
  return all;
}

}  // namespace marrowfin
