#include "sim/Remedy.h"

#include <algorithm>

#include "Util/AppendFormat.h"

namespace marrowfin::sim {

namespace {

// The most operations that any processing element has.
uint32 LargestLoad(const Placement& placement, const Shape& shape) {
  std::vector<uint32> loads(shape.PeCount());
  for (const uint32 pe : placement) {
    ++loads[pe];
  }
  return *std::max_element(loads.begin(), loads.end());
}

// The operations that a processing element has to hold for the program to be placed; 0 where no
// operand buffer is large enough.
uint32 CapacityNeeded(const Array& array, uint32 threads, uint32 share,
                      const std::function<Placement(uint32)>& place) {
  const uint32 now = array.PeCapacity(threads);
  if (!place(now).empty()) {
    return now;
  }
  const unsigned long long most = Array::MOST_ENTRIES / array.EntriesOfOperation(threads);
  const Placement placement = place(static_cast<uint32>(most));
  // With no more room than this placement takes, the policy finds it again, or one before it.
  return placement.empty() ? 0 : std::max(LargestLoad(placement, array.GetShape()), share);
}

}  // namespace

std::string RemedyFor(const Array& array, const Graph& graph, uint32 threads, uint32 share,
                      const std::function<Placement(uint32)>& place) {
  const uint32 capacity = CapacityNeeded(array, threads, share, place);
  const Settings& settings = array.GetSettings();
  std::string text;
  if (capacity == 0) {
    AppendFormat(
        text,
        "no operand buffer would do for these -threads and this -array/window: lower them, "
        "or give the array more processing elements");
    return text;
  }
  const unsigned long long words = array.MemoryNeed(graph, place(capacity), threads);
  if (words > Array::MOST_WORDS) {
    return "no memory would do for these -threads: lower them, or give the array more clusters";
  }
  const unsigned long long entries = capacity * array.EntriesOfOperation(threads);
  if (entries > settings.operandBuffer) {
    AppendFormat(text, "-array/operandBuffer %llu ", entries);
  }
  if (words > settings.memoryWords) {
    AppendFormat(text, "-array/memoryWords %llu ", words);
  }
  return text + "would do";
}

}  // namespace marrowfin::sim
