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

// By which groups of two runs are the same: a name, and which of the groups of that name it is; or
// a value without a name.
typedef std::pair<std::string, uint64_t> Key;

std::vector<Key> KeysOf(const std::vector<GroupTraffic>& groups) {
  std::map<std::string, uint64_t> met;
  std::vector<Key> keys;
  for (const GroupTraffic& group : groups) {
    keys.emplace_back(group.name, group.name.empty() ? group.value : met[group.name]++);
  }
  return keys;
}

GroupedChanges Between(const GroupedTraffic& a, const GroupedTraffic& b) {
  const std::vector<Key> keysOfA = KeysOf(a.groups);
  const std::vector<Key> keysOfB = KeysOf(b.groups);
  std::map<Key, const GroupTraffic*> ofB;
  for (size_t i = 0; i < keysOfB.size(); ++i) {
    ofB[keysOfB[i]] = &b.groups[i];
  }
  const GroupTraffic none;
  GroupedChanges changes = {a.by, {}};
  const auto add = [&](const GroupTraffic& group, const GroupTraffic& inA,
                       const GroupTraffic& inB) {
    changes.groups.push_back({group.value, group.name, ChangesOfGroup(inA, inB)});
  };
  for (size_t i = 0; i < keysOfA.size(); ++i) {
    const auto found = ofB.find(keysOfA[i]);
    if (found != ofB.end()) {
      add(a.groups[i], a.groups[i], *found->second);
      ofB.erase(found);
    } else if (b.others.Events() == 0) {
      add(a.groups[i], a.groups[i], none);
    }
  }
  for (size_t i = 0; i < keysOfB.size(); ++i) {
    if (ofB.count(keysOfB[i]) > 0 && a.others.Events() == 0) {
      add(b.groups[i], none, b.groups[i]);
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
