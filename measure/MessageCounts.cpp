#include "measure/MessageCounts.h"

namespace marrowfin {
namespace {

uint32_t Apart(uint32_t a, uint32_t b) { return a > b ? a - b : b - a; }

void AddUp(std::vector<uint64_t>& sum, const std::vector<uint64_t>& more) {
  for (size_t i = 0; i < sum.size(); ++i) {
    sum[i] += more[i];
  }
}

}  // namespace

MessageCounts::Axis::Axis(uint32_t clusters, uint32_t domains, uint32_t pes) {
  const uint32_t length = clusters * domains * pes;
  for (uint32_t i = 0; i < length; ++i) {
    domain.push_back(i / pes);
    cluster.push_back(i / (domains * pes));
  }
}

MessageCounts::MessageCounts(const ArrayShape& shape, const Mesh& elements, const Mesh& clusters,
                             bool elementsWanted)
    : columns(shape.clusters.columns, shape.domains.columns, shape.pes.columns),
      rows(shape.clusters.rows, shape.domains.rows, shape.pes.rows),
      several(shape.Switches() > 1 && !elementsWanted),
      wraps(elements.wrapColumns || elements.wrapRows),
      distances(columns.domain.size() + rows.domain.size() - 1),
      elementLinks(elements),
      clusterLinks(clusters),
      turned(shape.Switches()) {
  if (shape.Switches() <= MOST_CLUSTERS_OF_MATRIX) {
    traffic.resize(shape.Switches() * shape.Switches());
  }
}

void MessageCounts::Add(Place from, Place to) {
  if (!Has(from) || !Has(to)) {
    return;
  }
  const uint32_t distance = Apart(from.column, to.column) + Apart(from.row, to.row);
  ++distances[distance];
  farSends += distance > 1 && (!wraps || elementLinks.GetMesh().Distance(from, to) > 1) ? 1 : 0;
  if (!several || farSends == 0) {
    elementLinks.Add(from, to);
  }
  const Place source = {columns.cluster[from.column], rows.cluster[from.row]};
  const Place target = {columns.cluster[to.column], rows.cluster[to.row]};
  const size_t number = clusterLinks.GetMesh().Number(source);
  const bool leaves = source != target;
  const bool turns = columns.domain[from.column] != columns.domain[to.column] ||
                     rows.domain[from.row] != rows.domain[to.row];
  clusterLinks.Add(source, target, leaves ? 1 : 0);
  turned[number] += !leaves && turns ? 1 : 0;
  if (!traffic.empty()) {
    ++traffic[number * turned.size() + clusterLinks.GetMesh().Number(target)];
  }
}

void MessageCounts::Add(const MessageCounts& other) {
  AddUp(distances, other.distances);
  farSends += other.farSends;
  elementLinks.Add(other.elementLinks);
  clusterLinks.Add(other.clusterLinks);
  AddUp(turned, other.turned);
  AddUp(traffic, other.traffic);
}

}  // namespace marrowfin
