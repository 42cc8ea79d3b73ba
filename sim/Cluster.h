#ifndef SIM_CLUSTER_H
#define SIM_CLUSTER_H

#include <memory>
#include <vector>

#include "Core/Component.h"
#include "sim/Memory.h"
#include "sim/PeDomain.h"
#include "sim/Switch.h"

namespace marrowfin::sim {

// A cluster: domains of processing elements, one switch and one memory.
class Cluster : public Component {
 public:
  // `number` is the cluster's within the array.
  Cluster(const Context& context, uint32 number);

  // Makes the units. The cluster itself must stand in the tree by now.
  void Build();

  Memory& GetMemory() { return memory; }
  Switch& GetSwitch() { return clusterSwitch; }
  PeDomain& Domain(uint32 local) { return *domains[local]; }

  // Adds what all its processing elements have counted, up to the current cycle.
  void AddTo(ProcessingElement::Counts& sum);

  void Compute() override;

 private:
  const Context& context;
  uint32 number;
  Switch clusterSwitch;
  Memory memory;
  std::vector<std::unique_ptr<PeDomain>> domains;
  ProcessingElement::Counts counts;
  float utilisation;
};

}  // namespace marrowfin::sim

#endif
