#include "Array.h"

namespace marrowfin::systolic {

Array::Array(const Layout& layout)
    : Component("array"), layout(layout), pes(1UL * layout.Side() * layout.Side()) {
  AddOption(&dotFile, "-dotFile", "file for the graph of the units in the DOT language", "");
  AddStat(&cycles, "cycles", "simulated", 0);
  AddStat(&utilisation, "utilisation", "multiplications per PE and cycle", 0);
  AddStatContainer(&Message::stats);
  AddChild(&host);
  AddChild(&trace);
  for (unsigned row = 0; row < layout.clusters; ++row) {
    for (unsigned column = 0; column < layout.clusters; ++column) {
      AddCluster(row, column);
    }
  }
  for (unsigned row = 0; row < layout.Side(); ++row) {
    host.ConnectLine(PeAt(row, 0), PeAt(0, row));
    for (unsigned column = 0; column < layout.Side(); ++column) {
      Connect(row, column);
    }
  }
  SetUp(this);
}

template <class Unit>
Unit* Array::Own(std::unique_ptr<Unit> unit) {
  Unit* made = unit.get();
  units.push_back(std::move(unit));
  return made;
}

void Array::AddCluster(unsigned row, unsigned column) {
  Component* cluster = Own(std::make_unique<Component>(UnitName("c", row, column).c_str()));
  AddChild(cluster);
  switches.push_back(Own(std::make_unique<Switch>(layout.SwitchLocation(row, column), trace)));
  cluster->AddChild(switches.back());
  for (unsigned y = 0; y < layout.domains; ++y) {
    for (unsigned x = 0; x < layout.domains; ++x) {
      const Location firstPe((row * layout.domains + y) * layout.pes,
                             (column * layout.domains + x) * layout.pes);
      cluster->AddChild(NewDomain(y, x, firstPe));
    }
  }
}

PeDomain* Array::NewDomain(unsigned row, unsigned column, const Location& firstPe) {
  PeDomain* domain = Own(std::make_unique<PeDomain>(UnitName("d", row, column)));
  for (unsigned y = 0; y < layout.pes; ++y) {
    for (unsigned x = 0; x < layout.pes; ++x) {
      const Location location(firstPe.row + y, firstPe.column + x);
      Pe* pe = Own(std::make_unique<Pe>(UnitName("pe", y, x), location, trace));
      PeAt(location.row, location.column) = pe;
      domain->AddPe(pe);
    }
  }
  return domain;
}

void Array::Connect(unsigned row, unsigned column) {
  Pe* pe = PeAt(row, column);
  pe->ConnectHost(&host);
  if (column + 1 < layout.Side()) {
    ConnectNeighbour(Operand::EAST, pe, PeAt(row, column + 1));
  }
  if (row + 1 < layout.Side()) {
    ConnectNeighbour(Operand::SOUTH, pe, PeAt(row + 1, column));
  }
}

void Array::ConnectNeighbour(Operand::Direction direction, Pe* pe, Pe* neighbour) {
  Switch* via = nullptr;
  if (!layout.SameCluster(pe->location, neighbour->location)) {
    via = switches[layout.ClusterOf(pe->location.row) * layout.clusters +
                   layout.ClusterOf(pe->location.column)];
    via->AddReceiver(neighbour);
  }
  pe->ConnectNeighbour(direction, neighbour, via);
}

// Gives a unit and all units below it their place in the tree, and the clock.
void Array::SetUp(Component* unit) {
  const Component* parent = unit->theParent;
  unit->theFullName = parent == nullptr ? unit->theName : parent->theFullName + "/" + unit->theName;
  unit->FixUpCommandLineOptions();
  unit->FixUpStatNames();
  unit->JoinDomain(&clock);
  for (Component* child : unit->theChildren) {
    SetUp(child);
  }
}

void Array::Step() {
  // Against the flow: each PE has passed its operands on before its neighbours send new ones.
  for (auto pe = pes.rbegin(); pe != pes.rend(); ++pe) {
    (*pe)->Step();
  }
  host.Step();
  for (Switch* networkSwitch : switches) {
    networkSwitch->Step();
  }
  ++cycles;
  clock.Advance();
}

void Array::DoFinalize() {
  for (Component* child : theChildren) {
    child->DoFinalize();
  }
}

void Array::Compute() {
  unsigned long long multiplications = 0;
  for (const Pe* pe : pes) {
    multiplications += pe->multiplications;
  }
  const double slots = static_cast<double>(cycles) * static_cast<double>(pes.size());
  utilisation = cycles == 0 ? 0 : static_cast<float>(static_cast<double>(multiplications) / slots);
}

}  // namespace marrowfin::systolic
