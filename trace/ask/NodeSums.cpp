#include "trace/ask/NodeSums.h"

namespace marrowfin {

// What counts of a node. Nodes are few and asked for again and again.
Result<uint64_t> NodeSums::OfNode(size_t b, Activity activity) {
  const uint64_t key = b * ACTIVITIES + activity;
  if (const auto found = known.find(key); found != known.end()) {
    return found->second;
  }
  const Result<uint64_t> sum =
      activity == TRANSMISSIONS    ? index.SumCounters(b, activity, transmitters)
      : activity == THREAD_RECORDS ? index.SumCounters(b, activity, counters)
                                   : index.SumNode(b, activity, region.first, region.last);
  if (!sum) {
    return sum.Why();
  }
  known.emplace(key, *sum);
  return *sum;
}

// The nodes of both boundaries that are not common to both: their prefixes share the rest.
Result<uint64_t> NodeSums::Between(size_t from, size_t to, Activity activity) {
  uint64_t sum = 0;
  while (from != to) {
    const bool add = to > from;
    size_t& node = add ? to : from;
    const Result<uint64_t> part = OfNode(node, activity);
    if (!part) {
      return part.Why();
    }
    sum += add ? *part : ~*part + 1;
    node &= node - 1;
  }
  return sum;
}

std::vector<size_t> SwitchesIn(const Summary& summary, const Region& region) {
  std::vector<size_t> found;
  for (size_t slot = 0; slot < summary.switchPlaces.size(); ++slot) {
    if (region.Has(summary.switchPlaces[slot])) {
      found.push_back(slot);
    }
  }
  return found;
}

std::vector<size_t> CountersOfType(const Summary& summary, uint32_t recordType) {
  std::vector<size_t> found;
  for (size_t slot = 0; slot < summary.ThreadSlots(); ++slot) {
    found.push_back(slot * RECORD_TYPES + recordType - SWITCH_RECORD);
  }
  return found;
}

}  // namespace marrowfin
