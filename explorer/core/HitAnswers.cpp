// Where over time the events of a filter are.

#include <algorithm>
#include <utility>

#include "explorer/core/Answers.h"
#include "explorer/core/AskedFilter.h"
#include "trace/ask/TimeBins.h"
#include "trace/ask/Walk.h"

namespace marrowfin {
namespace {

// After so many events of one bin it is quicker to look for the next bin than to go on.
constexpr size_t MANY = 256;

// Bins of cycles, and in which of them was something.
class HitBins {
 public:
  explicit HitBins(std::vector<uint64_t> theFirsts)
      : firsts(std::move(theFirsts)), hits(firsts.size()) {}

  // Takes an event; returns how many have come of its bin since another one had any.
  size_t Add(uint64_t cycle) {
    const auto behind = std::upper_bound(firsts.begin(), firsts.end(), cycle);
    const auto bin = static_cast<size_t>(behind - firsts.begin()) - 1;
    inRow = bin == last ? inRow + 1 : 1;
    last = bin;
    hits[bin] = 1;
    return inRow;
  }

  // The first cycle behind the bin of the last event; nothing where it is the last bin.
  std::optional<uint64_t> NextFirst() const {
    return last + 1 < firsts.size() ? std::optional(firsts[last + 1]) : std::nullopt;
  }

  void Put(AnswerBytes& answer) const {
    answer.Column("first", firsts);
    answer.Column("hit", hits);
  }

 private:
  std::vector<uint64_t> firsts;
  std::vector<uint8_t> hits;
  size_t last = 0;
  size_t inRow = 0;
};

// Of a trace in order of cycles, what is left of a bin that has many events is passed over.
MaybeRefusal MarkHits(const Asking& asking, const AskedFilter& filter, HitBins& bins) {
  const bool ordered = asking.GetSummary().Ordered();
  for (std::optional<uint64_t> from = 0; from;) {
    bool passes = false;
    const MaybeRefusal refusal =
        WalkEvents(asking, filter, *from, false, [&](const Selection& found, size_t i) {
          passes = bins.Add(found.columns->cycle[found.rows[i]]) >= MANY && ordered;
          return !passes;
        });
    if (refusal) {
      return refusal;
    }
    from.reset();
    const std::optional<uint64_t> next = passes ? bins.NextFirst() : std::nullopt;
    if (next) {
      const Result<uint64_t> record =
          FindCycle(asking.Trace(), asking.index, *next, asking.progress);
      if (!record) {
        return RefusalOf(record.Why());
      }
      from = *record;
    }
  }
  return std::nullopt;
}

}  // namespace

MaybeRefusal AnswerHits(Asking& asking, AnswerBytes& answer) {
  const ArrayShape shape = TakeShape(asking);
  AskedFilter filter = TakeFilter(asking, shape);
  const AskedCycles cycles = TakeCycles(asking.members);
  const size_t count = TakeBins(asking.members);
  if (MaybeRefusal refusal = asking.Check()) {
    return refusal;
  }
  filter.events.firstCycle = std::max(filter.events.firstCycle, cycles.first);
  filter.events.lastCycle = std::min(filter.events.lastCycle, cycles.last);
  HitBins bins(FirstsOf(EqualBins(cycles.first, cycles.last, count)).first);
  const bool isEmpty = filter.events.firstCycle > filter.events.lastCycle;
  if (MaybeRefusal refusal = isEmpty ? std::nullopt : MarkHits(asking, filter, bins)) {
    return refusal;
  }
  answer.Head().Key("last").Wide(cycles.last);
  bins.Put(answer);
  return std::nullopt;
}

}  // namespace marrowfin
