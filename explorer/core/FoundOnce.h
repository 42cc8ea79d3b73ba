#ifndef EXPLORER_CORE_FOUNDONCE_H
#define EXPLORER_CORE_FOUNDONCE_H

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <utility>

#include "trace/base/Progress.h"
#include "trace/base/Result.h"

namespace marrowfin {

// What takes going through a trace, kept by what was asked. It is found once: whoever asks for what
// somebody is finding just now waits for that, until `progress` tells that nobody wants his answer
// any more; where the finder fails or is cancelled, one of those who wait finds it himself.
//
// What was used longest ago goes before another one is found, so that there are never more than
// `kept` and those that are being found. Any number of threads may ask; `find` is called in the
// thread that asks, and must not ask here again.
template <class Key, class Value>
class FoundOnce {
 public:
  typedef std::shared_ptr<const Value> Found;
  typedef std::function<Result<Found>()> FindFunction;

  // How many are kept, and how many may be found at a time.
  FoundOnce(size_t kept, size_t atOnce) : mostKept(kept), mostAtOnce(atOnce) {}
  FoundOnce(const FoundOnce&) = delete;
  FoundOnce& operator=(const FoundOnce&) = delete;

  [[nodiscard]] Result<Found> Get(const Key& key, const ProgressCallback& progress,
                                  const FindFunction& find) {
    constexpr std::chrono::milliseconds LOOK(20);
    std::unique_lock lock(mutex);
    for (;;) {
      if (Found found = Kept(key)) {
        return found;
      }
      if (CanFind(key)) {
        break;
      }
      changed.wait_for(lock, LOOK);
      lock.unlock();
      if (progress && !progress({})) {
        return CancelledFault("");
      }
      lock.lock();
    }
    while (!all.empty() && all.size() >= mostKept) {
      all.pop_back();
    }
    finding.push_back(key);
    lock.unlock();
    const Finding mine(*this, key);
    Result<Found> found = find();
    if (found) {
      Keep(key, *found);
    }
    return found;
  }

 private:
  // Tells those who wait that the finder is done, however he ends.
  class Finding {
   public:
    Finding(FoundOnce& of, const Key& key) : of(of), key(key) {}
    Finding(const Finding&) = delete;
    Finding& operator=(const Finding&) = delete;
    ~Finding() {
      {
        const std::lock_guard lock(of.mutex);
        of.finding.erase(std::find(of.finding.begin(), of.finding.end(), key));
      }
      of.changed.notify_all();
    }

   private:
    FoundOnce& of;
    const Key& key;
  };

  bool CanFind(const Key& key) const {
    return finding.size() < mostAtOnce &&
           std::find(finding.begin(), finding.end(), key) == finding.end();
  }

  Found Kept(const Key& key) {
    const auto found =
        std::find_if(all.begin(), all.end(), [&](const auto& one) { return one.first == key; });
    if (found == all.end()) {
      return nullptr;
    }
    all.splice(all.begin(), all, found);
    return found->second;
  }

  void Keep(const Key& key, const Found& found) {
    const std::lock_guard lock(mutex);
    all.emplace_front(key, found);
    if (all.size() > mostKept) {
      all.pop_back();
    }
  }

  const size_t mostKept;
  const size_t mostAtOnce;
  std::mutex mutex;
  std::condition_variable changed;
  std::list<std::pair<Key, Found>> all;  // the one used last in front
  std::list<Key> finding;
};

}  // namespace marrowfin

#endif
