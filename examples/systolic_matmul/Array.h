#ifndef EXAMPLES_SYSTOLIC_MATMUL_ARRAY_H
#define EXAMPLES_SYSTOLIC_MATMUL_ARRAY_H

#include <memory>
#include <string>
#include <vector>

#include "Host.h"
#include "Layout.h"
#include "PeDomain.h"
#include "Switch.h"
#include "Trace.h"

namespace marrowfin::systolic {

// The whole machine, the root of the tree: clusters of domains of PEs, a switch in each cluster,
// the host and the trace. It owns all units.
class Array : public Component {
 public:
  // Builds and connects the units and gives all of them their full names.
  explicit Array(const Layout& layout);

  // One cycle.
  void Step();

  // Cycles that the work of the host takes.
  Cycle Cycles() const { return host.schedule.Cycles(layout.Side()); }

  // Calls the end-of-run hook of every unit.
  void DoFinalize() override;

  // Brings the statistics up to date.
  void Compute() override;

  const Layout layout;
  Host host;
  Trace trace;
  std::string dotFile;  // where to write the graph of the tree; empty: nowhere

 private:
  void AddCluster(unsigned row, unsigned column);
  PeDomain* NewDomain(unsigned row, unsigned column, const Location& firstPe);
  void Connect(unsigned row, unsigned column);
  void ConnectNeighbour(Operand::Direction direction, Pe* pe, Pe* neighbour);
  void SetUp(Component* unit);
  template <class Unit>
  Unit* Own(std::unique_ptr<Unit> unit);
  Pe*& PeAt(unsigned row, unsigned column) { return pes[1UL * row * layout.Side() + column]; }

  Domain clock;
  std::vector<std::unique_ptr<Component>> units;  // in order of making
  std::vector<Pe*> pes;                           // row by row
  std::vector<Switch*> switches;                  // row by row
  unsigned long long cycles;
  float utilisation;
};

}  // namespace marrowfin::systolic

#endif
