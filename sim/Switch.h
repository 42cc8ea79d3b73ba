#ifndef SIM_SWITCH_H
#define SIM_SWITCH_H

#include <vector>

#include "sim/Companion.h"
#include "sim/Router.h"

namespace marrowfin::sim {

// The network switch of a cluster, joined to the cluster's domains and to the switches of the
// neighbouring clusters. A message goes along its row of clusters first, then along the column.
class Switch : public Router {
 public:
  // `cluster` is the number of the cluster within the array.
  Switch(const Context& context, uint32 cluster);

  // Adds the links to the neighbours. Called once the domains are joined. `switches` holds those of
  // all clusters.
  void Join(const std::vector<Switch*>& switches);

  void Tick(Cycle now) override;
  void ReceiveMessage(Message* m) override;

  // Notes how many messages wait at the end of a cycle, where that has changed.
  void TellQueue();

  // The links in use, in percent of the cycles, before a report.
  void Compute() override;

 protected:
  uint32 Route(const OperandMessage& message) const override;
  void Leave(OperandMessage* message, Cycle now) override;

 private:
  enum Direction { EAST, WEST, NORTH, SOUTH, DIRECTIONS };

  uint32 DirectionTo(uint32 toCluster) const;
  uint32& ArrivingAt(Cycle cycle) { return arriving[cycle % arriving.size()]; }

  uint32 cluster;
  uint32 neighbours[DIRECTIONS];     // outputs; the last one of all where there is no neighbour
  unsigned long long transmissions;  // messages passed on, to neighbours and to domains
  float use[DIRECTIONS];
  std::vector<uint32> arriving;  // messages under way, by the cycle of their arrival
  uint32 waiting;                // messages that have arrived
  ToldNumber told;
};

}  // namespace marrowfin::sim

#endif
