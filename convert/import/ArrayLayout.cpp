#include "convert/import/ArrayLayout.h"

#include <algorithm>
#include <set>

namespace marrowfin {
namespace {

constexpr uint32_t domainsPerCluster = 2;
constexpr uint32_t mostPes = 8;

uint32_t Distance(uint32_t a, uint32_t b) { return a < b ? b - a : a - b; }

// The best way to split `half` a side into clusters and elements of a domain; no elements where
// there is none.
ArrayShape Split(uint32_t half) {
  ArrayShape best = {0, domainsPerCluster, 0};
  for (uint32_t pes = mostPes; pes >= std::min(half, 2u); --pes) {
    const uint32_t clusters = half / pes;
    if (half % pes == 0 &&
        (best.pes.columns == 0 ||
         Distance(clusters, pes) < Distance(best.clusters.columns, best.pes.columns))) {
      best = {clusters, domainsPerCluster, pes};
    }
  }
  return best;
}

void Include(Tile tile, PerAxis& extent) {
  extent.columns = std::max(extent.columns, tile.column + 1u);
  extent.rows = std::max(extent.rows, tile.row + 1u);
}

}  // namespace

ArrayShape ShapeFor(uint32_t extent) {
  uint32_t half = std::max((extent + 1) / 2, 1u);
  ArrayShape shape = Split(half);
  while (shape.pes.columns == 0) {
    shape = Split(++half);
  }
  return shape;
}

ArrayLayout::ArrayLayout(const Capture& capture) : perRow(1) {
  std::set<uint32_t> seen;
  for (const CaptureEvent& event : capture.events) {
    Include(event.tile, extent);
    seen.insert(event.device);
    if (IsMessage(event.kind)) {
      Include(event.last, extent);
      seen.insert(event.farDevice);
    }
  }
  devices.assign(seen.begin(), seen.end());
  while (perRow * perRow < devices.size()) {
    ++perRow;
  }
  shape = ShapeFor(std::max(extent.columns, extent.rows));
  pitch = shape.Columns();
  shape.clusters.columns *= perRow;
  shape.clusters.rows *= perRow;
}

PerAxis ArrayLayout::DevicesPerAxis() const {
  const auto count = std::max<uint32_t>(1, static_cast<uint32_t>(devices.size()));
  return {std::min(perRow, count), (count + perRow - 1) / perRow};
}

uint32_t ArrayLayout::IndexOf(uint32_t device) const {
  return static_cast<uint32_t>(std::lower_bound(devices.begin(), devices.end(), device) -
                               devices.begin());
}

}  // namespace marrowfin
