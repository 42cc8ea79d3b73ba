#include "sim/Shape.h"

#include "trace/base/ArrayShape.h"

namespace marrowfin::sim {

namespace {

uint32 Distance(uint32 a, uint32 b) { return a < b ? b - a : a - b; }

}  // namespace

uint32 Shape::ClusterOf(uint32 pe) const {
  return Row(pe) / ClusterSide() * clusters + Column(pe) / ClusterSide();
}

uint32 Shape::DomainOf(uint32 pe) const {
  const uint32 row = Row(pe) % ClusterSide() / pes;
  const uint32 column = Column(pe) % ClusterSide() / pes;
  return ClusterOf(pe) * DomainsPerCluster() + row * domains + column;
}

uint32 Shape::PositionInDomain(uint32 pe) const { return Row(pe) % pes * pes + Column(pe) % pes; }

uint32 Shape::PeAt(uint32 domain, uint32 position) const {
  const uint32 cluster = domain / DomainsPerCluster();
  const uint32 local = domain % DomainsPerCluster();
  const uint32 row = (cluster / clusters * domains + local / domains) * pes + position / pes;
  const uint32 column = (cluster % clusters * domains + local % domains) * pes + position % pes;
  return row * Side() + column;
}

Location Shape::SwitchLocation(uint32 cluster) const {
  const Place place = ArrayShape(clusters, domains, pes).SwitchAt(cluster);
  return Location(place.row, place.column);
}

uint32 Shape::Hops(uint32 fromDomain, uint32 toDomain) const {
  if (fromDomain == toDomain) {
    return 0;
  }
  const uint32 from = fromDomain / DomainsPerCluster();
  const uint32 to = toDomain / DomainsPerCluster();
  return 1 + Distance(from / clusters, to / clusters) + Distance(from % clusters, to % clusters);
}

}  // namespace marrowfin::sim
