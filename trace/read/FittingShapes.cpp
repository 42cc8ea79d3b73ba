#include "trace/read/FittingShapes.h"

#include <algorithm>
#include <cstdint>
#include <numeric>

namespace marrowfin {

namespace {

constexpr uint64_t MAX_SIDE = ArrayShape::LONGEST_SIDE;

// What is known of an array along an axis, or along both at once.
struct Needs {
  uint64_t side = 1;      // positions that have to be there
  uint64_t distance = 0;  // the largest that separates all switches, 0 for a single one or none
  uint64_t last = 0;      // of the farthest switch from the first

  void Include(uint64_t switchAt) {
    distance = std::gcd(distance, switchAt - FIRST_SWITCH);
    last = std::max(last, switchAt - FIRST_SWITCH);
  }
};

// Clusters along an axis, and the positions of one.
struct Split {
  uint64_t clusters = 1;
  uint64_t clusterSide = 1;

  uint64_t Side() const { return clusters * clusterSide; }
};

struct TraceNeeds {
  Needs columns;
  Needs rows;
  bool hasSwitches = false;
};

// Nothing where the places of the switches are those of no array, or not all known.
std::optional<TraceNeeds> NeedsOf(const Summary& summary, const Extent& extent) {
  TraceNeeds needs;
  needs.columns.side = std::max<uint64_t>(extent.columns, 1);
  needs.rows.side = std::max<uint64_t>(extent.rows, 1);
  needs.hasSwitches = !summary.switchPlaces.empty();
  for (const Place& place : summary.switchPlaces) {
    if (place.column < FIRST_SWITCH || place.row < FIRST_SWITCH) {
      return std::nullopt;
    }
    needs.columns.Include(place.column);
    needs.rows.Include(place.row);
  }
  return summary.switchesComplete ? std::optional(needs) : std::nullopt;
}

Needs BothOf(const TraceNeeds& needs) {
  return {std::max(needs.columns.side, needs.rows.side),
          std::gcd(needs.columns.distance, needs.rows.distance),
          std::max(needs.columns.last, needs.rows.last)};
}

// The fewest clusters of a side; nothing where switches cannot stand so, or there would be more
// than `most` positions.
std::optional<Split> SplitInto(const Needs& needs, uint64_t clusterSide, uint64_t most) {
  if (needs.distance % clusterSide != 0) {
    return std::nullopt;
  }
  const Split split = {
      std::max((needs.side + clusterSide - 1) / clusterSide, needs.last / clusterSide + 1),
      clusterSide};
  return split.Side() <= most ? std::optional(split) : std::nullopt;
}

// The largest clusters that will do. Switches may stand on every second cluster or third, so what
// divides their distance is a side as well.
std::optional<Split> LargestClusters(const Needs& needs) {
  const uint64_t largest = needs.distance != 0 ? needs.distance : needs.side;
  for (uint64_t side = std::min(largest, MAX_SIDE); side > 0; --side) {
    if (const std::optional<Split> split = SplitInto(needs, side, MAX_SIDE)) {
      return split;
    }
  }
  return std::nullopt;
}

// Domains of a cluster along an axis.
uint64_t UsualDomains(uint64_t clusterSide, bool hasSwitches) {
  return hasSwitches && clusterSide % 2 == 0 ? 2 : 1;
}

ArrayShape ShapeOf(const Split& split, uint64_t domains) {
  return {static_cast<uint32_t>(split.clusters), static_cast<uint32_t>(domains),
          static_cast<uint32_t>(split.clusterSide / domains)};
}

std::optional<ArrayShape> ViewOf(const TraceNeeds& needs) {
  const std::optional<Split> split = LargestClusters(BothOf(needs));
  if (!split) {
    return std::nullopt;
  }
  return ShapeOf(*split, UsualDomains(split->clusterSide, needs.hasSwitches));
}

std::vector<ArrayShape> OthersThan(const ArrayShape& view, const Needs& needs) {
  std::vector<ArrayShape> others;
  for (uint64_t side = view.Columns(); side > 0; --side) {
    const std::optional<Split> split = SplitInto(needs, side, view.Columns());
    for (uint64_t domains = 1; split && domains <= side; ++domains) {
      if (side % domains == 0 && ShapeOf(*split, domains) != view) {
        others.push_back(ShapeOf(*split, domains));
      }
    }
  }
  return others;
}

// The clusters of `view`, as many along each axis as that needs; where one holds everything, one
// that is no larger along any axis.
ArrayShape RectangleOf(const ArrayShape& view, const TraceNeeds& needs) {
  if (view.clusters.columns == 1) {
    const auto columns = static_cast<uint32_t>(needs.columns.side);
    const auto rows = static_cast<uint32_t>(needs.rows.side);
    return ArrayShape({1, 1}, {1, 1}, {columns, rows});
  }
  const auto clusters = [&](const Needs& axis) {
    return static_cast<uint32_t>(SplitInto(axis, view.ClusterColumns(), MAX_SIDE)->clusters);
  };
  return ArrayShape({clusters(needs.columns), clusters(needs.rows)}, view.domains, view.pes);
}

Extent Union(const Extent& a, const Extent& b) {
  return {std::max(a.columns, b.columns), std::max(a.rows, b.rows)};
}

bool Holds(const ArrayShape& shape, const Extent& extent) {
  return extent.columns <= shape.Columns() && extent.rows <= shape.Rows();
}

}  // namespace

FittingShapes ShapesThatFit(const Summary& summary) {
  FittingShapes fitting;
  const Extent everything = Union(summary.fired, summary.sent);
  if (const std::optional<TraceNeeds> needs = NeedsOf(summary, summary.fired)) {
    const std::optional<TraceNeeds> withEnds = NeedsOf(summary, everything);
    const bool messagesAlone = summary.fires == 0 && summary.switches == 0 && ViewOf(*withEnds);
    const TraceNeeds& counted = messagesAlone ? *withEnds : *needs;
    fitting.view = ViewOf(counted);
    if (fitting.view) {
      fitting.others = OthersThan(*fitting.view, BothOf(counted));
      fitting.endsOutside = !Holds(*fitting.view, everything);
      const ArrayShape rectangle = RectangleOf(*fitting.view, counted);
      if (rectangle.Elements() < fitting.view->Elements()) {
        fitting.rectangle = rectangle;
      }
    }
    if (fitting.endsOutside) {
      fitting.withEnds = ViewOf(*withEnds);
    }
  }
  return fitting;
}

std::optional<ArrayShape> SquareOf(const ArrayShape& array) {
  constexpr PerAxis one = {1, 1};
  const auto isSquare = [](PerAxis counts) { return counts.columns == counts.rows; };
  const auto longer = [](PerAxis counts) { return std::max(counts.columns, counts.rows); };
  const bool outermost = (isSquare(array.pes) || (array.domains == one && array.clusters == one)) &&
                         (isSquare(array.domains) || array.clusters == one);
  const ArrayShape square(longer(array.clusters), longer(array.domains), longer(array.pes));
  return outermost && square.IsDrawable() ? std::optional(square) : std::nullopt;
}

bool HoldsTrace(const ArrayShape& shape, const Summary& summary) {
  const std::vector<Place>& places = summary.switchPlaces;
  return Holds(shape, summary.fired) && summary.switchesComplete &&
         std::all_of(places.begin(), places.end(),
                     [&](const Place& place) { return shape.HasSwitch(place); });
}

std::optional<ArrayShape> SuggestShape(const Summary& summary) {
  return ShapesThatFit(summary).view;
}

}  // namespace marrowfin
