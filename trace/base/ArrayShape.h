#ifndef TRACE_BASE_ARRAYSHAPE_H
#define TRACE_BASE_ARRAYSHAPE_H

#include <cstddef>
#include <cstdint>

#include "trace/base/Place.h"
#include "trace/base/Record.h"

namespace marrowfin {

// How many of something there are along the two axes.
struct PerAxis {
  uint32_t columns = 1;
  uint32_t rows = 1;

  friend bool operator==(const PerAxis&, const PerAxis&) = default;
};

// The array of a trace, which no trace tells itself: clusters of domains of processing elements,
// and all arithmetic of positions in it. A viewer shows arrays that are alike along both axes.
//
// Elements, domains and clusters are told by column and row, counted from 0 over the whole array;
// numbers of elements and of switches go row by row. Every count is at least 1, and the whole has
// fewer than 2^31 columns and rows; IsDrawable asks for more. Threads: a value, which one thread
// writes or any number read.
struct ArrayShape {
  PerAxis clusters = {4, 4};
  PerAxis domains = {2, 2};  // of a cluster
  PerAxis pes = {4, 4};      // of a domain

  constexpr ArrayShape() = default;

  // Alike along both axes.
  constexpr ArrayShape(uint32_t clusters, uint32_t domains, uint32_t pes)
      : clusters{clusters, clusters}, domains{domains, domains}, pes{pes, pes} {}

  constexpr ArrayShape(PerAxis clusters, PerAxis domains, PerAxis pes)
      : clusters(clusters), domains(domains), pes(pes) {}

  // The most columns and rows of an array that anyone has drawn: its state is a picture of 16
  // million pieces.
  static constexpr uint32_t LONGEST_SIDE = 4096;

  bool IsSquare() const {
    return clusters.columns == clusters.rows && domains.columns == domains.rows &&
           pes.columns == pes.rows;
  }

  // Whether these are counts of an array that a viewer can show, whatever numbers somebody gave.
  bool IsDrawable() const {
    return IsSquare() && IsSide(clusters.columns, domains.columns, pes.columns);
  }

  // Elements along each axis, in all and in a cluster.
  uint32_t Columns() const { return clusters.columns * ClusterColumns(); }
  uint32_t Rows() const { return clusters.rows * ClusterRows(); }
  uint32_t ClusterColumns() const { return domains.columns * pes.columns; }
  uint32_t ClusterRows() const { return domains.rows * pes.rows; }

  bool HasElement(Place place) const { return place.column < Columns() && place.row < Rows(); }

  size_t Elements() const { return static_cast<size_t>(Columns()) * Rows(); }
  size_t ElementNumber(Place element) const {
    return static_cast<size_t>(element.row) * Columns() + element.column;
  }
  Place ElementAt(size_t number) const { return At(number, Columns()); }

  // The cluster and the domain of an element, and the first element of each.
  Place ClusterOf(Place element) const {
    return {element.column / ClusterColumns(), element.row / ClusterRows()};
  }
  Place DomainOf(Place element) const {
    return {element.column / pes.columns, element.row / pes.rows};
  }
  Place FirstOfCluster(Place cluster) const {
    return {cluster.column * ClusterColumns(), cluster.row * ClusterRows()};
  }
  Place FirstOfDomain(Place domain) const {
    return {domain.column * pes.columns, domain.row * pes.rows};
  }

  // Where records have the switch of a cluster, and whether they can have one at `place`.
  Place SwitchOf(Place cluster) const {
    const Place first = FirstOfCluster(cluster);
    return {first.column + FIRST_SWITCH, first.row + FIRST_SWITCH};
  }
  bool HasSwitch(Place place) const {
    return IsSwitchIndex(place.column, ClusterColumns(), clusters.columns) &&
           IsSwitchIndex(place.row, ClusterRows(), clusters.rows);
  }

  // The cluster of the switch that records have at `place`, where there is one.
  Place ClusterOfSwitch(Place place) const {
    return ClusterOf({place.column - FIRST_SWITCH, place.row - FIRST_SWITCH});
  }

  // The number of a switch is that of its cluster.
  size_t Switches() const { return static_cast<size_t>(clusters.columns) * clusters.rows; }
  size_t SwitchNumber(Place place) const {
    const Place cluster = ClusterOfSwitch(place);
    return static_cast<size_t>(cluster.row) * clusters.columns + cluster.column;
  }
  Place SwitchAt(size_t number) const { return SwitchOf(At(number, clusters.columns)); }

  friend bool operator==(const ArrayShape&, const ArrayShape&) = default;

 private:
  static Place At(size_t number, uint32_t columns) {
    return {static_cast<uint32_t>(number % columns), static_cast<uint32_t>(number / columns)};
  }

  static bool IsSwitchIndex(uint32_t index, uint32_t clusterSide, uint32_t clusters) {
    return index >= FIRST_SWITCH && (index - FIRST_SWITCH) % clusterSide == 0 &&
           (index - FIRST_SWITCH) / clusterSide < clusters;
  }

  static bool IsSide(uint64_t clusters, uint64_t domains, uint64_t pes) {
    const bool positive = clusters > 0 && domains > 0 && pes > 0;
    return positive && clusters <= LONGEST_SIDE && domains <= LONGEST_SIDE && pes <= LONGEST_SIDE &&
           clusters * domains * pes <= LONGEST_SIDE;
  }
};

}  // namespace marrowfin

#endif
