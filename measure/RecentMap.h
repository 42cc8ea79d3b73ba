#ifndef MEASURE_RECENTMAP_H
#define MEASURE_RECENTMAP_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <unordered_map>
#include <utility>

namespace marrowfin {

// A map by number that forgets what was put long ago, so that its memory is bounded. It has two
// ages, and the older is dropped as a whole: to know which single entry is oldest would take a list
// beside it. Threads: one at a time.
template <class Value>
class RecentMap {
 public:
  // Keeps at least so many of those that were put last.
  explicit RecentMap(size_t most) : most(most) {}

  void Put(uint64_t key, const Value& value) {
    if (young.size() >= most && young.count(key) == 0) {
      old = std::exchange(young, {});
    }
    young[key] = value;
  }

  std::optional<Value> Find(uint64_t key) const {
    for (const auto* age : {&young, &old}) {
      if (const auto found = age->find(key); found != age->end()) {
        return found->second;
      }
    }
    return std::nullopt;
  }

 private:
  size_t most;
  std::unordered_map<uint64_t, Value> young;
  std::unordered_map<uint64_t, Value> old;
};

}  // namespace marrowfin

#endif
