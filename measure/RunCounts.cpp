#include "measure/RunCounts.h"

#include <algorithm>

namespace marrowfin {
namespace {

uint32_t Apart(uint32_t a, uint32_t b) { return a > b ? a - b : b - a; }

void AddUp(std::vector<uint64_t>& sum, const std::vector<uint64_t>& more) {
  for (size_t i = 0; i < sum.size(); ++i) {
    sum[i] += more[i];
  }
}

Mesh MeshOf(const RunShape& shape, PerAxis nodes) {
  return {nodes, shape.wrapColumns, shape.wrapRows, shape.columnFirst};
}

}  // namespace

RunCounts::RunCounts(const RunShape& shape)
    : places(shape.shape),
      times(shape.columns),
      distances(static_cast<size_t>(shape.shape.Columns()) + shape.shape.Rows() - 1),
      elementLinks(MeshOf(shape, {shape.shape.Columns(), shape.shape.Rows()})),
      clusterLinks(MeshOf(shape, shape.shape.clusters)),
      turned(shape.shape.Switches()) {
  if (shape.shape.Switches() <= MOST_CLUSTERS_OF_MATRIX) {
    traffic.resize(shape.shape.Switches() * shape.shape.Switches());
  }
}

void RunCounts::AddSend(Place from, Place to) {
  const ArrayShape& shape = places.Shape();
  if (!shape.HasElement(from) || !shape.HasElement(to)) {
    return;
  }
  ++distances[Apart(from.column, to.column) + Apart(from.row, to.row)];
  farSends += elementLinks.GetMesh().Distance(from, to) > 1 ? 1 : 0;
  elementLinks.Add(from, to);
  const Place source = shape.ClusterOf(from);
  const Place target = shape.ClusterOf(to);
  const Mesh& mesh = clusterLinks.GetMesh();
  if (source != target) {
    clusterLinks.Add(source, target);
  } else if (shape.DomainOf(from) != shape.DomainOf(to)) {
    ++turned[mesh.Number(source)];
  }
  if (!traffic.empty()) {
    ++traffic[mesh.Number(source) * shape.Switches() + mesh.Number(target)];
  }
}

void RunCounts::AddCycles(const Selection& selected) {
  if (selected.rows.empty()) {
    return;
  }
  const Columns& columns = *selected.columns;
  records += selected.Size();
  if (!columns.fell) {
    firstCycle = std::min(firstCycle, columns.cycle[selected.rows.front()]);
    lastCycle = std::max(lastCycle, columns.cycle[selected.rows.back()]);
    return;
  }
  for (const uint16_t row : selected.rows) {
    firstCycle = std::min(firstCycle, columns.cycle[row]);
    lastCycle = std::max(lastCycle, columns.cycle[row]);
  }
}

void RunCounts::Add(const Selection& selected) {
  AddCycles(selected);
  places.Add(selected);
  times.Add(selected);
  const Columns& columns = *selected.columns;
  for (const uint16_t row : selected.rows) {
    if (columns.tag[row].type == SEND_RECORD) {
      AddSend(columns.at[row], columns.to[row]);
    } else if (columns.tag[row].type == FIRE_RECORD) {
      pulses.AddFire(columns.cycle[row]);
    }
  }
}

void RunCounts::AddAt(Place place, Activity activity, uint64_t count) {
  places.AddAt(place, activity, count);
}

void RunCounts::AddRecords(std::optional<uint32_t> thread, uint32_t type, uint64_t count) {
  if (count == 0) {
    return;
  }
  times.AddRecords(thread, type, count);
  records += count;
  firstCycle = times.Columns().first;
  lastCycle = times.Columns().last;
}

void RunCounts::CountOutside() {
  const auto all = [this](uint32_t type) { return times.OfType(type)[0]; };
  places.CountOutside(all(FIRE_RECORD) + 2 * all(SEND_RECORD) + all(SWITCH_RECORD));
}

void RunCounts::Add(const RunCounts& later) {
  places.Add(later.places);
  times.Add(later.times);
  pulses.Add(later.pulses);
  AddUp(distances, later.distances);
  farSends += later.farSends;
  elementLinks.Add(later.elementLinks);
  clusterLinks.Add(later.clusterLinks);
  AddUp(turned, later.turned);
  AddUp(traffic, later.traffic);
  records += later.records;
  firstCycle = std::min(firstCycle, later.firstCycle);
  lastCycle = std::max(lastCycle, later.lastCycle);
}

}  // namespace marrowfin
