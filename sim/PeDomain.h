#ifndef SIM_PEDOMAIN_H
#define SIM_PEDOMAIN_H

#include <memory>
#include <vector>

#include "sim/ProcessingElement.h"
#include "sim/Router.h"

namespace marrowfin::sim {

class Memory;
class Switch;

// A domain: its processing elements, and the crossbar that joins them to each other and to the
// switch of their cluster.
class PeDomain : public Router {
 public:
  // `number` is the domain's within the array.
  PeDomain(const Context& context, uint32 number);

  // Makes the processing elements, which send through this domain and use `memory`, and adds them
  // to the tree. The domain itself must stand in it by now.
  void Build(Memory* memory);

  // Adds the links to and from the switch.
  void Join(Switch* clusterSwitch);

  ProcessingElement& Pe(uint32 position) { return *pes[position]; }
  uint32 PeCount() const { return static_cast<uint32>(pes.size()); }

  // The links in use, in percent of the cycles, before a report.
  void Compute() override;

 protected:
  uint32 Route(const OperandMessage& message) const override;
  void Leave(OperandMessage* message, Cycle now) override;

 private:
  uint32 number;
  std::vector<std::unique_ptr<ProcessingElement>> pes;
  uint32 upOutput;                    // to the switch
  unsigned long long messagesWithin;  // passed from one of its processing elements to another
  unsigned long long messagesIn;      // passed on to its processing elements from elsewhere
  unsigned long long messagesUp;      // passed on to the switch
  float upUse;                        // of the link to the switch
};

}  // namespace marrowfin::sim

#endif
