#ifndef EXAMPLES_SYSTOLIC_MATMUL_LAYOUT_H
#define EXAMPLES_SYSTOLIC_MATMUL_LAYOUT_H

#include <string>

#include "Marrowfin/Location.h"
#include "Util/CommandLineParser.h"

namespace marrowfin::systolic {

// The shape of the array, counted along one axis as the viewer counts it. Both axes are alike.
struct Layout {
  // Registers -c, -d and -p. They stand in no component, so they keep these short names.
  void AddOptions(CommandLineParser& parser) {
    parser.AddOption(&clusters, "-c", "clusters along each axis of the array", clusters);
    parser.AddOption(&domains, "-d", "domains along each axis of a cluster", domains);
    parser.AddOption(&pes, "-p", "PEs along each axis of a domain", pes);
  }

  unsigned ClusterSide() const { return domains * pes; }  // in PEs
  unsigned Side() const { return clusters * ClusterSide(); }
  unsigned ClusterOf(unsigned position) const { return position / ClusterSide(); }
  bool SameCluster(const Location& a, const Location& b) const {
    return ClusterOf(a.row) == ClusterOf(b.row) && ClusterOf(a.column) == ClusterOf(b.column);
  }

  // Where the viewer files the switch of a cluster: four rows and columns from its first PE.
  Location SwitchLocation(unsigned clusterRow, unsigned clusterColumn) const {
    return {clusterRow * ClusterSide() + 4, clusterColumn * ClusterSide() + 4};
  }

  unsigned clusters = 4;
  unsigned domains = 2;
  unsigned pes = 4;
};

// "pe3_2": a kind of unit, its column and its row.
inline std::string UnitName(const char* kind, unsigned row, unsigned column) {
  return kind + std::to_string(column) + "_" + std::to_string(row);
}

}  // namespace marrowfin::systolic

#endif
