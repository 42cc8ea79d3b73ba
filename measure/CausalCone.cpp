#include "measure/CausalCone.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <tuple>
#include <vector>

#include "measure/Pace.h"
#include "trace/base/PlaceTable.h"

namespace marrowfin {
namespace {

// Marks the causes of what is marked, from the record back. False where the work is to stop.
bool MarkBack(const CausalGraph& graph, uint64_t record, Pace& pace, CausalCone& cone) {
  CausalGraph::Reader reader(graph);
  cone.records.Add(record);
  for (std::optional<uint64_t> at = record; at; at = cone.records.Before(*at)) {
    const CausalGraph::Node node = reader.Read(*at);
    cone.inferred += node.evidence == Evidence::INFERRED && !node.causes.empty() ? 1 : 0;
    for (const uint64_t cause : node.causes) {
      cone.records.Add(cause);
    }
    if (!pace.GoOn(record - *at)) {
      return false;
    }
  }
  return true;
}

// Marks what has a marked cause, from the record on; likewise.
bool MarkForward(const CausalGraph& graph, uint64_t record, Pace& pace, CausalCone& cone) {
  CausalGraph::Reader reader(graph);
  cone.records.Add(record);
  for (uint64_t at = record + 1; at < graph.Records() && pace.GoOn(at); ++at) {
    const CausalGraph::Node node = reader.Read(at);
    const auto follows = [&](uint64_t cause) { return cause >= record && cone.records.Has(cause); };
    if (std::any_of(node.causes.begin(), node.causes.end(), follows)) {
      cone.records.Add(at);
      cone.inferred += node.evidence == Evidence::INFERRED ? 1 : 0;
    }
  }
  return pace.GoOn(graph.Records());
}

// Looks at the events that are marked.
class Counter {
 public:
  explicit Counter(CausalCone& cone) : cone(cone) { cone.firstCycle = ~uint64_t{0}; }

  void Add(const Columns& columns, size_t row) {
    cone.firstCycle = std::min(cone.firstCycle, columns.cycle[row]);
    cone.lastCycle = std::max(cone.lastCycle, columns.cycle[row]);
    switch (columns.tag[row].type) {
      case FIRE_RECORD:
        ++cone.fires;
        AddFire(columns.at[row]);
        break;
      case SEND_RECORD:
        ++cone.messages;
        break;
      default:
        ++cone.transmissions;
    }
  }

  void End() {
    for (size_t i = 0; i < fires.size(); ++i) {
      cone.places.push_back({table.Places()[i], fires[i]});
    }
    std::sort(cone.places.begin(), cone.places.end(),
              [](const CausalCone::Fires& a, const CausalCone::Fires& b) {
                return std::tuple(b.fires, a.at.row, a.at.column) <
                       std::tuple(a.fires, b.at.row, b.at.column);
              });
  }

 private:
  void AddFire(Place at) {
    const uint32_t number = table.Add(at);
    if (number == fires.size()) {
      fires.push_back(0);
    }
    ++fires[number];
  }

  CausalCone& cone;
  PlaceTable table;
  std::vector<uint64_t> fires;
};

// Calls `take` with each batch that has records of a set, and the rows of those. A fault where the
// trace cannot be read, or the work is to stop.
template <class Take>
Fault ForEachBatch(const TimedTrace& trace, const RecordSet& records, Pace& pace, Take take) {
  const auto batch = std::make_unique<TimedBatch>();
  std::vector<uint16_t> rows;
  std::optional<uint64_t> at = records.From(0);
  while (at) {
    if (Fault fault = trace.Reload(trace.BatchOf(*at), *batch)) {
      return fault;
    }
    const uint64_t end = batch->columns.firstRecord + batch->columns.size;
    rows.clear();
    for (; at && *at < end; at = records.From(*at + 1)) {
      rows.push_back(static_cast<uint16_t>(*at - batch->columns.firstRecord));
      if (!pace.GoOn(*at)) {
        return CancelledFault(trace.Source().Name());
      }
    }
    take(batch->columns, rows);
  }
  return {};
}

}  // namespace

Result<CausalCone> FindCone(const Causes& causes, uint64_t record, ConeDirection direction,
                            const ProgressCallback& progress) {
  CausalCone cone;
  cone.records = RecordSet(causes.graph.Records());
  const auto mark = direction == ConeDirection::BACK ? MarkBack : MarkForward;
  Pace pace(progress, causes.graph.Records());
  if (!mark(causes.graph, record, pace, cone)) {
    return CancelledFault(causes.trace.Source().Name());
  }
  Counter counter(cone);
  const auto take = [&](const Columns& columns, const std::vector<uint16_t>& rows) {
    for (const uint16_t row : rows) {
      counter.Add(columns, row);
    }
  };
  if (Fault fault = ForEachBatch(causes.trace, cone.records, pace, take)) {
    return fault;
  }
  counter.End();
  return cone;
}

Result<SpaceTime> ConeOverTime(const Causes& causes, const CausalCone& cone, SpaceTime map,
                               const ProgressCallback& progress) {
  Pace pace(progress, causes.graph.Records());
  const auto take = [&](const Columns& columns, const std::vector<uint16_t>& rows) {
    Selection found;
    found.columns = &columns;
    found.rows = rows;
    map.Add(found);
  };
  if (Fault fault = ForEachBatch(causes.trace, cone.records, pace, take)) {
    return fault;
  }
  return map;
}

}  // namespace marrowfin
