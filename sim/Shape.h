#ifndef SIM_SHAPE_H
#define SIM_SHAPE_H

#include "Marrowfin/Location.h"
#include "Util/Types.h"

namespace marrowfin::sim {

// The shape of the array, laid out alike along both axes, and the arithmetic of its positions.
//
// Processing elements are numbered row by row over the whole array, clusters row by row over the
// array of clusters, and domains cluster by cluster and row by row within one.
struct Shape {
  uint32 clusters;  // per axis, at least 1
  uint32 domains;   // per cluster and axis, at least 1
  uint32 pes;       // per domain and axis, at least 1

  uint32 ClusterSide() const { return domains * pes; }  // positions of a cluster along an axis
  uint32 Side() const { return clusters * ClusterSide(); }
  uint32 PeCount() const { return Side() * Side(); }
  uint32 ClusterCount() const { return clusters * clusters; }
  uint32 DomainsPerCluster() const { return domains * domains; }
  uint32 DomainCount() const { return ClusterCount() * DomainsPerCluster(); }
  uint32 PesPerDomain() const { return pes * pes; }

  uint32 Row(uint32 pe) const { return pe / Side(); }
  uint32 Column(uint32 pe) const { return pe % Side(); }
  Location PeLocation(uint32 pe) const { return Location(Row(pe), Column(pe)); }

  uint32 ClusterOf(uint32 pe) const;
  uint32 DomainOf(uint32 pe) const;

  // The position of a processing element within its domain, row by row.
  uint32 PositionInDomain(uint32 pe) const;

  // The processing element at a position within a domain: the inverse of the two above.
  uint32 PeAt(uint32 domain, uint32 position) const;

  // The first processing element of a cluster, and where the viewer files its switch.
  Location ClusterLocation(uint32 cluster) const {
    return Location(cluster / clusters * ClusterSide(), cluster % clusters * ClusterSide());
  }
  Location SwitchLocation(uint32 cluster) const;

  // The switch transmissions between two domains: none within a domain, one within a cluster, and
  // one more for every step from cluster to cluster.
  uint32 Hops(uint32 fromDomain, uint32 toDomain) const;
};

}  // namespace marrowfin::sim

#endif
