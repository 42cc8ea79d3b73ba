#include "measure/CausalChain.h"

#include <algorithm>
#include <map>
#include <tuple>
#include <utility>

#include "measure/Pace.h"

namespace marrowfin {
namespace {

// Time by place, while it is gathered.
class Places {
 public:
  explicit Places(const ArrayShape& shape) : shape(shape) {}

  void Add(const TraceEvent& event, const TimeSplit& time) {
    const bool isSwitch = event.type == SWITCH_RECORD;
    const Place at =
        isSwitch && shape.HasSwitch(event.at) ? shape.ClusterOfSwitch(event.at) : event.at;
    const auto [found, isNew] = numbers.try_emplace({isSwitch, at.row, at.column}, places.size());
    if (isNew) {
      places.push_back({isSwitch, at, {}});
    }
    places[found->second].time.Add(time);
  }

  std::vector<ChainPlace> Take() { return std::move(places); }

 private:
  const ArrayShape& shape;
  std::map<std::tuple<bool, uint32_t, uint32_t>, size_t> numbers;
  std::vector<ChainPlace> places;
};

void Count(const TraceEvent& event, CausalChain& chain) {
  (event.type == FIRE_RECORD   ? chain.fires
   : event.type == SEND_RECORD ? chain.messages
                               : chain.transmissions) += 1;
}

// Of messages on the way, the one that took longest; of equally long ones the earlier.
void TakeMessage(const Binding& step, CausalChain& chain) {
  if (!step.isWork && step.since.Sum() >= std::max<uint64_t>(chain.longestMessage, 1)) {
    chain.longestMessage = step.since.Sum();
    chain.longestMessageRecord = step.cause;
  }
}

void SortByTime(std::vector<ChainPlace>& places) {
  std::sort(places.begin(), places.end(), [](const ChainPlace& a, const ChainPlace& b) {
    return std::tuple(b.time.Sum(), a.isSwitch, a.at.row, a.at.column) <
           std::tuple(a.time.Sum(), b.isSwitch, b.at.row, b.at.column);
  });
}

}  // namespace

Result<BindingFinder::Known> BindingFinder::Know(uint64_t cause) {
  size_t row;
  const TimedBatch* const batch = records.Hold(cause, row);
  if (batch == nullptr) {
    return records.GetFault();
  }
  const Columns& columns = batch->columns;
  const uint32_t type = columns.tag[row].type;
  const uint32_t work = type == FIRE_RECORD ? works.Read(cause).work : 0;
  const uint32_t eventClass = causes.least.ClassOf(type, work, columns.at[row], columns.to[row]);
  return Known{batch->time[row], causes.least.Of(eventClass), LeastTimes::IsWork(eventClass)};
}

Result<uint64_t> BindingFinder::ReadyAt(uint64_t cause) {
  const Result<Known> known = Know(cause);
  if (!known) {
    return known.Why();
  }
  return known->time + known->least;
}

Result<std::optional<Binding>> BindingFinder::Of(const CausalGraph::Node& node, uint64_t time) {
  std::optional<Binding> binding;
  uint64_t latest = 0;
  for (const uint64_t cause : node.causes) {
    const Result<Known> known = Know(cause);
    if (!known) {
      return known.Why();
    }
    const uint64_t ready = known->time + known->least;
    if (binding && (ready < latest || (ready == latest && cause < binding->cause))) {
      continue;
    }
    latest = ready;
    const uint64_t took = time - known->time;
    const uint64_t least = std::min(took, known->least);
    binding = Binding{
        cause, known->isWork, {known->isWork ? least : 0, known->isWork ? 0 : least, took - least}};
  }
  return binding;
}

Result<CausalChain> FindChain(const Causes& causes, const ArrayShape& shape, uint64_t record,
                              const ProgressCallback& progress) {
  CausalChain chain;
  chain.records = RecordSet(causes.graph.Records());
  chain.last = record;
  BindingFinder finder(causes);
  Places places(shape);
  Pace pace(progress, record);
  for (uint64_t current = record;;) {
    const Result<TimedRecords::Timed> timed = finder.Records().Read(current);
    if (!timed) {
      return timed.Why();
    }
    chain.records.Add(current);
    Count(timed->event, chain);
    chain.first = current;
    chain.firstTime = timed->time;
    chain.lastTime = current == record ? timed->time : chain.lastTime;
    const CausalGraph::Node node = finder.Node(current);
    const Result<std::optional<Binding>> binding = finder.Of(node, timed->time);
    if (!binding) {
      return binding.Why();
    }
    if (!*binding) {
      break;
    }
    const Binding& step = **binding;
    TakeMessage(step, chain);
    chain.inferred += node.evidence == Evidence::INFERRED ? 1 : 0;
    chain.time.Add(step.since);
    places.Add(timed->event, step.since);
    current = step.cause;
    if (!pace.GoOn(record - current)) {
      return CancelledFault(causes.trace.Source().Name());
    }
  }
  chain.places = places.Take();
  return chain;
}

Result<std::vector<ChainStep>> StepsOf(const Causes& causes, const CausalChain& chain,
                                       uint64_t last, uint64_t most,
                                       const ProgressCallback& progress) {
  std::vector<ChainStep> steps;
  Pace pace(progress, chain.last);
  BindingFinder finder(causes);
  std::optional<uint64_t> record = last;
  for (; record && steps.size() < most; record = chain.records.Before(*record)) {
    const Result<TimedRecords::Timed> timed = finder.Records().Read(*record);
    if (!timed) {
      return timed.Why();
    }
    const CausalGraph::Node node = finder.Node(*record);
    const Result<std::optional<Binding>> binding = finder.Of(node, timed->time);
    if (!binding) {
      return binding.Why();
    }
    steps.push_back(
        {timed->event, timed->time, *binding ? (*binding)->since : TimeSplit(), node.evidence});
    if (!pace.GoOn(chain.last - *record)) {
      return CancelledFault(causes.trace.Source().Name());
    }
  }
  std::reverse(steps.begin(), steps.end());
  return steps;
}

std::vector<ChainPlace> ByLevel(const std::vector<ChainPlace>& places, const ArrayShape& shape,
                                Level level) {
  std::map<std::pair<uint32_t, uint32_t>, size_t> numbers;
  std::vector<ChainPlace> units;
  for (const ChainPlace& place : places) {
    if (place.isSwitch && level != Level::CLUSTER) {
      continue;
    }
    const Place unit = place.isSwitch ? place.at : UnitOf(shape, level, place.at);
    const auto [found, isNew] = numbers.try_emplace({unit.row, unit.column}, units.size());
    if (isNew) {
      units.push_back({false, unit, {}});
    }
    units[found->second].time.Add(place.time);
  }
  SortByTime(units);
  return units;
}

std::vector<ChainPlace> OfKind(const std::vector<ChainPlace>& places, bool switches) {
  std::vector<ChainPlace> chosen;
  for (const ChainPlace& place : places) {
    if (place.isSwitch == switches) {
      chosen.push_back(place);
    }
  }
  SortByTime(chosen);
  return chosen;
}

}  // namespace marrowfin
