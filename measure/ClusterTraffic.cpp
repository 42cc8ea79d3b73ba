#include "measure/ClusterTraffic.h"

#include <algorithm>
#include <iterator>

namespace marrowfin {

std::vector<ClusterPair> TrafficOf(const RunCounts& counts) {
  const ArrayShape& shape = counts.Places().Shape();
  const std::vector<uint64_t>& traffic = counts.Traffic();
  const size_t clusters = shape.Switches();
  const auto place = [&](size_t number) {
    return Place{static_cast<uint32_t>(number % shape.clusters.columns),
                 static_cast<uint32_t>(number / shape.clusters.columns)};
  };
  std::vector<ClusterPair> pairs;
  for (size_t i = 0; i < traffic.size(); ++i) {
    if (traffic[i] > 0) {
      pairs.push_back({place(i / clusters), place(i % clusters), traffic[i]});
    }
  }
  return pairs;
}

std::vector<ClusterPair> BusiestBetween(const std::vector<ClusterPair>& pairs, size_t most) {
  std::vector<ClusterPair> busiest;
  std::copy_if(pairs.begin(), pairs.end(), std::back_inserter(busiest),
               [](const ClusterPair& pair) { return pair.from != pair.to; });
  std::stable_sort(busiest.begin(), busiest.end(), [](const ClusterPair& a, const ClusterPair& b) {
    return a.messages > b.messages;
  });
  busiest.resize(std::min(busiest.size(), most));
  return busiest;
}

uint64_t MessagesBetween(const std::vector<ClusterPair>& pairs) {
  uint64_t messages = 0;
  for (const ClusterPair& pair : pairs) {
    messages += pair.from != pair.to ? pair.messages : 0;
  }
  return messages;
}

}  // namespace marrowfin
