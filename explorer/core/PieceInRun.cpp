#include "explorer/core/PieceInRun.h"

#include <algorithm>
#include <map>
#include <tuple>
#include <utility>

#include "explorer/core/AskedFilter.h"
#include "explorer/core/CountPart.h"
#include "measure/Level.h"

namespace marrowfin {
namespace {

void Add(const ElementCounts& element, PieceTotals& totals) {
  totals.fires += static_cast<double>(element.fires);
  totals.sends += static_cast<double>(element.sends);
  totals.receives += static_cast<double>(element.receives);
}

PieceTotals Over(const PieceTotals& totals, double units) {
  return {totals.fires / units, totals.sends / units, totals.receives / units,
          totals.transmissions / units};
}

// How many pieces of the kind there are.
double UnitsOf(const AskedPiece& piece, const ArrayShape& shape) {
  const double clusters = static_cast<double>(shape.Switches());
  switch (piece.kind) {
    case AskedPiece::PE:
      return static_cast<double>(shape.Elements());
    case AskedPiece::DOMAIN:
      return clusters * shape.domains.columns * shape.domains.rows;
    default:
      return clusters;
  }
}

PieceTotals AllOf(const RunCounts& counts) {
  PieceTotals totals;
  for (const ElementCounts& element : counts.Places().Elements()) {
    Add(element, totals);
  }
  for (const uint64_t transmissions : counts.Places().Transmissions()) {
    totals.transmissions += static_cast<double>(transmissions);
  }
  return totals;
}

PieceTotals TotalsOf(const RunCounts& counts, const AskedPiece& piece, const ArrayShape& shape) {
  PieceTotals totals;
  const bool hasSwitch = piece.kind == AskedPiece::SWITCH || piece.kind == AskedPiece::CLUSTER;
  if (hasSwitch) {
    const size_t number = size_t{piece.at.row} * shape.clusters.columns + piece.at.column;
    totals.transmissions = static_cast<double>(counts.Places().Transmissions()[number]);
  }
  if (piece.kind == AskedPiece::SWITCH) {
    return totals;
  }
  const Region region = RegionOf(piece, shape);
  for (uint32_t row = region.first.row; row <= region.last.row && row < shape.Rows(); ++row) {
    for (uint32_t column = region.first.column;
         column <= region.last.column && column < shape.Columns(); ++column) {
      Add(counts.Places().Elements()[shape.ElementNumber({column, row})], totals);
    }
  }
  return totals;
}

Level LevelOf(const AskedPiece& piece) {
  return piece.kind == AskedPiece::DOMAIN    ? Level::DOMAIN
         : piece.kind == AskedPiece::CLUSTER ? Level::CLUSTER
                                             : Level::PE;
}

// Links have no sums of their own: their messages are gone through.
Fault FindTotals(const Asking& asking, const PieceOfArray& asked, PieceInRun& found) {
  const auto& [piece, shape] = asked;
  if (piece.kind == AskedPiece::LINK) {
    AskedFilter filter;
    NarrowTo(piece, shape, filter);
    return WalkPlain(asking, filter, 0, false, [&](const Selection&, size_t) {
      ++found.totals.sends;
      return true;
    });
  }
  const auto counts = CountPart(asking, {shape, 0, asking.GetSummary().maxCycle, true});
  if (!counts) {
    return counts.Why();
  }
  found.totals = TotalsOf(**counts, piece, shape);
  found.average = Over(AllOf(**counts), UnitsOf(piece, shape));
  return {};
}

Fault FindNeighbours(const Asking& asking, const PieceOfArray& asked, PieceInRun& found) {
  const auto& [piece, shape] = asked;
  if (piece.kind == AskedPiece::SWITCH || piece.kind == AskedPiece::LINK) {
    return {};
  }
  AskedFilter filter;
  NarrowTo(piece, shape, filter);
  filter.events.fires = filter.events.switches = false;
  const Region region = *filter.events.region;
  const Level level = LevelOf(piece);
  std::map<std::tuple<bool, uint32_t, uint32_t>, uint64_t> traffic;  // to, row, column
  const auto take = [&](const Selection& batch, size_t i) {
    const Place from = batch.columns->at[batch.rows[i]];
    const Place to = batch.columns->to[batch.rows[i]];
    const bool sends = region.Has(from);
    const Place other = sends ? to : from;
    if (asked.shape.HasElement(other) && region.Has(from) != region.Has(to)) {
      const Place unit = UnitOf(asked.shape, level, other);
      ++traffic[{sends, unit.row, unit.column}];
    }
    return true;
  };
  if (Fault fault = WalkPlain(asking, filter, 0, false, take)) {
    return fault;
  }
  for (const auto& [key, messages] : traffic) {
    found.neighbours.push_back({std::get<0>(key), {std::get<2>(key), std::get<1>(key)}, messages});
  }
  std::stable_sort(
      found.neighbours.begin(), found.neighbours.end(),
      [](const PieceNeighbour& a, const PieceNeighbour& b) { return a.messages > b.messages; });
  constexpr size_t MOST = 16;
  found.neighbours.resize(std::min(MOST, found.neighbours.size()));
  return {};
}

}  // namespace

Result<std::shared_ptr<const PieceInRun>> PieceInRunOf(const Asking& asking,
                                                       const PieceOfArray& asked) {
  const auto find = [&]() -> Result<std::shared_ptr<const PieceInRun>> {
    auto found = std::make_shared<PieceInRun>();
    Fault fault = FindTotals(asking, asked, *found);
    if (!fault) {
      fault = FindNeighbours(asking, asked, *found);
    }
    if (fault) {
      return fault;
    }
    return std::shared_ptr<const PieceInRun>(std::move(found));
  };
  return asking.view.Pieces().Get(asked, asking.progress, find);
}

}  // namespace marrowfin
