#ifndef EXAMPLES_SYSTOLIC_MATMUL_PEDOMAIN_H
#define EXAMPLES_SYSTOLIC_MATMUL_PEDOMAIN_H

#include <string>
#include <vector>

#include "Pe.h"

namespace marrowfin::systolic {

// A domain of PEs. It reports for its PEs, whose own numbers would make a report of thousands of
// lines.
class PeDomain : public Component {
 public:
  explicit PeDomain(const std::string& name) : Component(name.c_str()) {
    AddStat(&multiplications, "multiplications", "by the PEs of the domain", 0);
    AddStat(&moves, "moves", "of operands from a PE of the domain to a neighbour", 0);
  }

  void AddPe(Pe* pe) {
    AddChild(pe);
    pes.push_back(pe);
  }

  // Called before the statistics are written.
  void Compute() override {
    multiplications = 0;
    moves = 0;
    for (const Pe* pe : pes) {
      multiplications += pe->multiplications;
      moves += pe->moves;
    }
  }

 private:
  std::vector<Pe*> pes;
  unsigned long long multiplications;
  unsigned long long moves;
};

}  // namespace marrowfin::systolic

#endif
