#include "measure/ChainPath.h"

#include <algorithm>
#include <map>
#include <optional>
#include <tuple>

namespace marrowfin {
namespace {

constexpr uint64_t PARTS = 4000;     // of the time
constexpr uint64_t PIECE = 1 << 14;  // steps that are looked at at a time

// Gathers a path from its end.
class Gatherer {
 public:
  Gatherer(const CausalChain& chain, const ArrayShape& shape, Level level)
      : chain(chain),
        shape(shape),
        level(level),
        part((chain.lastTime - chain.firstTime) / PARTS + 1) {}

  void Add(const ChainStep& step) {
    // A switch is no place of an element.
    if (step.event.type == SWITCH_RECORD || !shape.HasElement(step.event.at)) {
      return;
    }
    const ChainStop stop = {step.time, step.event.at};
    Move(stop.at);
    const bool isSame = !path.stops.empty() && path.stops.back().at == stop.at &&
                        PartOf(path.stops.back()) == PartOf(stop);
    if (isSame && path.stops.size() > 1) {
      path.stops.back() = stop;
    } else {
      path.stops.push_back(stop);
    }
  }

  ChainPath Take() {
    std::reverse(path.stops.begin(), path.stops.end());
    for (const auto& [ends, times] : moves) {
      const auto& [fromRow, fromColumn, toRow, toColumn] = ends;
      path.moves.push_back({{fromColumn, fromRow}, {toColumn, toRow}, times});
    }
    return std::move(path);
  }

 private:
  uint64_t PartOf(const ChainStop& stop) const { return (stop.time - chain.firstTime) / part; }

  void Move(Place at) {
    const Place from = UnitOf(shape, level, at);
    if (next && !(*next == from)) {
      ++moves[{from.row, from.column, next->row, next->column}];
    }
    next = from;
  }

  const CausalChain& chain;
  const ArrayShape& shape;
  Level level;
  uint64_t part;
  std::optional<Place> next;  // where the chain goes on
  std::map<std::tuple<uint32_t, uint32_t, uint32_t, uint32_t>, uint64_t> moves;
  ChainPath path;
};

}  // namespace

Result<ChainPath> PathOf(const Causes& causes, const CausalChain& chain, const ArrayShape& shape,
                         Level level, const ProgressCallback& progress) {
  Gatherer gatherer(chain, shape, level);
  for (std::optional<uint64_t> last = chain.last; last;) {
    const Result<std::vector<ChainStep>> steps = StepsOf(causes, chain, *last, PIECE, progress);
    if (!steps) {
      return steps.Why();
    }
    for (auto step = steps->rbegin(); step != steps->rend(); ++step) {
      gatherer.Add(*step);
    }
    last = chain.records.Before(steps->front().event.record);
  }
  return gatherer.Take();
}

}  // namespace marrowfin
