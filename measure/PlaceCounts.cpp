#include "measure/PlaceCounts.h"

namespace marrowfin {
namespace {

void AddLater(ElementCounts& element, const ElementCounts& later) {
  if (later.fires > 0 && element.fires > 0) {
    element.TakeGap(element.last, later.first);
    element.active -= element.last == later.first ? 1 : 0;
  }
  if (later.gap > element.gap) {
    element.gap = later.gap;
    element.gapEnd = later.gapEnd;
  }
  if (later.fires > 0) {
    element.first = element.fires > 0 ? element.first : later.first;
    element.last = later.last;
  }
  element.fires += later.fires;
  element.sends += later.sends;
  element.receives += later.receives;
  element.active += later.active;
}

}  // namespace

PlaceCounts::PlaceCounts(const ArrayShape& shape)
    : shape(shape),
      columns(shape.Columns()),
      rows(shape.Rows()),
      switchColumns(SwitchesAlong(shape.clusters.columns, shape.ClusterColumns())),
      switchRows(SwitchesAlong(shape.clusters.rows, shape.ClusterRows())),
      elements(shape.Elements()),
      switches(shape.Switches()) {}

std::vector<uint32_t> PlaceCounts::SwitchesAlong(uint32_t clusters, uint32_t side) {
  std::vector<uint32_t> along(size_t{clusters - 1} * side + FIRST_SWITCH + 1, NO_SWITCH);
  for (uint32_t cluster = 0; cluster < clusters; ++cluster) {
    along[size_t{cluster} * side + FIRST_SWITCH] = cluster;
  }
  return along;
}

void PlaceCounts::AddAt(Place place, Activity activity, uint64_t count) {
  if (activity == TRANSMISSIONS) {
    AddTransmissions(place, count);
  } else if (shape.HasElement(place)) {
    ElementCounts& element = elements[shape.ElementNumber(place)];
    (activity == FIRES   ? element.fires
     : activity == SENDS ? element.sends
                         : element.receives) += count;
  }
}

void PlaceCounts::CountOutside(uint64_t ends) {
  outside = ends;
  for (const ElementCounts& element : elements) {
    outside -= element.fires + element.sends + element.receives;
  }
  for (const uint64_t transmissions : switches) {
    outside -= transmissions;
  }
}

void PlaceCounts::Add(const PlaceCounts& later) {
  for (size_t i = 0; i < elements.size(); ++i) {
    AddLater(elements[i], later.elements[i]);
  }
  for (size_t i = 0; i < switches.size(); ++i) {
    switches[i] += later.switches[i];
  }
  outside += later.outside;
}

}  // namespace marrowfin
